#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <numeric>
#include <random>
#include <utility>
#include <vector>

#include "plugin/kernels/kernel_shapes.h"
#include "plugin/record/focusfall_interface.h"
#include "plugin/splat/add_weighted.h"

namespace {

constexpr float INF = std::numeric_limits<float>::infinity();

// A record that is ready for samples: every one at depth 0 gets the last kernel.
class Splat : public testing::Test {
  protected:
    Splat() {
        filter_.focus_depth = 1000.0F;
        resize(13, 9);
    }

    void resize(int width, int height) {
        filter_.color_accumulator.resize(width, height);
        filter_.weight_accumulator.resize(width, height);
        filter_.color_accumulator.clear_channel("OutRGBA");
        filter_.weight_accumulator.clear_channel("Norm");
        filter_.out_rgba_data = filter_.color_accumulator.get_channel_data("OutRGBA", 0);
        filter_.norm_data = filter_.weight_accumulator.get_channel_data("Norm", 0);
        filter_.row_locks.assign(static_cast<std::size_t>(height),
                                 boost::shared_ptr<boost::mutex>(new boost::mutex));
    }
    float norm(int x, int y) {
        return filter_.weight_accumulator.get_channel_data(
            "Norm", static_cast<std::uint32_t>(y))[x];
    }
    color_rgba_f color(int x, int y) {
        return filter_.color_accumulator.get_channel_data(
            "OutRGBA", static_cast<std::uint32_t>(y))[x];
    }

    focusfall_interface filter_;
};

TEST(AddWeighted, EqualsItsReference) {
    std::mt19937 random(1);
    for (int i = 0; i < 20000; ++i) {
        // any bit pattern: denormals, infinities and not-a-numbers too
        float values[10];
        for (float& value : values) {
            const auto bits = static_cast<std::uint32_t>(random());
            std::memcpy(&value, &bits, sizeof value);
        }
        color_rgba_f plain{values[0], values[1], values[2], values[3]};
        alignas(16) color_rgba_f vector = plain;
        add_weighted_reference(plain, values + 5, values[9]);
        add_weighted(vector, values + 5, values[9]);
        for (int c = 0; c < 4; ++c) {
            const float a = (&plain.r)[c];
            const float b = (&vector.r)[c];
            ASSERT_TRUE(a == b || (std::isnan(a) && std::isnan(b))) << a << ", " << b;
        }
    }
}

// The stamp's side follows from the entry's number in single precision, that of the
// kernel in double: they must agree in every entry, or kernels are read askew.
TEST_F(Splat, StampsEveryTableEntryAsWideAsItsKernel) {
    constexpr int MIDDLE = 250;
    resize(2 * MIDDLE + 1, 1);
    std::vector<float> ones(481 * 481, 1.0F);
    for (int entry = 1; entry <= 48000; ++entry) {
        const std::int32_t side =
            std::max(odd_kernel_size(entry * 0.01), KERNEL_MIN_SIZE);
        filter_.kernels.resize(static_cast<std::size_t>(entry) + 1);
        filter_.kernels.back().swap(ones);
        filter_.max_coc = (static_cast<float>(entry) + 0.5F) * 0.01F;
        std::fill_n(filter_.norm_data, 2 * MIDDLE + 1, 0.0F);
        filter_.splat_sample({MIDDLE, 0, 0, 0, 0, 0, /*depth=*/0, 1});
        filter_.kernels.back().swap(ones);

        const float stamped =
            std::accumulate(filter_.norm_data, filter_.norm_data + 2 * MIDDLE + 1, 0.0F);
        ASSERT_EQ(stamped, static_cast<float>(side)) << "entry " << entry;
        ASSERT_EQ(filter_.norm_data[MIDDLE - side / 2], 1.0F) << "entry " << entry;
    }
}

// What the splat should do with a sample, pixel by pixel.
double expected_norm(const std::vector<float>& kernel, int side, const depth_sample& s,
                     int x, int y) {
    double sum = 0.0;
    for (int i = 0; i < 4; ++i) {
        const int column = static_cast<int>(std::floor(s.x)) + i % 2;
        const int row = static_cast<int>(std::floor(s.y)) + i / 2;
        const double share = (1.0 - std::fabs(double{s.x} - column)) *
                             (1.0 - std::fabs(double{s.y} - row));
        const int kx = x - column + side / 2;
        const int ky = y - row + side / 2;
        if (kx < 0 || ky < 0 || kx >= side || ky >= side) continue;
        sum += share * double{s.weight} *
               double{kernel[static_cast<std::size_t>(ky * side + kx)]};
    }
    return sum;
}

TEST_F(Splat, SplitsSamplesBetweenPixelsAndCutsThemAtTheEdges) {
    std::mt19937 random(2);
    std::uniform_real_distribution<float> unit(0.0F, 1.0F);
    std::vector<float> kernel(25);
    for (float& weight : kernel) weight = unit(random);
    filter_.kernels.assign(501, {});  // 5 pixels
    filter_.kernels.back() = kernel;
    filter_.max_coc = 5.005F;
    for (int i = 0; i < 200; ++i) {
        depth_sample s = {unit(random) * 24 - 6, unit(random) * 20 - 6, 1, 2, 3, 4, 0, 1};
        if (i % 4 == 0) s.x = std::floor(s.x);
        if (i % 5 == 0) s.weight = unit(random);
        resize(13, 9);
        filter_.splat_sample(s);
        for (int p = 0; p < 13 * 9; ++p) {
            const double expected = expected_norm(kernel, 5, s, p % 13, p / 13);
            ASSERT_NEAR(norm(p % 13, p / 13), expected, 1e-6) << s.x << ", " << s.y;
            const color_rgba_f c = color(p % 13, p / 13);
            ASSERT_NEAR(c.r, expected, 1e-5);
            ASSERT_NEAR(c.a, 4.0 * expected, 1e-5);
        }
    }
}

TEST_F(Splat, ChoosesTheKernelOfTheBlur) {
    // entry i of the table leaves i + 1 in the middle
    for (int i = 0; i <= 300; ++i) {
        filter_.kernels.emplace_back(i == 0 ? 1 : 9, static_cast<float>(i + 1));
    }
    const auto chosen = [this](float depth) {
        resize(3, 3);
        filter_.splat_sample({1, 1, 0, 0, 0, 0, depth, 1});
        return static_cast<int>(norm(1, 1)) - 1;
    };
    filter_.max_coc = 2.005F;
    EXPECT_EQ(chosen(1000.0F), 0) << "in focus";
    EXPECT_EQ(chosen(2000.0F), 100);
    EXPECT_EQ(chosen(400.0F), 200) << "no blur is larger than the largest";
    EXPECT_EQ(chosen(0.0F), 200);
    EXPECT_EQ(chosen(std::nanf("")), 200);
    filter_.focus_depth = 0.0F;
    EXPECT_EQ(chosen(0.0F), 200) << "0 / 0 has no number";
    filter_.focus_depth = 1000.0F;
    for (const float past_the_table : {50.0F, 3e9F, INF}) {
        filter_.max_coc = past_the_table;
        EXPECT_EQ(chosen(0.0F), 300) << past_the_table;
    }
    filter_.kernels[300].clear();
    EXPECT_EQ(chosen(0.0F), -1) << "without a kernel nothing is added";
    filter_.depth_enabled = false;
    EXPECT_EQ(chosen(0.0F), 0);
}

}  // namespace
