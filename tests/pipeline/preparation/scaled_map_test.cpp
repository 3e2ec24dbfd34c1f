#include "pipeline/preparation/scaled_map.h"

#include <cmath>
#include <set>

#include <gtest/gtest.h>

using namespace focusfall;

namespace {

// An image whose colours are `light(x, y)` and whose depth is `depth(x, y)`.
template <class Light, class Depth>
Owned<Image> made_image(std::int32_t width, std::int32_t height, Light light,
                        Depth depth) {
    Owned<Image> image(new Image(width, height, 5));
    for (std::int32_t y = 0; y < height; ++y) {
        for (std::int32_t x = 0; x < width; ++x) {
            float* pixel = image->Pixel(x, y);
            std::fill_n(pixel, 3, light(x, y));
            pixel[Image::ALPHA] = 1.0F;
            pixel[Image::Z] = depth(x, y);
        }
    }
    return image;
}

float none(std::int32_t, std::int32_t) { return 0.0F; }

// The border of the picture lies where no border between samples does.
TEST(ScaledMap, PutsTheEdgesWhereThePictureHasThem) {
    const Owned<Image> map = made_image(10, 8, none, [](std::int32_t x, std::int32_t) {
        return x < 4 ? 100.0F : 900.0F;
    });
    const auto is_left = [](std::int32_t x, std::int32_t y) { return x < 33 + y % 3; };
    const Owned<Image> picture = made_image(
        80, 64,
        [&](std::int32_t x, std::int32_t y) { return is_left(x, y) ? 0.7F : 0.1F; },
        none);
    const Owned<Image> scaled = scaled_map(*map, *picture, {0, 0, 80, 64});
    for (std::int32_t y = 0; y < 64; ++y) {
        for (std::int32_t x = 0; x < 80; ++x) {
            ASSERT_EQ(scaled->Pixel(x, y)[Image::Z], is_left(x, y) ? 100.0F : 900.0F)
                << x << " " << y;
        }
    }
}

TEST(ScaledMap, HoldsNoDepthThatTheMapLacksAndStaysInPlace) {
    const auto ramp = [](std::int32_t x, std::int32_t y) {
        return static_cast<float>(x * 10 + y);
    };
    const auto noise = [](std::int32_t x, std::int32_t y) {
        return static_cast<float>((x * 7919 + y * 104729) % 97) / 97.0F;
    };
    for (const auto& [width, height] : {std::pair{13, 7}, {40, 30}, {90, 200}}) {
        const Owned<Image> map = made_image(width, height, none, ramp);
        std::set<float> depths;
        for (std::int32_t y = 0; y < height; ++y) {
            for (std::int32_t x = 0; x < width; ++x) depths.insert(ramp(x, y));
        }
        const Owned<Image> picture = made_image(50, 45, noise, none);
        const Owned<Image> scaled = scaled_map(*map, *picture, {5, 10, 40, 30});
        for (std::int32_t y = 0; y < 45; ++y) {
            for (std::int32_t x = 0; x < 50; ++x) {
                const float depth = scaled->Pixel(x, y)[Image::Z];
                const bool inside = x >= 5 && x < 45 && y >= 10 && y < 40;
                ASSERT_TRUE(inside ? depths.contains(depth) : depth == 0.0F)
                    << x << " " << y;
                if (!inside) continue;
                // never farther than the next sample
                const float column = static_cast<float>(width) *
                                     (static_cast<float>(x - 5) + 0.5F) / 40.0F;
                const float chosen = std::floor(depth / 10.0F);
                if (height > 10) continue;  // deeper columns overlap
                ASSERT_LE(std::abs(chosen + 0.5F - column), 1.0F);
            }
        }
    }
    // in its own size a map stays as it is
    const Owned<Image> map = made_image(40, 30, none, ramp);
    const Owned<Image> same = made_image(
        40, 30, [](auto, auto) { return 0.3F; }, none);
    const Owned<Image> scaled = scaled_map(*map, *same, {0, 0, 40, 30});
    for (std::int32_t y = 0; y < 30; ++y) {
        for (std::int32_t x = 0; x < 40; ++x) {
            ASSERT_EQ(scaled->Pixel(x, y)[Image::Z], ramp(x, y));
        }
    }
}

}  // namespace
