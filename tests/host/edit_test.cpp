// What an edit changes, and how one that leads nowhere is refused.

#include <cmath>
#include <functional>

#include "tests/support/tool_fixture.h"

namespace headless {
namespace {

using Edit = tool_test;

std::string ids_of(const tool::changes& changed) {
    std::string ids;
    for (const control* input : changed) ids += input->info().id + " ";
    return ids;
}

// Coupled values, and controls that the tool shows or hides, in the order of the page.
TEST_F(Edit, GivesTheControlsThatItChanged) {
    tool->open_page();
    EXPECT_EQ(ids_of(tool->open_page()), "") << "nothing is new";
    EXPECT_EQ(ids_of(tool->set("MaxBlurSize", 3.0)), "MaxBlurSize ");
    EXPECT_EQ(ids_of(tool->set("MaxBlurSize", 3.0)), "") << "the same value again";
    EXPECT_EQ(ids_of(tool->set("MaxBlurSize", "90")), "MaxBlurSize ") << "kept to 25";
    EXPECT_EQ(ids_of(tool->set("MaxBlurSize", 80.0)), "");
    EXPECT_EQ(ids_of(tool->set("FocalLength", 50.0)), "FocalLength ApertureDiameter ");
    EXPECT_EQ(ids_of(tool->set("ApertureDiameter", 10.0)), "FStop ApertureDiameter ");
    EXPECT_EQ(ids_of(tool->set("BlurStyle", "Polygon")),
              "BlurStyle PolygonSideCount KernelAngle ");
    EXPECT_EQ(ids_of(tool->replace("FocalLength",
                                   animation({{1, 35}, {9, 70}}, interpolation::LINEAR))),
              "FocalLength ApertureDiameter ");
    EXPECT_EQ(ids_of(tool->restore({{"FStop", animation(4.0)},
                                    {"PluginName", std::string("mine")},
                                    {"ApertureDiameter", animation(10.0)}})),
              "FStop ApertureDiameter PluginName ");
    const auto picture = small_picture();
    EXPECT_EQ(ids_of(tool->connect("Input", picture.get())), "Input ");
    EXPECT_EQ(ids_of(tool->connect("Input", picture.get())), "");
    EXPECT_EQ(ids_of(tool->connect("Input", nullptr)), "Input ");
}

// The probe answers this text with a factor that is not finite.
TEST(Edits, ThatLeadToAValueThatDoesNotFitAreRefusedByTheirOwnName) {
    host host(1);
    host.load_plugin(PROBE_FILE);
    const auto tool = host.create_tool("probe.Probe");
    tool->set("Factor", 1.5);
    const std::string endless = "endless";
    const std::function<void()> edits[] = {
        [&] { tool->set("Fault", endless); },
        [&] { tool->replace("Fault", endless); },
        [&] {
            tool->restore({{"Factor", animation(2.5)}, {"Fault", endless}});
        },
    };
    for (const auto& edit : edits) {
        EXPECT_EQ(error_of(edit),
                  "Fault: cannot take this value, for it leads to one that does not fit "
                  "(Factor: takes finite numbers only)");
        EXPECT_EQ(tool->find("Factor").number(0), 1.5);
        EXPECT_EQ(tool->find("Fault").text(), "");
    }
    EXPECT_EQ(error_of([&] { tool->set("Fault", "talkative"); }),
              "Fault: cannot take this value, for it leads to one that does not fit "
              "(Factor: takes numbers and no text)");
    tool->set("Fault", "none");
    EXPECT_EQ(tool->find("Fault").text(), "none") << "the next edit is as good as any";
}

// A key at no time at all would break the order of the keys.
TEST_F(Edit, NeedsAFiniteTime) {
    tool->replace("FocalLength", animation({{1, 35}, {9, 70}}, interpolation::LINEAR));
    for (const double time : {std::nan(""), HUGE_VAL}) {
        EXPECT_EQ(error_of([&] { tool->set("FocalLength", 50.0, time); }),
                  "FocalLength: needs a finite time");
    }
    EXPECT_EQ(tool->find("FocalLength").curve().keys().size(), 2U);
    EXPECT_EQ(tool->render({.time = std::nan("")}).error,
              "the time of a frame is not a number");
}

TEST_F(Edit, EveryControlSaysWhatItDoes) {
    for (const control* input : tool->controls()) {
        const std::string& help = input->info().help;
        EXPECT_TRUE(help.ends_with(".")) << input->info().id;
    }
}

}  // namespace
}  // namespace headless
