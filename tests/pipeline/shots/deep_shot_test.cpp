// Deep pictures with the tool that knows what hides what: what is behind is known.

#include <array>
#include <cmath>
#include <functional>

#include <OpenImageIO/deepdata.h>

#include "tests/pipeline/shots/shot_fixture.h"

using namespace focusfall;

namespace {

using OIIO::TypeDesc;

constexpr int WIDTH = 160;
constexpr int HEIGHT = 60;
const window DISPLAY{0, 0, WIDTH, HEIGHT};

struct deep_sample {
    double value;  // multiplied by alpha
    double alpha;
    double z;
};
using deep_pixel = std::vector<deep_sample>;
using deep_scene = std::function<deep_pixel(int x, int y)>;

// In focus is a depth of 100, and 50 is blurred by the largest diameter, 20 pixels.
constexpr double FOCUS = 100.0;
constexpr double NEAR = 50.0;
constexpr double FAR = 200.0;

class DeepShot : public shot_test {
  protected:
    DeepShot() {
        layered_host_.load_plugin(LAYERED_PLUGIN_FILE);
        layered_ = layered_host_.create_tool("kestrelworks.FocusfallLayered");
        layered_->set("MaxBlurSize", 20.0 / WIDTH * 100.0);
        layered_->set("FocusPosition", FOCUS);
    }

    std::string write_deep(const std::string& name, const deep_scene& scene) const {
        OIIO::ImageSpec spec(WIDTH, HEIGHT, 3, TypeDesc::FLOAT);
        spec.channelnames = {"Y", "A", "Z"};
        spec.alpha_channel = 1;
        spec.z_channel = 2;
        spec.deep = true;
        OIIO::DeepData samples(spec);
        for (std::int64_t i = 0; i < WIDTH * HEIGHT; ++i) {
            const deep_pixel pixel =
                scene(static_cast<int>(i) % WIDTH, static_cast<int>(i) / WIDTH);
            samples.set_samples(i, static_cast<int>(pixel.size()));
            for (int s = 0; s < samples.samples(i); ++s) {
                const auto& [value, alpha, z] = pixel[static_cast<std::size_t>(s)];
                samples.set_deep_value(i, 0, s, static_cast<float>(value));
                samples.set_deep_value(i, 1, s, static_cast<float>(alpha));
                samples.set_deep_value(i, 2, s, static_cast<float>(z));
            }
        }
        auto output = OIIO::ImageOutput::create(path(name));
        EXPECT_TRUE(output->open(path(name), spec) && output->write_deep_image(samples) &&
                    output->close())
            << output->geterror();
        return path(name);
    }
    // Of one sample a pixel, which need not be there.
    std::string write_flat(const std::string& name, const deep_scene& scene) const {
        const auto channel = [&](const char* id, double deep_sample::*member) {
            return made_channel{id, TypeDesc::FLOAT, [&scene, member](int x, int y) {
                                    const deep_pixel pixel = scene(x, y);
                                    return pixel.empty() ? 0.0 : pixel[0].*member;
                                }};
        };
        return write(name, made_part(DISPLAY, DISPLAY,
                                     {channel("Y", &deep_sample::value),
                                      channel("A", &deep_sample::alpha),
                                      channel("Z", &deep_sample::z)}));
    }
    std::vector<float> blurred(const std::string& input,
                               const std::string& background = "") {
        shot_options options;
        options.input = input;
        options.background = background;
        options.output = path("out.exr");
        recorded_shot told;
        render_shot(options, *layered_, told);
        noted = told.noted;
        return values(read_picture(options.output)[0], "Y");
    }

    headless::host layered_host_{2};
    std::unique_ptr<headless::tool> layered_;
};

double checks(int x, int y) { return (x / 4 + y / 4) % 2 == 0 ? 0.9 : 0.1; }
deep_sample wall(int x, int y, double z) { return {checks(x, y), 1.0, z}; }

void expect_near(const std::vector<float>& a, const std::vector<float>& b, double slack) {
    ASSERT_EQ(a.size(), b.size());
    for (std::size_t i = 0; i < a.size(); ++i) {
        ASSERT_NEAR(a[i], b[i], slack) << i % WIDTH << ", " << i / WIDTH;
    }
}

}  // namespace

TEST_F(DeepShot, IsTheFlatOneWhereNothingIsHidden) {
    const auto surface = [](int x, int y) {
        return deep_pixel{wall(x, y, x < 70 ? FOCUS : FAR)};
    };
    const auto deep = blurred(write_deep("deep.exr", surface));
    EXPECT_EQ(deep, blurred(write_flat("flat.exr", surface)));
    for (const std::string& note : noted) EXPECT_EQ(note.find("deep"), note.npos);
    // samples close together are one surface
    const auto thick = blurred(write_deep("thick.exr", [&](int x, int y) {
        deep_pixel pixel = surface(x, y);
        pixel.push_back({0.4, 1.0, pixel[0].z * 1.001});
        return pixel;
    }));
    EXPECT_EQ(thick, deep);
}

