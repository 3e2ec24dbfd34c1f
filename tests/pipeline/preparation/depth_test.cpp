// Depths of every kind, as the tool is to have them.

#include <cmath>
#include <limits>
#include <vector>

#include <gtest/gtest.h>

#include "host/error.h"
#include "pipeline/preparation/depth_steps.h"

using namespace focusfall;

namespace {

constexpr float INF = std::numeric_limits<float>::infinity();

depth_controls lens() {
    return {.is_lens = true,
            .near_distance = 500.0,
            .far_distance = 8000.0,
            .focal_length = 35.0,
            .filmback_width = 36.0};
}

depth_controls normalized_lens() {
    depth_controls controls = lens();
    controls.normalized = true;
    return controls;
}

// How far away the tool takes one of its depths to be, whatever the unit.
double tool_distance(float depth, const depth_controls& controls) {
    if (!controls.is_lens) return double{depth} + 1.0;
    if (!controls.normalized) return double{depth};
    return controls.near_distance +
           double{depth} * (controls.far_distance - controls.near_distance);
}

// The part of the largest blur that a depth has: what the tool makes of distances.
double blur_part(float depth, float focus, const depth_controls& controls) {
    const double distance = tool_distance(depth, controls);
    return std::abs(distance - tool_distance(focus, controls)) / distance;
}

TEST(DepthMapping, OfDistancesIsTheScaleAlone) {
    const depth_mapping plain({}, lens());
    const depth_mapping cm({.scale = 10.0}, lens());
    for (const float depth : {-3.5F, 0.0F, 0.1F, 1234.5F, INF}) {
        EXPECT_EQ(plain.for_tool(depth), depth);
        EXPECT_EQ(cm.for_tool(depth), depth * 10.0F);
        EXPECT_EQ(cm.in_map(cm.for_tool(depth)), depth);
    }
    EXPECT_TRUE(std::isnan(cm.for_tool(NAN)));
}

TEST(DepthMapping, OfDisparitiesGivesTheBlurOfTheirDistances) {
    constexpr float FOCUS = 0.6F;
    // without a lens the blur falls evenly to nothing at the focus, whatever the scale
    for (const float scale : {1.0F, 1e-4F, 700.0F}) {
        const depth_mapping mapping({.meaning = depth_meaning::INVERSE}, {});
        const float focus = mapping.for_tool(FOCUS * scale);
        for (const float disparity : {0.0F, 0.01F, 0.3F, 0.6F, 0.75F, 1.0F}) {
            EXPECT_NEAR(blur_part(mapping.for_tool(disparity * scale), focus, {}),
                        std::abs(disparity - FOCUS) / FOCUS, 1e-5)
                << disparity << " of " << scale;
        }
    }
    // with a lens 1 / distance is a distance in the controls' unit, or by the scale
    const depth_mapping units({.meaning = depth_meaning::INVERSE}, lens());
    EXPECT_FLOAT_EQ(units.for_tool(0.25F), 4.0F);
    const depth_mapping scaled({.meaning = depth_meaning::INVERSE, .scale = 1000.0},
                               lens());
    EXPECT_FLOAT_EQ(scaled.for_tool(0.25F), 4000.0F);
    // normalised: 1 is near, 0 is far, and half-way is the harmonic mean
    const depth_controls controls = normalized_lens();
    const depth_mapping normalized({.meaning = depth_meaning::INVERSE}, controls);
    const auto distance = [&](float disparity) {
        return tool_distance(normalized.for_tool(disparity), controls);
    };
    EXPECT_NEAR(distance(1.0F), 500.0, 1e-2);
    EXPECT_NEAR(distance(0.0F), 8000.0, 1e-2);
    EXPECT_NEAR(distance(0.5F), 2.0 / (1.0 / 500.0 + 1.0 / 8000.0), 1e-2);
}

TEST(DepthMapping, OfDisparitiesComesBackAndKeepsTheirOrder) {
    for (const depth_controls& controls : {depth_controls{}, lens(), normalized_lens()}) {
        const depth_mapping mapping({.meaning = depth_meaning::INVERSE}, controls);
        float before = INF;
        for (const float disparity : {0.0F, 1e-3F, 0.02F, 0.5F, 0.999F, 1.0F}) {
            const float depth = mapping.for_tool(disparity);
            EXPECT_TRUE(std::isfinite(depth));
            EXPECT_LT(depth, before);
            EXPECT_NEAR(mapping.in_map(depth), disparity, 1e-5F);
            EXPECT_EQ(mapping.for_tool(-disparity), depth);
            before = depth;
        }
        EXPECT_TRUE(std::isnan(mapping.for_tool(NAN)));
        EXPECT_EQ(mapping.for_tool(INF), 0.0F);
    }
}

TEST(DepthMapping, RefusesControlsThatContradictTheChoices) {
    const depth_choices inverse{.meaning = depth_meaning::INVERSE};
    const depth_choices ray{.meaning = depth_meaning::RAY};
    const depth_choices scaled{.scale = 10.0};
    depth_controls meters = lens();
    meters.in_millimetres = false;
    depth_controls flat = normalized_lens();
    flat.far_distance = flat.near_distance;
    const struct {
        depth_choices choices;
        depth_controls controls;
    } cases[] = {
        {scaled, meters}, {scaled, normalized_lens()}, {inverse, {.inverted = true}},
        {inverse, flat},  {ray, normalized_lens()},    {ray, {.inverted = true}}};
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        EXPECT_THROW(depth_mapping(cases[i].choices, cases[i].controls),
                     headless::host_error)
            << i;
    }
    // without a lens neither unit nor type count
    EXPECT_NO_THROW(depth_mapping(scaled, {.in_millimetres = false}));
}

