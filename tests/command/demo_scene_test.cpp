#include "command/demo_scene.h"

#include <algorithm>
#include <cmath>

#include <gtest/gtest.h>

namespace {

constexpr std::int32_t WIDTH = 320;
constexpr std::int32_t HEIGHT = 180;
constexpr int PIXELS = WIDTH * HEIGHT;

Owned<Image> scene_of(std::int32_t width, std::int32_t height, int threads) {
    headless::worker_pool workers(threads);
    return demo_scene(width, height, workers);
}

// What a picture needs to show depth of field, and a tool may rely on.
TEST(DemoScene, HasForegroundSubjectLampsAndTransparentCorners) {
    const Owned<Image> scene = scene_of(WIDTH, HEIGHT, 3);
    EXPECT_EQ(scene->Pixel(0, 0)[Image::ALPHA], 0.0F);
    int transparent = 0, near = 0, in_focus = 0, far_lamps = 0;
    for (int i = 0; i < PIXELS; ++i) {
        const float* pixel = scene->Pixel(0, 0) + i * scene->Components();
        const float brightest = *std::max_element(pixel, pixel + 3);
        const float z = pixel[Image::Z];
        ASSERT_TRUE(std::all_of(pixel, pixel + 5, [](float v) {
            return std::isfinite(v) && v >= 0.0F;
        })) << i;
        ASSERT_GT(z, 200.0F) << i;
        if (pixel[Image::ALPHA] == 0.0F) {
            ++transparent;
            EXPECT_EQ(brightest, 0.0F) << "premultiplied at " << i;
            continue;
        }
        EXPECT_EQ(pixel[Image::ALPHA], 1.0F);
        near += z < 0.6F * DEMO_LENS.focus_mm;
        in_focus += std::abs(z / DEMO_LENS.focus_mm - 1.0F) < 0.04F;
        far_lamps += z > 2.0F * DEMO_LENS.focus_mm && brightest > 8.0F;
    }
    EXPECT_GT(transparent, 50);
    EXPECT_LT(transparent, PIXELS / 50);
    EXPECT_GT(near, PIXELS / 50);
    EXPECT_GT(in_focus, PIXELS / 50);
    EXPECT_GT(far_lamps, 60);
}

TEST(DemoScene, IsTheSameWithAnyNumberOfThreadsAndAlikeInEverySize) {
    const Owned<Image> one = scene_of(WIDTH, HEIGHT, 1);
    const Owned<Image> three = scene_of(WIDTH, HEIGHT, 3);
    EXPECT_TRUE(std::equal(one->Pixel(0, 0), one->Pixel(0, HEIGHT), three->Pixel(0, 0)));

    const Owned<Image> small = scene_of(WIDTH / 4, HEIGHT / 4, 2);
    double light = 0.0, small_light = 0.0;
    for (int i = 0; i < PIXELS; ++i) {
        light += one->Pixel(i % WIDTH, i / WIDTH)[Image::GREEN];
        small_light += small->Pixel(i % WIDTH / 4, i / WIDTH / 4)[Image::GREEN];
    }
    EXPECT_NEAR(small_light / light, 1.0, 0.15);
    EXPECT_GT(scene_of(1, 1, 1)->Pixel(0, 0)[Image::Z], 0.0F);
}

}  // namespace