// As with a picture of the background.
TEST_F(DeepShot, KnowsWhatObjectsHide) {
    const auto is_card = [](int x) { return x >= 60 && x < 100; };
    for (const double behind : {FOCUS, FAR}) {
        const auto front = [&](int x, int y) {
            return deep_pixel{is_card(x) ? deep_sample{0.5, 1.0, NEAR}
                                         : wall(x, y, behind)};
        };
        const auto back = [&](int x, int y) { return deep_pixel{wall(x, y, behind)}; };
        const auto both = [&](int x, int y) {
            deep_pixel pixel = front(x, y);
            if (is_card(x)) pixel.push_back(wall(x, y, behind));
            return pixel;
        };
        const auto deep = blurred(write_deep("deep.exr", both));
        const std::string flat = write_flat("flat.exr", front);
        expect_near(deep, blurred(flat, write_flat("wall.exr", back)), 1e-6);
        const auto guessed = blurred(flat);
        double difference = 0.0;
        for (std::size_t i = 0; i < deep.size(); ++i)
            difference += std::abs(deep[i] - guessed[i]);
        EXPECT_GT(difference, 10.0);
    }
}

// Hair covers a part of a pixel: a soft veil over the sharp wall, which keeps its
// squares.
TEST_F(DeepShot, KeepsTheCoverageOfHair) {
    const auto covers = [](int x) { return x % 3 == 0 ? 0.4 : 0.0; };
    const auto deep = blurred(write_deep("hair.exr", [&](int x, int y) {
        deep_pixel pixel{wall(x, y, FOCUS)};
        if (covers(x) > 0.0) pixel.push_back({0.0, covers(x), NEAR});
        return pixel;
    }));
    for (std::size_t i = 0; i < deep.size(); ++i) {
        const int x = static_cast<int>(i) % WIDTH;
        const int y = static_cast<int>(i) / WIDTH;
        if (x < 12 || x >= WIDTH - 12) continue;
        const double veil = 0.4 / 3.0;
        ASSERT_NEAR(deep[i], (1.0 - veil) * checks(x, y), 0.03) << x << ", " << y;
    }
}

// Fog before a wall, thinning out to one side, where it ends without a seam.
TEST_F(DeepShot, SeesThroughAVolume) {
    constexpr int SLICES = 12;
    const auto thickness = [](int x) { return 0.08 * std::max(0.0, 1.0 - x / 120.0); };
    const auto deep = blurred(write_deep("fog.exr", [&](int x, int y) {
        deep_pixel pixel{wall(x, y, FOCUS)};
        for (int s = 0; s < SLICES && thickness(x) > 0.0; ++s) {
            const double alpha = thickness(x);
            pixel.push_back({0.5 * alpha, alpha, NEAR + 2.0 * s});
        }
        return pixel;
    }));
    double largest_step = 0.0;
    std::array<double, 2> before{};
    for (int x = 12; x < WIDTH - 12; ++x) {
        const double open = std::pow(1.0 - thickness(x), SLICES);
        for (int y = 20; y < 28; ++y) {
            const double expected = open * checks(x, y) + (1.0 - open) * 0.5;
            const double error = deep[static_cast<std::size_t>(y * WIDTH + x)] - expected;
            ASSERT_NEAR(error, 0.0, 0.03) << x << ", " << y;
            if (y != 20 && y != 24) continue;
            double& last = before[static_cast<std::size_t>(y / 4 % 2)];
            if (x > 12) largest_step = std::max(largest_step, std::abs(error - last));
            last = error;
        }
    }
    EXPECT_LT(largest_step, 0.01);
}

// Unblurred it is all of it; other tools take its front surface, as a note says.
TEST_F(DeepShot, IsWholeWhereNothingIsBlurred) {
    const std::string file = write_deep("veil.exr", [](int x, int y) {
        return deep_pixel{wall(x, y, FAR), {0.1, 0.5, NEAR}};
    });
    layered_->set("MaxBlurSize", 0.1);
    const auto result = blurred(file);
    for (std::size_t i = 0; i < result.size(); ++i) {
        const int x = static_cast<int>(i) % WIDTH;
        const int y = static_cast<int>(i) / WIDTH;
        ASSERT_NEAR(result[i], 0.1 + 0.5 * checks(x, y), 1e-6);
    }
    EXPECT_EQ(values(rendered(file, path("plain.exr"))[0], "A")[0], 1.0F);
    const auto told = [](const std::string& note) {
        return note.find("is deep and was flattened") != note.npos;
    };
    EXPECT_TRUE(std::ranges::any_of(noted, told));
}
