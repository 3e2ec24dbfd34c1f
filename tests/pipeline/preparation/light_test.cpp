#include "pipeline/preparation/light_steps.h"

#include <cmath>
#include <limits>

#include <gtest/gtest.h>

using namespace focusfall;

namespace {

constexpr float INF = std::numeric_limits<float>::infinity();

Owned<Image> grey_image(std::int32_t width, std::int32_t height, float light) {
    Owned<Image> image(new Image(width, height, 5));
    for (std::int32_t y = 0; y < height; ++y) {
        for (std::int32_t x = 0; x < width; ++x) {
            float* pixel = image->Pixel(x, y);
            std::fill_n(pixel, 3, light);
            pixel[Image::ALPHA] = 1.0F;
            pixel[Image::Z] = 7.0F;
        }
    }
    return image;
}

// The red of a pixel of that light and alpha, once highlights are lifted.
float lifted(float light, float alpha = 1.0F) {
    const Owned<Image> image = grey_image(1, 1, light * alpha);
    image->Pixel(0, 0)[Image::ALPHA] = alpha;
    lift_highlights(*image, {8.0F, 0.5F});
    EXPECT_EQ(image->Pixel(0, 0)[Image::GREEN], image->Pixel(0, 0)[Image::RED]);
    EXPECT_EQ(image->Pixel(0, 0)[Image::ALPHA], alpha);
    EXPECT_EQ(image->Pixel(0, 0)[Image::Z], 7.0F);
    return image->Pixel(0, 0)[Image::RED];
}

TEST(Highlights, RiseSmoothlyFromTheThresholdToTheGain) {
    for (const float light : {-1.0F, 0.0F, 0.2F, 0.5F})
        EXPECT_FLOAT_EQ(lifted(light), light);
    for (const float light : {1.0F, 2.0F, 30.0F})
        EXPECT_FLOAT_EQ(lifted(light), 8.0F * light);
    EXPECT_FLOAT_EQ(lifted(1.0F, 0.25F), 2.0F);  // what is half covered is as white
    // no step, no bend, and never less for more
    float before = lifted(0.49F);
    float rise = 0.01F;
    for (int step = 50; step < 110; ++step) {
        const float after = lifted(0.01F * static_cast<float>(step));
        EXPECT_GT(after, before) << step;
        EXPECT_LT(std::abs(after - before - rise), 0.03F) << step;
        rise = after - before;
        before = after;
    }
}

TEST(Highlights, LeaveSaturatedColoursAsTheyAre) {
    const Owned<Image> red = grey_image(1, 1, 0.2F);
    red->Pixel(0, 0)[Image::RED] = 1.0F;
    lift_highlights(*red, {.gain = 8.0F, .threshold = 0.5F});
    EXPECT_EQ(red->Pixel(0, 0)[Image::RED], 1.0F);
    EXPECT_EQ(red->Pixel(0, 0)[Image::GREEN], 0.2F);
}

TEST(NonFinitePixels, AreFoundWhateverComponentIsAtFault) {
    const Owned<Image> image = grey_image(6, 4, 0.5F);
    image->Pixel(4, 1)[Image::BLUE] = NAN;
    image->Pixel(1, 2)[Image::RED] = -INF;
    image->Pixel(5, 3)[Image::ALPHA] = INF;
    image->Pixel(0, 0)[Image::Z] = NAN;  // a depth is no light
    const auto found = non_finite_pixels(*image);
    ASSERT_EQ(found.size(), 3U);
    EXPECT_TRUE(found[0].x == 4 && found[0].y == 1);
    EXPECT_TRUE(found[1].x == 1 && found[1].y == 2);
    EXPECT_TRUE(found[2].x == 5 && found[2].y == 3);
}

TEST(NonFinitePixels, ReachWhatTheirBlurCoversOnce) {
    const Owned<Image> image = grey_image(40, 30, 0.5F);
    const auto reach = [&](const std::vector<pixel_place>& places, float diameter) {
        return *reach_of(places, *image, [&](const pixel_place&) { return diameter; });
    };
    EXPECT_EQ(reach({{10, 10}}, 0.0F), 1U);
    EXPECT_EQ(reach({{10, 10}}, 2.0F), 9U);
    EXPECT_EQ(reach({{10, 10}, {11, 10}}, 2.0F), 12U);
    EXPECT_EQ(reach({{0, 0}}, 2.0F), 4U);
    EXPECT_EQ(reach({{39, 29}}, 1000.0F), 1200U);
    EXPECT_EQ(reach({{20, 15}}, 20.0F), 21U * 21U);
    EXPECT_FALSE(reach_of(std::vector<pixel_place>(1'000'000), *image,
                          [](const pixel_place&) { return 1.0F; }));
}

// A hole of three pixels' width in a picture of two halves.
TEST(NonFinitePixels, TakeTheLightAroundThem) {
    const Owned<Image> image = grey_image(20, 20, 0.5F);
    std::vector<pixel_place> hole;
    for (std::int32_t y = 3; y < 8; ++y) {
        for (std::int32_t x = 5; x < 10; ++x) {
            std::fill_n(image->Pixel(x, y), 4, NAN);
            hole.push_back({x, y});
        }
    }
    fill_pixels(*image, hole);
    for (std::int32_t y = 0; y < 20; ++y) {
        for (std::int32_t x = 0; x < 20; ++x) {
            ASSERT_NEAR(image->Pixel(x, y)[Image::GREEN], 0.5F, 1e-6F);
            ASSERT_NEAR(image->Pixel(x, y)[Image::ALPHA], 1.0F, 1e-6F);
        }
    }
    // between a bright and a dark pixel lies what is between them
    const Owned<Image> row = grey_image(3, 1, 0.2F);
    row->Pixel(2, 0)[Image::RED] = 0.6F;
    row->Pixel(1, 0)[Image::RED] = INF;
    fill_pixels(*row, {{1, 0}});
    EXPECT_FLOAT_EQ(row->Pixel(1, 0)[Image::RED], 0.4F);

    const Owned<Image> nothing = grey_image(2, 1, NAN);
    fill_pixels(*nothing, {{0, 0}, {1, 0}});
    EXPECT_EQ(nothing->Pixel(1, 0)[Image::RED], 0.0F);
    EXPECT_EQ(nothing->Pixel(1, 0)[Image::ALPHA], 0.0F);
}

}  // namespace
