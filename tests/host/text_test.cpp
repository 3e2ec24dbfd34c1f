#include "host/text.h"

#include <cmath>

#include <gtest/gtest.h>

namespace headless {
namespace {

TEST(Text, SuggestsNamesThatAreNearOrHoldTheWord) {
    const std::vector<std::string> names = {"FocalLength", "FocusPosition", "FStop"};
    EXPECT_EQ(nearest_name("focalLenght", names), "FocalLength");
    EXPECT_EQ(nearest_name("FocusPositn", names), "FocusPosition");
    EXPECT_EQ(nearest_name("focus", names), "FocusPosition");
    EXPECT_EQ(nearest_name("Length", names), "FocalLength");
    EXPECT_EQ(nearest_name("Po", names), "");
    EXPECT_EQ(nearest_name("Zoom", names), "");
    EXPECT_EQ(suggestion("Fstop", names), "; did you mean \"FStop\"?");
    EXPECT_EQ(suggestion("Zoom", names), "");
}

TEST(Text, WritesNumbersThatReadBackAsTheSame) {
    const double numbers[] = {0.0,  -0.0, 0.1,    1.0 / 3.0, 5e-324,
                              1e-3, 1e15, 1e-300, 123456.5,  -1.7976931348623157e308};
    for (const double number : numbers) {
        const auto back = number_in(shortest(number));
        ASSERT_TRUE(back) << shortest(number);
        EXPECT_EQ(*back, number) << shortest(number);
        EXPECT_EQ(std::signbit(*back), std::signbit(number)) << shortest(number);
    }
    EXPECT_EQ(shortest(0.1F), "0.1");
    for (const char* text : {"", "+", "++1", "1 ", "0x10", "1e999", "2,8"}) {
        EXPECT_FALSE(number_in(text)) << text;
    }
}

TEST(Text, JoinsItems) {
    EXPECT_EQ(joined({}), "");
    EXPECT_EQ(joined({"a"}), "a");
    EXPECT_EQ(joined({"", "b", "c"}, " or "), " or b or c");
}

}  // namespace
}  // namespace headless
