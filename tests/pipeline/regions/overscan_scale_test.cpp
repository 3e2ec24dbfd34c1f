#include "pipeline/regions/overscan_scale.h"

#include "tests/support/tool_fixture.h"

using namespace focusfall;

namespace {

using OverscanScale = tool_test;

TEST_F(OverscanScale, KeepsBlursInPixelsByValuesForTheOrderAlone) {
    const window display{0, 0, 60, 40};
    EXPECT_TRUE(overscan_scale(*tool, 0, display, display).empty());
    EXPECT_TRUE(overscan_scale(*tool, 0, display, {0, -20, 60, 80}).empty());

    tool->set("MaxBlurSize", 4, 1);
    tool->set("MaxBlurSize", 8, 3);
    tool->set("FilmbackWidth", 20);
    const control_values values = overscan_scale(*tool, 2, display, {-60, -40, 180, 120});
    ASSERT_EQ(values.size(), 2U);
    EXPECT_DOUBLE_EQ(std::get<double>(values.at("MaxBlurSize")),
                     value("MaxBlurSize", 2) / 3);
    EXPECT_DOUBLE_EQ(std::get<double>(values.at("FilmbackWidth")), 60);
    EXPECT_EQ(value("MaxBlurSize", 3), 8);
    EXPECT_EQ(value("FilmbackWidth"), 20);
}

}  // namespace
