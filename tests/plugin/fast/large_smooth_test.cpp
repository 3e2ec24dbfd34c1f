// Large blurs by the Gaussian and the Laplacian, which the fast tool adds by way of a few
// rows of pixels: against the model, and against the same tool with fewer rows.

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>

#include <hwy/targets.h>

#include "tests/support/frame_fixture.h"

namespace {

using frame_model::controls;
using frame_model::picture;

constexpr int GAUSSIAN = 2;
constexpr int LAPLACIAN = 4;

struct fast_tool : plugin_tool {
    explicit fast_tool(int threads = 2) : plugin_tool(threads, {}, FAST_PLUGIN_FILE) {}
};

controls settings_of(int style, double blur, int width, int normalize) {
    return {{"BlurStyle", style},
            {"MaxBlurSize", blur / width * 100.0},
            {"FocusPosition", 0},
            {"Normalize", normalize}};
}

// Lights and negative colours; depths of a few random planes that begin and end anywhere,
// so that any radius is beside any other. A part of the pixels, `filled` of all, is not
// transparent; when that is all of them, they are opaque.
picture random_planes(random_frame& random, int width, int height, double filled) {
    picture result = blank(width, height);
    float planes[12];
    for (float& plane : planes) plane = random.between(0, 5);
    planes[0] = 0.0F;   // in focus
    planes[1] = 1e30F;  // blurred most
    planes[2] = 0.01F;
    int plane = 0;
    for (int i = 0; i < width * height; ++i) {
        float* const pixel = &result.at(i % width, i / width, BLUE);
        for (int c = BLUE; c <= RED; ++c) pixel[c] = random.between(-0.1, 1);
        if (random.chance(0.01)) pixel[random.whole(BLUE, RED)] = 1000.0F;
        if (filled == 1.0 || random.chance(filled))
            pixel[ALPHA] = filled == 1.0 ? 1.0F : random.between(0.1, 1);
        if (random.chance(0.1)) plane = random.whole(0, 11);
        pixel[Z] = planes[plane];
    }
    return result;
}

bool identical(float a, float b) {
    return std::bit_cast<std::uint32_t>(a) == std::bit_cast<std::uint32_t>(b);
}

void expect_identical(const picture& a, const picture& b) {
    for (std::size_t i = 0; i < a.values.size(); ++i) {
        ASSERT_TRUE(identical(a.values[i], b.values[i]))
            << a.values[i] << " and " << b.values[i] << " at value " << i;
    }
}

struct large_blur {
    double pixels;
    int width;
    int height;
    double filled;  // of all pixels, so that the model takes seconds
};

}  // namespace

// Rows above and below that the kernels end in, and that the picture ends before. Enough
// sources that no single one decides a pixel; of those the next test tells.
TEST(LargeSmoothBlur, AgreesWithTheModel) {
    random_frame random(11);
    fast_tool tool;
    for (const large_blur& blur : {large_blur{64.5, 280, 70, 1.0},
                                   {100.0, 430, 130, 0.1},
                                   {192.0, 780, 210, 0.02},
                                   {480.0, 1930, 300, 0.004}}) {
        for (const int style : {GAUSSIAN, LAPLACIAN}) {
            for (const int normalize : {0, 1}) {
                // then transparent pixels are blurred as well
                if (normalize == 1 && blur.filled < 0.1) continue;
                SCOPED_TRACE(testing::Message() << "style " << style << ", normalize "
                                                << normalize << ", " << blur.pixels);
                const picture input =
                    random_planes(random, blur.width, blur.height, blur.filled);
                const controls settings =
                    settings_of(style, blur.pixels, blur.width, normalize);
                expect_agreement(tool.render(input, nullptr, settings), input,
                                 frame_model::render(input, input, settings));
            }
        }
    }
}

