#include <gtest/gtest.h>

#include <sstream>

#include "host/headless_host.h"
#include "host/operator_state.h"
#include "host/probe.h"
#include "plugin/tool/focusfall.h"

namespace headless {
namespace {

// Everything that a new tool asks its host for, in order. The bounds in single precision
// show their digits.
const std::string CONTROLS = R"(page Controls
input BlurChannel (Depth Channel) 88020000=Number 80030000=MultiButtonControl 20030004=0 38040000=Z 38040000=Red 38040000=Green 38040000=Blue 38040000=Alpha 1005000a=1
input SettingsType (Settings Type) 88020000=Number 80030000=MultiButtonControl 20030004=0 38040000=Simple 38040000=Advanced 1005000a=1 1003000a=1
input FocusPosition (Focus Position) 88020000=Number 80030000=ColorControl 10030007=12 1003000a=1
input MinWeight (Minimum Brightness Weight) 88020000=Number 80030000=SliderControl 20030000=1.0000000116860974e-07 20030001=1 20030004=1
input MaxBlurSize (Max Blur Size (% of Image Width)) 88020000=Number 80030000=SliderControl 20030000=0 20030003=10 20030001=25 20030004=1
input FocalLength (Focal Length (mm)) 88020000=Number 80030000=SliderControl 20030000=1 20030003=250 20030004=35 1003000a=1
input FStop (F-Stop) 88020000=Number 80030000=SliderControl 20030000=1 20030003=100 20030004=2 1003000a=1
input ApertureDiameter (Aperture Diameter (mm)) 88020000=Number 80030000=SliderControl 20030000=9.9999997473787516e-05 20030003=350 20030004=17.5 1003000a=1
input FilmbackWidth (Filmback Width (mm)) 88020000=Number 80030000=SliderControl 20030000=1 20030003=100 20030004=24.895999908447266 1003000a=1
input DepthMapType (Depth Map Type) 88020000=Number 80030000=MultiButtonControl 20030004=0 38040000=Distance 38040000=Normalized 1005000a=1 1003000a=1
input DepthMapUnits (Depth Map Units) 88020000=Number 80030000=MultiButtonControl 20030004=0 38040000=mm 38040000=meter 38040000=inch 38040000=feet 1005000a=1
input NearDistance (Near Distance (Depth map = 0.0)) 88020000=Number 80030000=SliderControl 20030000=9.9999997473787516e-05 20030003=5000 20030004=300
input FarDistance (Far Distance (Depth map = 1.0)) 88020000=Number 80030000=SliderControl 20030000=9.9999997473787516e-05 20030003=5000 20030004=1000
input InvertDepthMap (Invert Depth Map ( Near = 1.0 )) 88020000=Number 80030000=CheckboxControl 20030004=0
input Normalize (Apply Normalization) 88020000=Number 80030000=CheckboxControl 20030004=1
)";
const std::string STYLE_GROUP =
    R"(input BlurStyle (Blur Style) 88020000=Number 80030000=MultiButtonControl 38040000=Disk 38040000=Polygon 38040000=Gaussian 38040000=Airy Disk 38040000=Laplacian 20030004=0 1005000a=1 1003000a=1
input BadBokeh (Bad Bokeh) 88020000=Number 80030000=SliderControl 20030000=0 20030003=1 20030004=0
input PolygonSideCount (Polygon Side Count) 88020000=Number 80030000=SliderControl 20030000=3 20030003=12 20030004=6 1003000c=1
input KernelAngle (Kernel Angle) 88020000=Number 80030000=SliderControl 20030000=0 20030003=90 20030004=0
)";
const std::string DEPTH_MAP =
    R"(input DepthMap (Depth map image) 88020000=Image 10020001=2 10030002=0
)";
const std::string REST = R"(page Info
input CompanyName (Company name) 88020000=Text 80030000=TextEditControl 30030003=Kestrel Software 10050002=1 10050000=1
input PackageName (Package name) 88020000=Text 80030000=TextEditControl 30030003=Lucent 10050002=1 10050000=1
input PluginName (Plugin name) 88020000=Text 80030000=TextEditControl 30030003=Focusfall 10050002=1 10050000=1
input DocUrl (Documentation URL) 88020000=Text 80030000=TextEditControl 30030003=https://kestrelworks.example/focusfall 10050002=1 10050000=1
input Input (Input image) 88020000=Image 10020001=1
input BlurImage (Blur image) 88020000=Image 10020001=3 10030002=0
output Output (Output image) 88020000=Image 10020001=1
)";

std::string text_of(const std::vector<addition>& additions) {
    std::ostringstream text;
    text.precision(17);
    for (const addition& one : additions) {
        const bool page = one.kind == addition::what::PAGE;
        const bool input = one.kind == addition::what::INPUT;
        text << (page ? "page " : input ? "input " : "output ");
        text << (page ? one.name : one.id + " (" + one.name + ")");
        for (const TagPair& pair : one.tags.Pairs()) {
            text << " " << std::hex << pair.tag << std::dec << "=";
            std::visit(
                [&](const auto& value) {
                    using type = std::decay_t<decltype(value)>;
                    if constexpr (std::is_same_v<type, FuID>) text << value.Text();
                    if constexpr (requires { text << value + value; }) text << value;
                },
                pair.value);
        }
        text << "\n";
    }
    return text.str();
}

TEST(Controls, AreAddedInOrderWithTheirTagsAndTheStyleGroupTwice) {
    host host(1);
    host.load_plugin(PLUGIN_FILE);
    const auto tool = host.create_tool("kestrelworks.Focusfall");
    EXPECT_EQ(text_of(additions(*tool)),
              CONTROLS + STYLE_GROUP + DEPTH_MAP + STYLE_GROUP + REST);
}

// A tool of the package that has the switch for depth processing.
class switched_tool : public render_driver {
  public:
    explicit switched_tool(TagList* tags) : render_driver(nullptr, ScriptVal(), tags) {
        add_depth_controls(*this, /*with_enable_depth=*/true,
                           /*normalize_default=*/0.25F);
    }
};

TEST(Controls, OtherToolsMayHaveTheSwitchForDepth) {
    TagList tags;
    const Owned<switched_tool> tool(new switched_tool(&tags));
    std::string expected = CONTROLS.substr(CONTROLS.find('\n') + 1);
    const std::string normalize =
        "(Apply Normalization) 88020000=Number "
        "80030000=CheckboxControl 20030004=";
    expected.replace(expected.find(normalize) + normalize.size(), 1, "0.25");
    EXPECT_EQ(text_of(tool->HostState().additions),
              "input EnableDepth (Enable Depth Processing) 88020000=Number "
              "80030000=CheckboxControl 1003000a=1 20030004=0\n" +
                  expected + STYLE_GROUP + DEPTH_MAP);
    EXPECT_EQ(tool->enable_depth_input, tool->HostState().controls[0].get());
}

}  // namespace
}  // namespace headless
