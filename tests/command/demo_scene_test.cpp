#include "command/demo_scene.h"

#include <algorithm>
#include <cmath>

#include <gtest/gtest.h>

namespace {

constexpr std::int32_t WIDTH = 320;
constexpr std::int32_t HEIGHT = 180;

Owned<Image> scene_of(std::int32_t width, std::int32_t height, int threads) {
    headless::worker_pool workers(threads);
    return demo_scene(width, height, workers);
}

TEST(DemoScene, IsTheSameOnEveryCallWithAnyNumberOfThreads) {
    const Owned<Image> once = scene_of(WIDTH, HEIGHT, 1);
    const Owned<Image> again = scene_of(WIDTH, HEIGHT, 3);
    EXPECT_TRUE(
        std::equal(once->Pixel(0, 0), once->Pixel(0, HEIGHT), again->Pixel(0, 0)));
}

// What a picture needs to show depth of field, and a tool may rely on.
TEST(DemoScene, HasForegroundSubjectLampsAndTransparentCorners) {
    const Owned<Image> scene = scene_of(WIDTH, HEIGHT, 2);
    int transparent = 0;
    int near = 0;
    int in_focus = 0;
    int far_lamps = 0;
    for (std::int32_t y = 0; y < HEIGHT; ++y) {
        for (std::int32_t x = 0; x < WIDTH; ++x) {
            const float* pixel = scene->Pixel(x, y);
            const float brightest = *std::max_element(pixel, pixel + 3);
            const float z = pixel[Image::Z];
            ASSERT_TRUE(std::all_of(
                pixel, pixel + 5, [](float v) { return std::isfinite(v) && v >= 0.0F; }))
                << x << ", " << y;
            ASSERT_GT(z, 200.0F) << x << ", " << y;
            if (pixel[Image::ALPHA] == 0.0F) {
                ++transparent;
                EXPECT_EQ(brightest, 0.0F) << "premultiplied at " << x << ", " << y;
                continue;
            }
            EXPECT_EQ(pixel[Image::ALPHA], 1.0F);
            if (z < 0.6F * DEMO_LENS.focus_mm) ++near;
            if (std::abs(z / DEMO_LENS.focus_mm - 1.0F) < 0.04F) ++in_focus;
            if (z > 2.0F * DEMO_LENS.focus_mm && brightest > 8.0F) ++far_lamps;
        }
    }
    constexpr int PIXELS = WIDTH * HEIGHT;
    EXPECT_GT(transparent, 50);
    EXPECT_LT(transparent, PIXELS / 50);
    EXPECT_GT(near, PIXELS / 50);
    EXPECT_GT(in_focus, PIXELS / 50);
    EXPECT_GT(far_lamps, 60);
    EXPECT_EQ(scene->Pixel(0, 0)[Image::ALPHA], 0.0F);
}

// Downscaled by whole factors, a larger picture has the light and depth of a smaller one.
TEST(DemoScene, LooksTheSameInEverySize) {
    const Owned<Image> small = scene_of(80, 45, 2);
    const Owned<Image> large = scene_of(WIDTH, HEIGHT, 2);
    const auto mean = [](const Image& image) {
        double sum = 0.0;
        for (std::int32_t y = 0; y < image.Height(); ++y) {
            for (std::int32_t x = 0; x < image.Width(); ++x) {
                sum += image.Pixel(x, y)[Image::GREEN];
            }
        }
        return sum / (image.Width() * image.Height());
    };
    EXPECT_NEAR(mean(*small) / mean(*large), 1.0, 0.15);
    EXPECT_GT(scene_of(1, 1, 1)->Pixel(0, 0)[Image::Z], 0.0F);
}

}  // namespace