// A single source shows each weight by itself, and where they end.
TEST(LargeSmoothBlur, HasEachWeightOfTheModel) {
    constexpr int WIDTH = 1210;
    constexpr int HEIGHT = 320;
    // Of the largest weight. Relative to the weight itself there is no bound for the
    // Laplacian: near its zero a weight is what is left of terms that were rounded, those
    // of macro tiles too, which err by half as much.
    constexpr double ROUNDING = 1e-6;
    fast_tool tool;
    for (const int style : {GAUSSIAN, LAPLACIAN}) {
        for (const double diameter : {64.0, 71.0, 153.2, 191.99, 299.0}) {
            SCOPED_TRACE(testing::Message() << "style " << style << ", " << diameter);
            picture input = blank(WIDTH, HEIGHT);
            const float light[] = {1e9F, -2.0F, 1.0F, 1.0F, 1e30F};
            std::ranges::copy(light, &input.at(600, 158, BLUE));
            const controls settings = settings_of(style, diameter, WIDTH, 0);
            const picture result = tool.render(input, nullptr, settings);
            const auto model = frame_model::render(input, input, settings);
            if (style == GAUSSIAN) expect_agreement(result, input, model);
            double largest = 0.0;
            for (int i = 0; i < WIDTH * HEIGHT; ++i) {
                largest = std::max(largest,
                                   model.colors[static_cast<std::size_t>(i) * 4].value);
            }
            for (int i = 0; i < WIDTH * HEIGHT; ++i) {
                const double expected =
                    model.colors[static_cast<std::size_t>(i) * 4].value;
                const float blue = result.at(i % WIDTH, i / WIDTH, BLUE);
                ASSERT_EQ(blue == 0.0F, expected == 0.0)
                    << "at " << i % WIDTH << ", " << i / WIDTH;
                ASSERT_NEAR(blue, expected,
                            ROUNDING * largest + 1e-4 * std::abs(expected))
                    << "at " << i % WIDTH << ", " << i / WIDTH;
            }
        }
    }
}

TEST(LargeSmoothBlur, IsOnePictureWithAnyNumberOfThreads) {
    random_frame random(12);
    fast_tool one(1), two(2), five(5);
    for (const int style : {GAUSSIAN, LAPLACIAN}) {
        const picture input = random_planes(random, 500, 90, 0.5);
        const controls settings = settings_of(style, 120.0, 500, 1);
        const picture expected = one.render(input, nullptr, settings);
        for (fast_tool* tool : {&one, &two, &five})
            expect_identical(expected, tool->render(input, nullptr, settings));
    }
}

TEST(LargeSmoothBlur, IsOnePictureWithVectorsOf256And512Bits) {
    if (!(hwy::SupportedTargets() & HWY_AVX3) || !(hwy::SupportedTargets() & HWY_AVX2))
        GTEST_SKIP() << "the machine has only one of them";
    random_frame random(13);
    fast_tool tool;
    for (const int style : {GAUSSIAN, LAPLACIAN}) {
        for (const double filled : {0.5, 1.0}) {
            const picture input = random_planes(random, 500, 90, filled);
            const controls settings = settings_of(style, 120.0, 500, 0);
            hwy::GetChosenTarget().Update(HWY_AVX3);
            const picture expected = tool.render(input, nullptr, settings);
            hwy::GetChosenTarget().Update(HWY_AVX2);
            expect_identical(expected, tool.render(input, nullptr, settings));
            hwy::GetChosenTarget().DeInit();
        }
    }
}

// Colours that are not finite are scattered, and leave all others as they were.
TEST(LargeSmoothBlur, KeepsWhatIsNotFiniteWithinItsKernel) {
    random_frame random(14);
    fast_tool tool;
    for (const int style : {GAUSSIAN, LAPLACIAN}) {
        const controls settings = settings_of(style, 80.0, 500, 0);
        picture input = random_planes(random, 500, 90, 1.0);
        input.at(100, 40, Z) = 1e30F;
        input.at(100, 40, RED) = 0.0F;
        const picture finite = tool.render(input, nullptr, settings);
        input.at(100, 40, RED) = INFINITY;
        const picture result = tool.render(input, nullptr, settings);
        for (int i = 0; i < 500 * 90; ++i) {
            const int x = i % 500;
            const int y = i / 500;
            const bool inside = std::max(std::abs(x - 100), std::abs(y - 40)) <= 40;
            EXPECT_EQ(!std::isfinite(result.at(x, y, RED)), inside) << x << ", " << y;
            if (!inside) {
                EXPECT_EQ(result.at(x, y, RED), finite.at(x, y, RED));
            }
        }
    }
}
