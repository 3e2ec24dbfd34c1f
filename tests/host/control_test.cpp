#include "host/control.h"

#include <gtest/gtest.h>

#include "host/headless_host.h"

namespace headless {
namespace {

// The controls are those of the plug-in.
struct fixture {
    host host_{1};
    std::unique_ptr<tool> blur;

    fixture() {
        host_.load_plugin(PLUGIN_FILE);
        blur = host_.create_tool("kestrelworks.Focusfall");
    }

    double value(const char* id) const { return blur->find(id).number(0); }
};

TEST(Control, TakesWhatAnArtistTypes) {
    const struct {
        const char *id, *text;
        double value;
        const char* shown;
    } cases[] = {
        {"MaxBlurSize", "25", 25.0, "25"},  // beyond the end of its slider
        {"MaxBlurSize", "25.5", 25.0, "25"},
        {"MaxBlurSize", "-1", 0.0, "0"},
        {"MinWeight", "0", static_cast<double>(1e-7F), "1e-07"},
        {"MinWeight", "1.5", 1.0, "1"},
        {"FocalLength", "+1e3", 1000.0, "1000"},
        {"FocalLength", "0.25", 1.0, "1"},
        {"FStop", "2.2", 2.2, "2.2"},
        {"FocusPosition", "-0.1", -0.1, "-0.1"},  // neither bound
        {"PolygonSideCount", "7.5", 8.0, "8"},
        {"PolygonSideCount", "20", 20.0, "20"},
        {"PolygonSideCount", "2.9", 3.0, "3"},
        {"BlurStyle", "Airy Disk", 3.0, "Airy Disk"},
        {"BlurStyle", "polygon", 1.0, "Polygon"},
        {"BlurStyle", "4", 4.0, "Laplacian"},
        {"Normalize", "off", 0.0, "off"},
        {"Normalize", "TRUE", 1.0, "on"},
        {"Normalize", "0", 0.0, "off"},
        {"Normalize", "yes", 1.0, "on"},
    };
    fixture f;
    for (const auto& c : cases) {
        f.blur->set(c.id, c.text);
        EXPECT_EQ(f.value(c.id), c.value) << c.id << " " << c.text;
        EXPECT_EQ(f.blur->find(c.id).info().shown(c.value), c.shown) << c.id;
    }
    f.blur->set("PluginName", "My blur");
    EXPECT_EQ(f.blur->find("PluginName").text(), "My blur");
}

TEST(Control, NamesItselfAndWhatItTakesInErrors) {
    const std::string styles = "Disk, Polygon, Gaussian, Airy Disk, Laplacian";
    const struct {
        const char *id, *text;
        std::string error;
    } cases[] = {
        {"FStop", "abc",
         "FStop: \"abc\" is not a value of this control, which takes a number"},
        {"FStop", "2.8mm",
         "FStop: \"2.8mm\" is not a value of this control, which takes a number"},
        {"FStop", "", "FStop: \"\" is not a value of this control, which takes a number"},
        {"FStop", "1e999",
         "FStop: \"1e999\" is not a value of this control, which takes a number"},
        {"FStop", "inf", "FStop: takes finite numbers only"},
        {"FStop", "nan", "FStop: takes finite numbers only"},
        {"BlurStyle", "Square",
         "BlurStyle: \"Square\" is not a value of this control, which takes one of: " +
             styles},
        {"BlurStyle", "5", "BlurStyle: has no item 5, only 0 to 4: " + styles},
        {"BlurStyle", "1.5", "BlurStyle: has no item 1.5, only 0 to 4: " + styles},
        {"Normalize", "maybe",
         "Normalize: \"maybe\" is not a value of this control, which takes on or off"},
        {"Normalize", "2", "Normalize: is on (1) or off (0), not 2"},
        {"Input", "a.exr", "Input: is an image connection and takes no value"},
        {"Fstop", "2", "there is no control \"Fstop\"; did you mean \"FStop\"?"},
        {"Zoom", "2", "there is no control \"Zoom\""},
    };
    fixture f;
    for (const auto& c : cases) {
        try {
            f.blur->set(c.id, c.text);
            ADD_FAILURE() << c.id << " took " << c.text;
        } catch (const host_error& error) {
            EXPECT_EQ(error.what(), c.error);
        }
    }
    EXPECT_THROW(f.blur->set("DocUrl", 1.0), host_error) << "a number for a text";
    EXPECT_EQ(f.value("FStop"), 2.0) << "a refused value changed it";
    EXPECT_EQ(f.value("BlurStyle"), 0.0);
}

TEST(Control, NearestNamesAreNearAndShortestNumbersComeBack) {
    const std::vector<std::string> names = {"FocalLength", "FocusPosition", "FStop"};
    EXPECT_EQ(nearest_name("focalLenght", names), "FocalLength");
    EXPECT_EQ(nearest_name("FocusPositn", names), "FocusPosition");
    EXPECT_EQ(nearest_name("focus", names), "FocusPosition");
    EXPECT_EQ(nearest_name("Length", names), "FocalLength");
    EXPECT_EQ(nearest_name("Po", names), "");
    EXPECT_EQ(nearest_name("Zoom", names), "");
    EXPECT_EQ(nearest_name("", names), "");
    for (const double value : {0.0, 0.1, -1e-300, 1.0 / 3.0, 5e15}) {
        EXPECT_EQ(std::stod(shortest(value)), value);
    }
}

}  // namespace
}  // namespace headless
