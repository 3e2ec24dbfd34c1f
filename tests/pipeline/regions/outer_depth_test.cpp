#include "pipeline/regions/outer_depth.h"

#include <algorithm>
#include <random>

#include <gtest/gtest.h>

using namespace focusfall;

// Against the nearest pixel that a search finds; windows reach out of each other on all
// sides, and sometimes do not meet.
TEST(OuterDepth, IsThatOfTheNearestPixelInside) {
    std::mt19937 random(5);
    const auto number = [&](int low, int high) {
        return std::uniform_int_distribution<int>(low, high)(random);
    };
    int extended = 0;
    for (int round = 0; round < 300; ++round) {
        const window area{number(-9, 9), number(-9, 9), number(1, 12), number(1, 12)};
        const window inside{number(-9, 9), number(-9, 9), number(1, 12), number(1, 12)};
        const Owned<Image> image(new Image(static_cast<std::int32_t>(area.width),
                                           static_cast<std::int32_t>(area.height), 5));
        const auto size = static_cast<std::size_t>(area.width * area.height * 5);
        for (std::size_t i = 0; i < size; ++i) {
            image->Pixel(0, 0)[i] = static_cast<float>(i + 1);
        }
        std::vector<float> before(image->Pixel(0, 0), image->Pixel(0, 0) + size);
        extend_depth(*image, Image::Z, area, inside);

        const window both = common(area, inside);
        for (std::int64_t y = 0; y < area.height; ++y) {
            for (std::int64_t x = 0; x < area.width; ++x) {
                float* old = &before[static_cast<std::size_t>(y * area.width + x) * 5];
                std::int64_t nearest = 1000000;
                float expected = old[Image::Z];
                for (std::int64_t j = both.y - area.y; j < both.y - area.y + both.height;
                     ++j) {
                    for (std::int64_t i = both.x - area.x;
                         i < both.x - area.x + both.width; ++i) {
                        const std::int64_t far = (i - x) * (i - x) + (j - y) * (j - y);
                        if (far >= nearest) continue;
                        nearest = far;
                        expected =
                            before[static_cast<std::size_t>(j * area.width + i) * 5 +
                                   Image::Z];
                    }
                }
                const float* pixel = image->Pixel(static_cast<std::int32_t>(x),
                                                  static_cast<std::int32_t>(y));
                ASSERT_EQ(pixel[Image::Z], expected) << x << " " << y;
                ASSERT_TRUE(std::equal(pixel, pixel + Image::Z, old));
                extended += pixel[Image::Z] != old[Image::Z];
            }
        }
    }
    EXPECT_GT(extended, 1000);
}
