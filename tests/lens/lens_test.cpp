// The lens, against the same formulas in double precision and against known lenses.

#include "lens/lens.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "lens/kernel_sizes.h"

namespace {

lens::settings advanced() {
    lens::settings s;
    s.type = 1.0F;
    s.focal_length = 50.0F;
    s.f_stop = 2.0F;
    s.filmback_width = 36.0F;
    s.map.type = 0.0F;
    return s;
}

TEST(Lens, SpreadsAPointAtInfinityAsAThinLensDoes) {
    lens::settings s = advanced();
    for (const double focus : {100.0, 1000.0, 33333.0}) {
        s.focus_position = static_cast<float>(-focus);  // the sign does not count
        const double film = 50.0 * 50.0 / (2.0 * (focus - 50.0));
        EXPECT_NEAR(lens::focus_of(s, 1920).max_coc, film / 36.0 * 1920.0, 1e-3) << focus;
        EXPECT_FLOAT_EQ(lens::focus_of(s, 1920).distance, static_cast<float>(focus));
    }
    s.focus_position = 50.0F;
    EXPECT_TRUE(std::isinf(lens::focus_of(s, 1920).max_coc)) << "at the focal length";
    s.focus_position = 20.0F;
    EXPECT_LT(lens::focus_of(s, 1920).max_coc, 0.0F) << "nearer: nothing is blurred";
    s.depth_enabled = false;
    EXPECT_LE(lens::focus_of(s, 1920).max_coc, 1.0F);
}

TEST(Lens, TakesDistancesInEveryUnitAndNormalizedMapsFromBothEnds) {
    const float millimetres[] = {1.0F, 1000.0F, 25.4F, 304.8F};
    for (int unit = 0; unit < 4; ++unit) {
        const lens::depth_map plain{0.0F, static_cast<float>(unit)};
        EXPECT_FLOAT_EQ(lens::distance(plain, 3.0F), 3.0F * millimetres[unit]) << unit;
        lens::depth_map map{1.0F, static_cast<float>(unit), 0.0F, 20.0F, 100.0F};
        EXPECT_FLOAT_EQ(lens::distance(map, 0.25F), 40.0F * millimetres[unit]) << unit;
        map.invert = 1.0F;
        EXPECT_FLOAT_EQ(lens::distance(map, 0.25F), 80.0F * millimetres[unit]) << unit;
    }
}

// Simple settings take a map from 1 to 2 mm whatever the lens's own controls say.
TEST(Lens, ForgetsTheMapOfTheAdvancedSettingsInSimpleOnes) {
    lens::settings s = advanced();
    s.map = {0.0F, 3.0F, 1.0F, 500.0F, 600.0F};
    s.type = 0.0F;
    s.max_blur_size = 2.5F;
    s.focus_position = 0.25F;
    const lens::focus f = lens::focus_of(s, 800);
    EXPECT_EQ(f.max_coc, 20.0F);
    EXPECT_EQ(f.distance, 1.75F) << "inverted";
}

TEST(Lens, BlursNothingInFocusAndNeverMoreThanTheLargest) {
    const float focus = 1000.0F;
    const float largest = 30.0F;
    EXPECT_EQ(lens::blur_diameter(focus, focus, largest), 0.0F);
    EXPECT_FLOAT_EQ(lens::blur_diameter(2000.0F, focus, largest), 15.0F);
    for (const float distance : {1e-6F, 0.0F, std::nanf(""), 500.0F}) {
        EXPECT_EQ(lens::blur_diameter(distance, focus, largest), largest) << distance;
    }
    EXPECT_LE(lens::blur_diameter(std::numeric_limits<float>::max(), focus, largest),
              largest);
}

TEST(Lens, NarrowsToTheFloatsThatThereAre) {
    constexpr float LAST = std::numeric_limits<float>::max();
    EXPECT_EQ(lens::narrowed(0.1), 0.1F);
    EXPECT_EQ(lens::narrowed(1e300), LAST);
    EXPECT_EQ(lens::narrowed(-1e300), -LAST);
}

// Every index up to a blur of 60 pixels, so that rounding at whole diameters shows.
TEST(KernelSizes, HoldTheDiameterAndGrowByTwoPixels) {
    EXPECT_EQ(lens::kernel_radius(0), 0);
    for (std::size_t i = 1; i <= 6000; ++i) {
        const int side = 2 * lens::kernel_radius(i) + 1;
        EXPECT_GE(side, lens::kernel_diameter(i)) << i;
        EXPECT_LT(side, std::max(lens::kernel_diameter(i) + 2.0, 4.0)) << i;
    }
}

TEST(KernelSizes, EndAtAQuarterOfTheWidth) {
    constexpr float INF = std::numeric_limits<float>::infinity();
    EXPECT_EQ(lens::last_kernel_index(2.0F, 400), 201U);
    EXPECT_EQ(lens::last_kernel_index(100.0F, 400), 10000U);
    EXPECT_EQ(lens::last_kernel_index(INF, 400), 10000U);
    EXPECT_EQ(lens::kernel_index(INF, 77), 77U);
    EXPECT_EQ(lens::kernel_index(std::nanf(""), 77), 0U);
    EXPECT_EQ(lens::kernel_index(0.0099F, 77), 0U);
    EXPECT_EQ(lens::kernel_index(0.5F, 77), 50U);
}

}  // namespace
