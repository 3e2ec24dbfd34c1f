// The fast tool against the one that it stands in for, and against itself: with other
// numbers of threads and other vectors.

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <map>
#include <random>
#include <string>

#include <hwy/targets.h>

#include "host/headless_host.h"
#include "tests/frame_model.h"

namespace {

constexpr const char* REFERENCE = "kestrelworks.Focusfall";
constexpr const char* FAST = "kestrelworks.FocusfallFast";
const char* const STYLES[] = {"Disk", "Polygon", "Gaussian", "Airy Disk", "Laplacian"};
constexpr float NOT_A_NUMBER = std::numeric_limits<float>::quiet_NaN();
constexpr float INFINITE = std::numeric_limits<float>::infinity();

struct frame_settings {
    std::string style = "Disk";
    double largest_blur = 20.0;  // pixels
    std::map<std::string, double> controls;
};

// Pictures with smooth and with broken depth.
class random_pictures {
  public:
    explicit random_pictures(unsigned seed) : engine_(seed) {}

    double between(double low, double high) {
        return std::uniform_real_distribution(low, high)(engine_);
    }
    int whole(int low, int high) {
        return std::uniform_int_distribution(low, high)(engine_);
    }
    bool chance(double probability) { return between(0, 1) < probability; }

    // Lights, negative and transparent colours; a part of the pixels, `odd` of all, has
    // values that are no colours or depths.
    Owned<Image> picture(int width, int height, double odd) {
        Owned<Image> image(new Image(width, height, 6));
        const double slope = between(-0.02, 0.02);
        const bool broken = chance(0.5);
        for (int y = 0; y < height; ++y) {
            const bool empty_row = chance(0.1);
            for (int x = 0; x < width; ++x) {
                float* pixel = image->Pixel(x, y);
                for (int c = 0; c < 6; ++c)
                    pixel[c] = static_cast<float>(between(-0.1, 1));
                if (chance(0.01)) pixel[whole(0, 2)] = 50.0F;
                if (empty_row || chance(0.1)) pixel[Image::ALPHA] = 0.0F;
                pixel[Image::Z] =
                    static_cast<float>(broken ? between(0, 1) : 0.5 + slope * (x - y));
                if (!chance(odd)) continue;
                const float values[] = {NOT_A_NUMBER, INFINITE, -INFINITE, 0.0F, 1e38F};
                const int component = whole(0, 4);
                pixel[component] = values[whole(0, component == Image::Z ? 4 : 3)];
            }
        }
        return image;
    }

    frame_settings settings(const char* style) {
        frame_settings s;
        s.style = style;
        s.largest_blur = between(1.1, 60);
        s.controls = {{"PolygonSideCount", whole(3, 12)},
                      {"KernelAngle", between(0, 90)},
                      {"BadBokeh", chance(0.3) ? between(0, 1) : 0},
                      {"FocusPosition", between(0, 1)},
                      // divided, the Laplacian's sums near zero magnify what they lack
                      {"Normalize", s.style == STYLES[4] ? 0 : whole(0, 1)}};
        return s;
    }

  private:
    std::mt19937 engine_;
};

// A tool, in a host with so many threads.
class rendering_tool {
  public:
    explicit rendering_tool(const char* id, int threads = 2) : host_(threads) {
        host_.load_plugin(PLUGIN_FILE);
        host_.load_plugin(FAST_PLUGIN_FILE);
        tool_ = host_.create_tool(id);
    }

    Owned<Image> render(Image* input, const frame_settings& settings,
                        Image* blur_image = nullptr) {
        tool_->connect("Input", input);
        tool_->connect("BlurImage", blur_image);
        tool_->set("BlurStyle", settings.style);
        tool_->set("MaxBlurSize", settings.largest_blur / input->Width() * 100.0);
        for (const auto& [id, value] : settings.controls) tool_->set(id, value);
        headless::frame frame = tool_->render(0);
        EXPECT_TRUE(frame.image) << frame.error;
        return std::move(frame.image);
    }

