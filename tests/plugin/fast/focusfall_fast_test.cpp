// The fast tool against the one that it stands in for, and against itself: with other
// numbers of threads and other vectors.

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

#include <hwy/targets.h>

#include "tests/support/failing_allocations.h"
#include "tests/support/frame_fixture.h"

namespace {

using frame_model::controls;
using frame_model::picture;

struct fast_tool : plugin_tool {
    explicit fast_tool(int threads = 2) : plugin_tool(threads, {}, FAST_PLUGIN_FILE) {}
};

// Lights, negative and transparent colours, smooth or broken depth, opaque from some
// column on; a part of the pixels, `odd` of all, has values that are no colours or
// depths.
picture random_picture(random_frame& random, int width, int height, double odd) {
    constexpr float INFINITE = std::numeric_limits<float>::infinity();
    picture result = blank(width, height, 6);
    const float slope = random.between(-0.02, 0.02);
    const bool broken = random.chance(0.5);
    const int opaque_from = random.whole(-width, width);
    bool empty_row = false;
    for (int i = 0; i < width * height; ++i) {
        const int x = i % width;
        const int y = i / width;
        if (x == 0) empty_row = random.chance(0.1);
        float* pixel = &result.at(x, y, 0);
        for (int c = 0; c < 6; ++c) pixel[c] = random.between(-0.1, 1);
        if (random.chance(0.01)) pixel[random.whole(BLUE, RED)] = 50.0F;
        if (empty_row || random.chance(0.1)) pixel[ALPHA] = 0.0F;
        if (x >= opaque_from && !empty_row) pixel[ALPHA] = 1.0F;
        pixel[Z] =
            broken ? random.between(0, 1) : 0.5F + slope * static_cast<float>(x - y);
        if (!random.chance(odd)) continue;
        const float values[] = {NAN, INFINITE, -INFINITE, 0.0F, 1e38F};
        const int component = random.whole(BLUE, Z);
        pixel[component] = values[random.whole(0, component == Z ? 4 : 3)];
    }
    return result;
}

controls random_settings(random_frame& random, int style, const picture& input,
                         double blur = 0.0) {
    if (blur == 0.0) blur = random.between(1.1, 60);
    return {{"BlurStyle", style},
            {"MaxBlurSize", std::min(25.0, blur / input.width * 100.0)},
            {"PolygonSideCount", random.whole(3, 12)},
            {"KernelAngle", random.between(0, 90)},
            {"BadBokeh", random.chance(0.3) ? random.between(0, 1) : 0},
            {"FocusPosition", random.between(0, 1)},
            // divided, the Laplacian's sums near zero magnify what they lack
            {"Normalize", style == 4 ? 0 : random.whole(0, 1)}};
}

// Whether a result is as good as another: alike if not finite, else apart by no more than
// single precision may lead.
bool alike(float a, float b) {
    if (!std::isfinite(a) || !std::isfinite(b)) {
        return std::isnan(a) ? std::isnan(b) : a == b;
    }
    return std::abs(a - b) <= 2e-4F + 2e-5F * std::max(std::abs(a), std::abs(b));
}

bool identical(float a, float b) {
    return std::bit_cast<std::uint32_t>(a) == std::bit_cast<std::uint32_t>(b);
}

void expect_same(const picture& a, const picture& b, bool (*same)(float, float)) {
    for (std::size_t i = 0; i < a.values.size(); ++i) {
        ASSERT_TRUE(same(a.values[i], b.values[i]))
            << a.values[i] << " and " << b.values[i] << " at component " << i % 6
            << " of pixel " << i / 6 << ", " << a.width << " a row";
    }
}

class FocusfallFast : public testing::Test {
  protected:
    void compare_with_reference(const picture& input, const controls& settings) {
        SCOPED_TRACE(testing::PrintToString(settings));
        expect_same(reference_.render(input, nullptr, settings),
                    fast_.render(input, nullptr, settings), alike);
    }

