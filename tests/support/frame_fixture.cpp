#include "tests/support/frame_fixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <tuple>

using frame_model::controls;
using frame_model::picture;

// How far from the model a colour may lie besides what single precision explains: a
// program whose tool computes kernels otherwise defines it.
#ifndef COLOR_SLACK
#define COLOR_SLACK 0.0
#endif

namespace {

bool same(double a, double b) { return a == b || (std::isnan(a) && std::isnan(b)); }

bool agrees(double value, const frame_model::expected& model) {
    if (!std::isfinite(model.value)) return same(value, model.value);
    return std::fabs(value - model.value) <= model.tolerance + COLOR_SLACK;
}

bool takes_distances(const controls& values) {
    return values.at("SettingsType") == 1.0 && values.at("DepthMapType") == 0.0;
}

// `millimetres` in the unit of the depth map.
double in_map_units(double millimetres, const controls& values) {
    constexpr double MILLIMETRES[] = {1.0, 1000.0, 25.4, 304.8};
    return millimetres / MILLIMETRES[static_cast<int>(values.at("DepthMapUnits"))];
}

}  // namespace

picture blank(int width, int height, int components) {
    return {width, height, components,
            std::vector<float>(static_cast<std::size_t>(width * height * components))};
}

plugin_tool::plugin_tool(int threads, FusionDoc::Console console, const char* file)
    : host_(threads, std::move(console)) {
    host_.load_plugin(file);
    tool_ = host_.create_tool(host_.classes().at(0).id);
}

plugin_tool::plugin_tool(Registry& linked, int threads, FusionDoc::Console console)
    : host_(threads, std::move(console)), tool_(host_.create_tool(linked)) {}

void plugin_tool::connect(const char* id, const picture& from) {
    const Owned<Image> image(new Image(from.width, from.height, from.components));
    std::copy(from.values.begin(), from.values.end(), image->Pixel(0, 0));
    tool_->connect(id, image.get());
}

picture plugin_tool::render(const picture& input, const picture* depth,
                            const controls& values) {
    for (const auto& [id, value] : values) tool_->set(id, value);
    connect("Input", input);
    tool_->connect("DepthMap", nullptr);
    if (depth) connect("DepthMap", *depth);

    const headless::frame result = tool_->render();
    EXPECT_EQ(result.how, headless::frame::end::DONE) << result.error;
    picture output = blank(input.width, input.height, input.components);
    if (!result.image) return output;
    const auto& image = *result.image;
    EXPECT_EQ(std::tuple(image.Width(), image.Height(), image.Components()),
              std::tuple(input.width, input.height, input.components));
    std::copy_n(result.image->Pixel(0, 0), output.values.size(), output.values.begin());
    return output;
}

float random_frame::between(double low, double high) {
    return static_cast<float>(std::uniform_real_distribution(low, high)(engine_));
}

int random_frame::whole(int low, int high) {
    return std::uniform_int_distribution(low, high)(engine_);
}

controls random_frame::settings() {
    controls values = {{"BlurStyle", whole(0, 4)},
                       {"BlurChannel", chance(0.6) ? 0 : whole(1, 4)},
                       {"SettingsType", whole(0, 1)},
                       {"DepthMapType", whole(0, 1)},
                       {"DepthMapUnits", whole(0, 3)},
                       {"InvertDepthMap", whole(0, 1)},
                       {"Normalize", whole(0, 1)},
                       {"MaxBlurSize", chance(0.3) ? 25 : between(0, 25)},
                       {"FocalLength", between(20, 200)},
                       {"FStop", between(1, 4)},
                       {"FilmbackWidth", between(5, 40)},
                       {"BadBokeh", chance(0.5) ? 0 : between(0, 1)},
                       {"KernelAngle", between(0, 90)},
                       {"PolygonSideCount", whole(3, 12)}};
    values["NearDistance"] = in_map_units(between(100, 800), values);
    values["FarDistance"] = in_map_units(between(100, 3000), values);
    values["FocusPosition"] = takes_distances(values)
                                  ? in_map_units(between(100, 3000), values)
                                  : between(0, 1);
    return values;
}

picture random_frame::picture(int width, int height, const controls& values) {
    frame_model::picture result = blank(width, height, whole(5, 8));
    const double farthest = takes_distances(values) ? in_map_units(5000, values) : 1.5;
    const float background = between(0, farthest);
    const bool layered = chance(0.3);
    // any component may be chosen as the depth
    for (float& value : result.values) value = between(-0.2, chance(0.05) ? 50 : 1);
    for (int i = 0; i < width * height; ++i) {
        float* pixel = &result.at(i % width, i / width, 0);
        if (chance(0.2)) pixel[ALPHA] = 0.0F;
        pixel[Z] = between(-0.1 * farthest, farthest);
        if (layered && i % 3 > 0) pixel[Z] = background;
    }
    return result;
}

void expect_agreement(const picture& output, const picture& input,
                      const frame_model::frame& model) {
    int undecided = 0;
    for (int i = 0; i < input.width * input.height; ++i) {
        const int x = i % input.width;
        const int y = i / input.width;
        for (int c = BLUE; c <= ALPHA; ++c) {
            const auto& expected = model.colors[static_cast<std::size_t>(i * 4 + c)];
            undecided += expected.undecided;
            if (expected.undecided) continue;
            ASSERT_TRUE(agrees(output.at(x, y, c), expected))
                << "component " << c << " at " << x << ", " << y << ": "
                << output.at(x, y, c) << ", expected " << expected.value << " within "
                << expected.tolerance;
        }
        const float z = model.depth_values[static_cast<std::size_t>(i)];
        ASSERT_TRUE(same(output.at(x, y, Z), z)) << "Z at " << x << ", " << y;
        for (int c = Z + 1; c < input.components; ++c) {
            ASSERT_TRUE(same(output.at(x, y, c), input.at(x, y, c))) << "component " << c;
        }
    }
    // of four components each; more would mean that the comparison says little
    EXPECT_LE(undecided, input.width * input.height / 25);
}

void expect_depth_cap(plugin_tool& plugin, float& max_depth) {
    random_frame random(1);
    const controls values = {{"MaxBlurSize", 10}, {"FocusPosition", 0}};
    const picture input = random.picture(60, 40, random.settings());
    picture map = blank(60, 40);
    for (float& value : map.values) value = random.between(0, 1);
    picture capped = map;
    for (float& value : capped.values) value = std::min(value, 0.5F);

    const picture expected = plugin.render(input, &capped, values);
    max_depth = 1.5F;  // the map reaches from 1 to 2 mm
    const picture output = plugin.render(input, &map, values);
    for (int i = 0; i < 60 * 40; ++i) {
        for (int c = BLUE; c <= ALPHA; ++c) {
            ASSERT_EQ(output.at(i, 0, c), expected.at(i, 0, c)) << "pixel " << i;
        }
    }
}