  private:
    headless::host host_;
    std::unique_ptr<headless::tool> tool_;
};

// Whether a result is as good as another: alike if not finite, else apart by no more than
// single precision may lead.
bool alike(float a, float b) {
    if (!std::isfinite(a) || !std::isfinite(b)) {
        return std::isnan(a) ? std::isnan(b) : a == b;
    }
    return std::abs(a - b) <= 2e-4F + 2e-5F * std::max(std::abs(a), std::abs(b));
}

template <class Same>
void expect_same(const Image& a, const Image& b, Same same) {
    ASSERT_EQ(a.Width(), b.Width());
    for (int i = 0; i < a.Width() * a.Height() * a.Components(); ++i) {
        const float x = a.Pixel(0, 0)[i];
        const float y = b.Pixel(0, 0)[i];
        ASSERT_TRUE(same(x, y))
            << x << " and " << y << " at column " << i / a.Components() % a.Width()
            << ", row " << i / a.Components() / a.Width() << ", component "
            << i % a.Components();
    }
}

bool identical(float a, float b) {
    return std::bit_cast<std::uint32_t>(a) == std::bit_cast<std::uint32_t>(b);
}

std::string description(const frame_settings& settings, const Image& picture) {
    std::string text = std::to_string(picture.Width()) + " x " +
                       std::to_string(picture.Height()) + ", " + settings.style +
                       ", largest blur " + std::to_string(settings.largest_blur);
    for (const auto& [id, value] : settings.controls) {
        text += ", " + id + " " + std::to_string(value);
    }
    return text;
}

// Widths and heights that fill no tile, one tile, several.
TEST(FocusfallFast, MakesThePictureOfTheReferenceTool) {
    random_pictures random(1);
    rendering_tool reference(REFERENCE, 1);
    rendering_tool fast(FAST);
    for (int i = 0; i < 40; ++i) {
        const int width = i % 10 == 0 ? 1 + i / 10 : random.whole(1, 200);
        const auto picture = random.picture(width, i % 20 == 0 ? 1 : random.whole(1, 70),
                                            i % 3 == 0 ? 0.003 : 0.0);
        const frame_settings settings = random.settings(STYLES[i % 5]);
        SCOPED_TRACE(description(settings, *picture));
        expect_same(*reference.render(picture.get(), settings),
                    *fast.render(picture.get(), settings), alike);
        if (HasFatalFailure()) return;
    }
}

// At one depth runs of sources are added as sums of them. Blurs end within a group of
// columns, and beside it.
TEST(FocusfallFast, MakesThePictureOfTheReferenceToolFarOutOfFocus) {
    random_pictures random(6);
    rendering_tool reference(REFERENCE, 1);
    rendering_tool fast(FAST);
    for (const double blur : {31.0, 32.3, 33.0, 47.0, 64.0}) {
        const auto picture = random.picture(270, 30, 0.0);
        for (int i = 0; i < 270 * 30; ++i) picture->Pixel(0, 0)[6 * i + Image::Z] = 0.0F;
        frame_settings settings = random.settings(blur == 33.0 ? "Polygon" : "Disk");
        settings.largest_blur = blur;
        settings.controls["FocusPosition"] = 1;
        settings.controls["BadBokeh"] = 0;
        settings.controls["Normalize"] = 1;
        SCOPED_TRACE(description(settings, *picture));
        expect_same(*reference.render(picture.get(), settings),
                    *fast.render(picture.get(), settings), alike);
    }
}

TEST(FocusfallFast, MakesThePictureOfACustomBlurImage) {
    random_pictures random(2);
    rendering_tool reference(REFERENCE, 1);
    rendering_tool fast(FAST);
    for (int i = 0; i < 6; ++i) {
        const auto picture = random.picture(random.whole(50, 90), 40, 0.003);
        const auto shape = random.picture(random.whole(1, 30), random.whole(1, 30), 0.0);
        const frame_settings settings = random.settings(STYLES[i % 5]);
        SCOPED_TRACE(description(settings, *picture));
        expect_same(*reference.render(picture.get(), settings, shape.get()),
                    *fast.render(picture.get(), settings, shape.get()), alike);
        if (HasFatalFailure()) return;
    }
}

TEST(FocusfallFast, MakesOnePictureWithAnyNumberOfThreads) {
    random_pictures random(3);
    rendering_tool one(FAST, 1);
    rendering_tool two(FAST, 2);
    rendering_tool eight(FAST, 8);
    for (int i = 0; i < 10; ++i) {
        const auto picture = random.picture(500, 130, i == 0 ? 0.01 : 0.0);
        const frame_settings settings = random.settings(STYLES[i % 5]);
        SCOPED_TRACE(description(settings, *picture));
        const auto expected = one.render(picture.get(), settings);
        expect_same(*expected, *two.render(picture.get(), settings), identical);
        expect_same(*expected, *eight.render(picture.get(), settings), identical);
        expect_same(*expected, *one.render(picture.get(), settings), identical);
        if (HasFatalFailure()) return;
    }
}

// Root of the mean squared distance of the colours from those of the model.
double error_against(const frame_model::frame& model, const Image& result) {
    double sum = 0.0;
    for (std::size_t i = 0; i < model.colors.size(); ++i) {
        const float* pixel =
            result.Pixel(0, 0) + i / 4 * static_cast<std::size_t>(result.Components());
        const double error = static_cast<double>(pixel[i % 4]) - model.colors[i].value;
        sum += error * error;
    }
    return std::sqrt(sum / static_cast<double>(model.colors.size()));
}

TEST(FocusfallFast, IsAsCloseToADoublePrecisionModelAsTheReferenceTool) {
    random_pictures random(5);
    rendering_tool reference(REFERENCE, 1);
    rendering_tool fast(FAST);
    for (int i = 0; i < 10; ++i) {
        const auto picture = random.picture(150, 40, 0.0);
        frame_settings settings = random.settings(STYLES[i % 5]);
        settings.largest_blur = i < 5 ? 30 : 8;
        settings.controls["Normalize"] = 0;
        SCOPED_TRACE(description(settings, *picture));

        frame_model::picture copy{150, 40, 6, {}};
        copy.values.assign(picture->Pixel(0, 0), picture->Pixel(0, 0) + 150 * 40 * 6);
        auto controls = settings.controls;
        controls["BlurStyle"] = i % 5;
        controls["MaxBlurSize"] = settings.largest_blur / 150 * 100.0;
        const auto model = frame_model::render(copy, copy, controls);
        const double error = error_against(model, *fast.render(picture.get(), settings));
        const double allowed =
            error_against(model, *reference.render(picture.get(), settings));
        EXPECT_LE(error, 1.25 * allowed);  // a frame's rounding errors are a random draw
    }
}

// Without a fused multiply-add sums round otherwise.
TEST(FocusfallFast, MakesOnePictureWithAnyVectors) {
    random_pictures random(4);
    rendering_tool tool(FAST);
    const std::int64_t all = hwy::SupportedTargets();
    const std::int64_t fused = all & (HWY_AVX2 | HWY_AVX3);
    for (int i = 0; i < 10; ++i) {
        const auto picture = random.picture(230, 60, 0.0);
        const frame_settings settings = random.settings(STYLES[i % 5]);
        const auto expected = tool.render(picture.get(), settings);
        for (const std::int64_t target :
             {std::int64_t{HWY_AVX3}, std::int64_t{HWY_AVX2}, std::int64_t{HWY_SSE4},
              std::int64_t{HWY_SCALAR}}) {
            if (!(target & (all | HWY_SCALAR))) continue;
            SCOPED_TRACE(hwy::TargetName(target) +
                         (", " + description(settings, *picture)));
            hwy::GetChosenTarget().Update(target);
            const auto result = tool.render(picture.get(), settings);
            expect_same(*expected, *result, target & fused ? identical : alike);
            if (HasFatalFailure()) break;
        }
        hwy::GetChosenTarget().DeInit();
        if (HasFatalFailure()) return;
    }
}

}  // namespace