    random_frame random_{1};
    plugin_tool reference_{1};
    fast_tool fast_;
};

// Widths and heights that fill no tile, one tile, several; the last ones with a picture
// as the blur's shape.
TEST_F(FocusfallFast, MakesThePictureOfTheReferenceTool) {
    for (int i = 0; i < 46 && !HasFatalFailure(); ++i) {
        SCOPED_TRACE(i);
        const int width = i % 10 == 0 ? 1 + i / 10 : random_.whole(1, 200);
        const int height = i % 20 == 0 ? 1 : random_.whole(1, 70);
        const picture input =
            random_picture(random_, width, height, i % 3 == 0 ? 0.003 : 0.0);
        if (i >= 40) {
            const picture shape =
                random_picture(random_, random_.whole(1, 30), random_.whole(1, 30), 0.0);
            reference_.connect("BlurImage", shape);
            fast_.connect("BlurImage", shape);
        }
        compare_with_reference(input, random_settings(random_, i % 5, input));
    }
}

// At one depth runs of sources are added as sums of them; where it jumps, those of like
// reach apart from the others. Blurs end within a group of columns, and beside it.
TEST_F(FocusfallFast, MakesThePictureOfTheReferenceToolFarOutOfFocus) {
    for (const double blur : {31.0, 32.3, 33.0, 47.0, 64.0, 150.0}) {
        const bool jumps = blur > 100.0;
        const int width = jumps ? 610 : 270;
        picture input = random_picture(random_, width, 30, 0.0);
        for (int i = 0; i < width * 30; ++i) {
            const float slope = static_cast<float>(i % width) / 700.0F;
            input.at(i, 0, Z) = jumps && i / 25 % 3 != 0 ? slope : 0.0F;
        }
        controls settings = random_settings(random_, blur == 33.0, input, blur);
        settings["FocusPosition"] = settings["Normalize"] = 1;
        settings["BadBokeh"] = 0;
        compare_with_reference(input, settings);
    }
}

// However little a kernel has beyond its end, a light as bright as this one shows it.
TEST_F(FocusfallFast, EndsWhereTheReferenceToolEnds) {
    for (int style = 0; style < 5; ++style) {
        for (const double blur : {4.0, 9.7, 20.0}) {
            SCOPED_TRACE(testing::Message() << "style " << style << ", blur " << blur);
            picture input = blank(120, 60, 6);
            const float light[] = {1e9F, 1e9F, 1e9F, 1.0F, 1.0F, 0.0F};
            std::ranges::copy(light, &input.at(50, 30, 0));
            controls settings = random_settings(random_, style, input, blur);
            settings["FocusPosition"] = settings["Normalize"] = 0;
            const picture expected = reference_.render(input, nullptr, settings);
            const picture result = fast_.render(input, nullptr, settings);
            for (std::size_t i = 0; i < expected.values.size(); ++i) {
                EXPECT_EQ(result.values[i] == 0.0F, expected.values[i] == 0.0F)
                    << result.values[i] << " and " << expected.values[i]
                    << " at component " << i % 6 << " of pixel " << i / 6;
            }
        }
    }
}

TEST_F(FocusfallFast, MakesOnePictureWithAnyNumberOfThreads) {
    fast_tool one(1), eight(8);
    for (int i = 0; i < 10 && !HasFatalFailure(); ++i) {
        SCOPED_TRACE(i);
        const picture input = random_picture(random_, 500, 130, i == 0 ? 0.01 : 0.0);
        const controls settings = random_settings(random_, i % 5, input);
        const picture expected = one.render(input, nullptr, settings);
        for (fast_tool* tool : {&one, &fast_, &eight}) {
            expect_same(expected, tool->render(input, nullptr, settings), identical);
        }
    }
}

// Accumulators take 20 bytes a pixel, and no frame above 2^27 pixels could have them.
TEST_F(FocusfallFast, TakesAccumulatorsOnlyForWhatIsScattered) {
    watch_allocations_of_libraries();
    picture input = random_picture(random_, 60, 40, 0.0);
    const controls settings = random_settings(random_, 0, input, 8.0);
    fast_.render(input, nullptr, settings);
    for (const bool finite : {true, false, true}) {
        SCOPED_TRACE(finite);
        input.at(30, 20, RED) = finite ? 1.0F : NAN;
        fast_.connect("Input", input);
        headless::render_order order;
#ifdef _WIN32
        // aligned as well: the tables of the gather, made before anything is reported
        order.progress = [](double /*done*/) { aligned_allocations_fail = true; };
#else
        aligned_allocations_fail = true;
#endif
        const headless::frame result = fast_.tool().render(order);
        aligned_allocations_fail = false;
        using end = headless::frame::end;
        EXPECT_EQ(result.how, finite ? end::DONE : end::FAILED) << result.error;
        compare_with_reference(input, settings);
    }
}

// An edit may store another style while stamps wait for their kernels. An infinite colour
// is one, and shows the kernel's shape: not-a-number where the weight is 0.
TEST_F(FocusfallFast, KeepsTheStyleThatTheFrameBeganWith) {
    picture input = random_picture(random_, 60, 40, 0.0);
    input.at(30, 20, RED) = std::numeric_limits<float>::infinity();
    input.at(30, 20, ALPHA) = 1.0F;
    const controls settings = random_settings(random_, 0, input, 12.0);
    const picture expected = fast_.render(input, nullptr, settings);
    int steps = 0;
    headless::render_order order;
    order.progress = [&](double /*done*/) {
        if (++steps == 1) fast_.tool().set("BlurStyle", "Gaussian");
    };
    const headless::frame result = fast_.tool().render(order);
    ASSERT_TRUE(result.image) << result.error;
    picture edited = input;
    std::copy_n(result.image->Pixel(0, 0), edited.values.size(), edited.values.begin());
    expect_same(expected, edited, alike);
}

// Sum of the squared distances of the colours from those of the model.
double error_against(const frame_model::frame& model, const picture& result) {
    double sum = 0.0;
    for (std::size_t i = 0; i < model.colors.size(); ++i) {
        const double value{result.values[i / 4 * 6 + i % 4]};
        sum += std::pow(value - model.colors[i].value, 2.0);
    }
    return sum;
}

TEST_F(FocusfallFast, IsAsCloseToADoublePrecisionModelAsTheReferenceTool) {
    for (int style = 0; style < 5; ++style) {
        SCOPED_TRACE(style);
        double allowed = 0.0;
        double error = 0.0;
        for (const double blur : {5.0, 8.0, 13.0, 30.0}) {
            const picture input = random_picture(random_, 150, 40, 0.0);
            controls settings = random_settings(random_, style, input, blur);
            settings["Normalize"] = 0;
            const auto model = frame_model::render(input, input, settings);
            allowed += error_against(model, reference_.render(input, nullptr, settings));
            error += error_against(model, fast_.render(input, nullptr, settings));
        }
        EXPECT_LE(std::sqrt(error), std::sqrt(allowed));
    }
}

// Without a fused multiply-add sums round otherwise.
TEST_F(FocusfallFast, MakesOnePictureWithAnyVectors) {
    const std::int64_t all = hwy::SupportedTargets();
    const std::int64_t fused = all & (HWY_AVX2 | HWY_AVX3);
    for (int i = 0; i < 10 && !HasFatalFailure(); ++i) {
        const picture input = random_picture(random_, 230, 60, 0.0);
        const controls settings = random_settings(random_, i % 5, input);
        const picture expected = fast_.render(input, nullptr, settings);
        for (const std::int64_t target :
             {std::int64_t{HWY_AVX3}, std::int64_t{HWY_AVX2}, std::int64_t{HWY_SSE4},
              std::int64_t{HWY_SCALAR}}) {
            if (!(target & (all | HWY_SCALAR))) continue;
            SCOPED_TRACE(hwy::TargetName(target) + std::to_string(i));
            hwy::GetChosenTarget().Update(target);
            expect_same(expected, fast_.render(input, nullptr, settings),
                        target & fused ? identical : alike);
        }
        hwy::GetChosenTarget().DeInit();
    }
}

}  // namespace