// A row of depths, all of them seen but where `alphas` says otherwise.
Owned<Image> row_of(const std::vector<float>& depths, std::vector<float> alphas = {}) {
    alphas.resize(depths.size(), 1.0F);
    Owned<Image> image(new Image(static_cast<std::int32_t>(depths.size()), 1, 5));
    for (std::size_t i = 0; i < depths.size(); ++i) {
        float* pixel = image->Pixel(static_cast<std::int32_t>(i), 0);
        std::fill_n(pixel, 3, 0.5F);
        pixel[Image::ALPHA] = alphas[i];
        pixel[Image::Z] = depths[i];
    }
    return image;
}

std::vector<float> mapped(const Image& row, const depth_choices& choices,
                          const depth_controls& controls = {}) {
    const window area{0, 0, row.Width(), 1};
    const Owned<Image> result = mapped_depth(row, Image::Z, row, area, area,
                                             reading_of(choices, controls, area, 1.0));
    std::vector<float> depths;
    for (std::int32_t x = 0; x < row.Width(); ++x) {
        EXPECT_EQ(result->Pixel(x, 0)[Image::RED], 0.5F);
        depths.push_back(result->Pixel(x, 0)[Image::Z]);
    }
    return depths;
}

TEST(EmptyDepth, IsFoundByAlphaAndByWhatRenderersWrite) {
    const Owned<Image> row =
        row_of({5.0F, 7.0F, 0.0F, 1e10F, 1e30F, INF, 65504.0F, NAN}, {1.0F, 0.0F});
    const float far = 99.0F;
    const depth_choices choices{.empty = parsed_empty_depth("99")};
    EXPECT_EQ(mapped(*row, choices),
              (std::vector<float>{5.0F, far, far, far, far, far, far, far}));
    // 0 is an end of maps from 0 to 1, and of normalised and inverse ones
    const Owned<Image> unit = row_of({0.0F, 0.25F, 1.0F});
    EXPECT_EQ(mapped(*unit, choices)[0], 0.0F);
    const Owned<Image> wide = row_of({0.0F, 0.25F, 3.0F});
    EXPECT_EQ(mapped(*wide, choices)[0], far);
    EXPECT_EQ(mapped(*wide, choices, normalized_lens())[0], 0.0F);
    const depth_choices inverse{.meaning = depth_meaning::INVERSE,
                                .empty = parsed_empty_depth("0.25")};
    EXPECT_EQ(mapped(*wide, inverse, lens())[0], depth_mapping::FARTHEST);
}

