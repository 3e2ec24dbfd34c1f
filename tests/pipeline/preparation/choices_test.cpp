#include <cmath>
#include <string>

#include <gtest/gtest.h>

#include "host/error.h"
#include "pipeline/preparation/depth_choices.h"
#include "pipeline/preparation/light_steps.h"

using namespace focusfall;

namespace {

using end = empty_depth::end;

TEST(PreparationChoices, AreReadAsTheyAreTyped) {
    EXPECT_EQ(named_depth_meaning("inverse"), depth_meaning::INVERSE);
    EXPECT_EQ(named_depth_meaning("ray"), depth_meaning::RAY);
    EXPECT_EQ(named_depth_meaning("distance"), depth_meaning::DISTANCE);

    EXPECT_EQ(parsed_empty_depth("far").place, end::FAR);
    EXPECT_FALSE(parsed_empty_depth("far").marker);
    EXPECT_EQ(parsed_empty_depth("1e10=near").place, end::NEAR);
    EXPECT_EQ(parsed_empty_depth("1e10=near").marker, 1e10F);
    EXPECT_EQ(parsed_empty_depth("0=640.5").place, end::VALUE);
    EXPECT_EQ(parsed_empty_depth("0=640.5").value, 640.5F);
    EXPECT_EQ(parsed_empty_depth("0=640.5").marker, 0.0F);
    EXPECT_TRUE(std::isinf(*parsed_empty_depth("inf=far").marker));

    EXPECT_EQ(parsed_highlights("8,0.75").gain, 8.0F);
    EXPECT_EQ(parsed_highlights("8,0.75").threshold, 0.75F);
}

TEST(PreparationChoices, AreShownAsTheyWereTyped) {
    for (const char* text : {"distance", "inverse", "ray"}) {
        EXPECT_EQ(shown(named_depth_meaning(text)), text);
    }
    for (const char* text : {"far", "near", "640.5", "0=far", "-0.1=near", "inf=1e+20"}) {
        EXPECT_EQ(shown(parsed_empty_depth(text)), text);
    }
    EXPECT_EQ(shown(parsed_highlights("8.5,0.1")), "8.5,0.1");
}

TEST(PreparationChoices, ThatMakeNoSenseAreRefused) {
    for (const char* text : {"", "Inverse", "disparity"}) {
        EXPECT_THROW(named_depth_meaning(text), headless::host_error) << text;
    }
    for (const char* text : {"", "=", "0=", "=far", "sky", "far=0", "nan", "0=nan"}) {
        EXPECT_THROW(parsed_empty_depth(text), headless::host_error) << text;
    }
    for (const char* text :
         {"", "8", "8,", ",0.5", "0.5,0.5", "8,1", "8,-0.1", "inf,0", "nan,0", "8,0,1"}) {
        EXPECT_THROW(parsed_highlights(text), headless::host_error) << text;
    }
}

}  // namespace
