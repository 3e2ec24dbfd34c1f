#include "host/control.h"

#include "tests/support/tool_fixture.h"

namespace headless {
namespace {

using Control = tool_test;

TEST_F(Control, TakesWhatAnArtistTypes) {
    const struct {
        const char *id, *text;
        double value;
        const char* shown;
    } cases[] = {
        {"MaxBlurSize", "25.5", 25.0, "25"},  // beyond the end of its slider
        {"MaxBlurSize", "-1", 0.0, "0"},
        {"MinWeight", "0", static_cast<double>(1e-7F), "1e-07"},
        {"FStop", "2.2", 2.2, "2.2"},
        {"FocusPosition", "-0.1", -0.1, "-0.1"},  // neither bound
        {"PolygonSideCount", "7.5", 8.0, "8"},
        {"PolygonSideCount", "20", 20.0, "20"},
        {"BlurStyle", "Airy Disk", 3.0, "Airy Disk"},
        {"BlurStyle", "polygon", 1.0, "Polygon"},
        {"BlurStyle", "4", 4.0, "Laplacian"},
        {"Normalize", "off", 0.0, "off"},
        {"Normalize", "TRUE", 1.0, "on"},
    };
    for (const auto& c : cases) {
        tool->set(c.id, c.text);
        EXPECT_EQ(value(c.id), c.value) << c.id << " " << c.text;
        EXPECT_EQ(tool->find(c.id).info().shown(c.value), c.shown) << c.id;
    }
    tool->set("PluginName", "My blur");
    EXPECT_EQ(tool->find("PluginName").text(), "My blur");
}

TEST_F(Control, NamesItselfAndWhatItTakesInErrors) {
    const std::string styles = "Disk, Polygon, Gaussian, Airy Disk, Laplacian";
    const struct {
        const char *id, *text;
        std::string error;
    } cases[] = {
        {"FStop", "2.8mm",
         "FStop: \"2.8mm\" is not a value of this control, which takes a number"},
        {"FStop", "1e999",
         "FStop: \"1e999\" is not a value of this control, which takes a number"},
        {"FStop", "nan", "FStop: takes finite numbers only"},
        {"BlurStyle", "Square",
         "BlurStyle: \"Square\" is not a value of this control, which takes one of: " +
             styles},
        {"BlurStyle", "5", "BlurStyle: has no item 5, only 0 to 4: " + styles},
        {"Normalize", "maybe",
         "Normalize: \"maybe\" is not a value of this control, which takes on or off"},
        {"Normalize", "2", "Normalize: is on (1) or off (0), not 2"},
        {"Input", "a.exr", "Input: is an image connection and takes no value"},
        {"Fstop", "2", "there is no control \"Fstop\"; did you mean \"FStop\"?"},
        {"Zoom", "2", "there is no control \"Zoom\""},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(error_of([&] { tool->set(c.id, c.text); }), c.error);
    }
    EXPECT_THROW(tool->set("DocUrl", 1.0), host_error) << "a number for a text";
    EXPECT_EQ(value("FStop"), 2.0) << "a refused value changed it";
    EXPECT_EQ(value("BlurStyle"), 0.0);
}

}  // namespace
}  // namespace headless