TEST(EmptyDepth, MayBeStated) {
    const Owned<Image> row = row_of({5.0F, 65504.0F, 0.0F, 1e10F, NAN});
    EXPECT_EQ(mapped(*row, {.empty = parsed_empty_depth("65504=8")}),
              (std::vector<float>{5.0F, 8.0F, 0.0F, 1e10F, 8.0F}));
    EXPECT_EQ(mapped(*row, {.empty = parsed_empty_depth("0=far")}),
              (std::vector<float>{5.0F, 65504.0F, INF, 1e10F, INF}));
    // as a viewer rounds it
    EXPECT_EQ(mapped(*row_of({1234.5678F, 1235.0F}),
                     {.empty = parsed_empty_depth("1234.57=8")}),
              (std::vector<float>{8.0F, 1235.0F}));
}

TEST(EmptyDepth, IsWhereTheMapHasItsEndsOrAValueOfTheMap) {
    const Owned<Image> row = row_of({0.5F, 0.5F}, {1.0F, 0.0F});
    const auto filled = [&](const char* text, depth_choices choices,
                            const depth_controls& controls) {
        choices.empty = parsed_empty_depth(text);
        return mapped(*row, choices, controls)[1];
    };
    EXPECT_EQ(filled("near", {}, {}), 0.0F);
    EXPECT_EQ(filled("near", {}, {.inverted = true}), 1.0F);
    EXPECT_EQ(filled("far", {}, {.inverted = true}), INF);
    EXPECT_EQ(filled("640", {.scale = 10.0}, lens()), 6400.0F);
    const depth_choices inverse{.meaning = depth_meaning::INVERSE};
    EXPECT_EQ(filled("0.25", inverse, lens()), 4.0F);
    EXPECT_EQ(filled("near", inverse, lens()), 0.0F);
    // nothing is replaced unasked
    EXPECT_EQ(mapped(*row, inverse, lens()), (std::vector<float>{2.0F, 2.0F}));
}

// A flat wall seen at an angle on both sides, in pixels twice as wide as high.
TEST(RayDepth, OfAWallIsOneDistanceFromTheCamera) {
    const window display{-10, 4, 60, 40};
    const window area{-20, 0, 90, 50};
    const double focal = 0.8;  // widths
    const double field = 2.0 * std::atan(0.5 / focal) * 180.0 / std::acos(-1.0);
    const Owned<Image> wall(new Image(90, 50, 5));
    for (int y = 0; y < 50; ++y) {
        for (int x = 0; x < 90; ++x) {
            const double right = (x - 20 + 10 + 0.5 - 30.0) / (60.0 * focal);
            const double down = (y - 4 + 0.5 - 20.0) / (60.0 * focal * 2.0);
            const double ray = 300.0 * std::hypot(1.0, right, down);
            wall->Pixel(x, y)[Image::ALPHA] = 1.0F;
            wall->Pixel(x, y)[Image::Z] = static_cast<float>(ray);
        }
    }
    const depth_choices by_field{.meaning = depth_meaning::RAY, .field_of_view = field};
    const depth_choices by_lens{.meaning = depth_meaning::RAY};
    depth_controls controls = lens();
    controls.focal_length = focal * controls.filmback_width;
    for (const depth_reading& reading : {reading_of(by_field, {}, display, 2.0),
                                         reading_of(by_lens, controls, display, 2.0)}) {
        const Owned<Image> planar =
            mapped_depth(*wall, Image::Z, *wall, area, area, reading);
        for (int y = 0; y < 50; ++y) {
            for (int x = 0; x < 90; ++x) {
                ASSERT_NEAR(planar->Pixel(x, y)[Image::Z], 300.0F, 1e-3F)
                    << x << " " << y;
            }
        }
    }
    EXPECT_THROW(reading_of(by_lens, {}, display, 1.0), headless::host_error);
}

}  // namespace
