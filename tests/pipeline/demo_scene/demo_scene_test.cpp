#include "pipeline/demo_scene/demo_scene.h"

#include <algorithm>
#include <cmath>

#include <gtest/gtest.h>

using namespace focusfall;

namespace {

constexpr std::int32_t WIDTH = 320;
constexpr std::int32_t HEIGHT = 180;
constexpr int PIXELS = WIDTH * HEIGHT;

Owned<Image> scene_of(std::int32_t width, std::int32_t height, int threads) {
    headless::worker_pool workers(threads);
    return demo_scene(width, height, workers);
}

TEST(DemoScene, IsTheSameWithAnyNumberOfThreadsAndAlikeInEverySize) {
    const Owned<Image> one = scene_of(WIDTH, HEIGHT, 1);
    const Owned<Image> three = scene_of(WIDTH, HEIGHT, 3);
    EXPECT_TRUE(std::equal(one->Pixel(0, 0), one->Pixel(0, HEIGHT), three->Pixel(0, 0)));

    const Owned<Image> small = scene_of(WIDTH / 4, HEIGHT / 4, 2);
    double light = 0.0, small_light = 0.0;
    for (int i = 0; i < PIXELS; ++i) {
        const float* pixel = one->Pixel(i % WIDTH, i / WIDTH);
        EXPECT_TRUE(pixel[Image::ALPHA] == 1.0F || pixel[Image::GREEN] == 0.0F);
        EXPECT_GT(pixel[Image::Z], 200.0F);
        light += one->Pixel(i % WIDTH, i / WIDTH)[Image::GREEN];
        small_light += small->Pixel(i % WIDTH / 4, i / WIDTH / 4)[Image::GREEN];
    }
    EXPECT_NEAR(small_light / light, 1.0, 0.15);
    EXPECT_GT(scene_of(1, 1, 1)->Pixel(0, 0)[Image::Z], 0.0F);
}

}  // namespace
