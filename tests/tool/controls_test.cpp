#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "host/headless_host.h"
#include "tool/focusfall.h"

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

struct writer {
    std::ostream& to;
    void operator()(std::monostate) const {}
    void operator()(std::int32_t value) const { to << value; }
    void operator()(double value) const { to << value; }
    void operator()(const std::string& value) const { to << value; }
    void operator()(const FuID& value) const { to << value.Text(); }
    void operator()(void*) const { to << "object"; }
    void operator()(TagPair::Function) const { to << "function"; }
};

std::string text_of(const std::vector<addition>& additions) {
    std::ostringstream text;
    text.precision(17);
    for (const addition& one : additions) {
        if (one.kind == addition::what::PAGE) {
            text << "page " << one.name;
        } else {
            text << (one.kind == addition::what::INPUT ? "input " : "output ") << one.id
                 << " (" << one.name << ")";
        }
        for (const TagPair& pair : one.tags.Pairs()) {
            text << " " << std::hex << pair.tag << std::dec << "=";
            std::visit(writer{text}, pair.value);
        }
        text << "\n";
    }
    return text.str();
}

TEST(Controls, AreAddedInOrderWithTheirTagsAndTheStyleGroupTwice) {
    host host(1);
    host.load_plugin(PLUGIN_FILE);
    const auto tool = host.create_tool("kestrelworks.Focusfall");
    EXPECT_EQ(text_of(tool->additions()),
              CONTROLS + STYLE_GROUP + DEPTH_MAP + STYLE_GROUP + REST);
}

std::string described(const control& input) {
    const control_info& info = input.info();
    std::string text = info.page + "/" + info.id + " " + kind_name(info.kind);
    const auto append = [&](const char* name, const std::optional<double>& value) {
        if (value) text += std::string(" ") + name + " " + info.shown(*value);
    };
    append("from", info.lowest);
    append("to", info.highest);
    append("slider", info.slider_end);
    if (info.is_number()) text += " at " + info.shown(input.number(0));
    if (info.kind == control_kind::TEXT) text += " " + input.text();
    if (info.kind == control_kind::IMAGE) {
        text += " " + std::to_string(info.connection);
        if (info.required) text += " required";
    }
    if (!info.items.empty()) text += " of " + std::to_string(info.items.size());
    if (info.whole) text += " whole";
    return text;
}

TEST(Controls, StartAtTheirDefaultsWithinTheirRanges) {
    host host(1);
    host.load_plugin(PLUGIN_FILE);
    const auto tool = host.create_tool("kestrelworks.Focusfall");
    const std::vector<std::string> expected = {
        "Controls/BlurChannel button list at Z of 5",
        "Controls/SettingsType button list at Simple of 2",
        "Controls/FocusPosition colour at 0",
        "Controls/MinWeight slider from 1e-07 to 1 at 1",
        "Controls/MaxBlurSize slider from 0 to 25 slider 10 at 1",
        "Controls/FocalLength slider from 1 slider 250 at 35",
        "Controls/FStop slider from 1 slider 100 at 2",
        "Controls/ApertureDiameter slider from 1e-04 slider 350 at 17.5",
        "Controls/FilmbackWidth slider from 1 slider 100 at 24.896",
        "Controls/DepthMapType button list at Distance of 2",
        "Controls/DepthMapUnits button list at mm of 4",
        "Controls/NearDistance slider from 1e-04 slider 5000 at 300",
        "Controls/FarDistance slider from 1e-04 slider 5000 at 1000",
        "Controls/InvertDepthMap checkbox at off",
        "Controls/Normalize checkbox at on",
        "Controls/BlurStyle button list at Disk of 5",
        "Controls/BadBokeh slider from 0 slider 1 at 0",
        "Controls/PolygonSideCount slider from 3 slider 12 at 6 whole",
        "Controls/KernelAngle slider from 0 slider 90 at 0",
        "Controls/DepthMap image 2",
        "Info/CompanyName text Kestrel Software",
        "Info/PackageName text Lucent",
        "Info/PluginName text Focusfall",
        "Info/DocUrl text https://kestrelworks.example/focusfall",
        "Info/Input image 1 required",
        "Info/BlurImage image 3"};
    std::vector<std::string> given;
    for (const control* input : tool->controls()) {
        given.push_back(described(*input));
        EXPECT_TRUE(input->is_visible()) << "nothing is hidden at first";
    }
    EXPECT_EQ(given, expected);
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

TEST(Controls, TheToolKeepsTheHandlesThatItsHostKnows) {
    TagList tags;
    const Owned<Focusfall> tool(new Focusfall(nullptr, ScriptVal(), &tags));
    const auto handle = [&](const char* id) -> Input* {
        const auto& all = tool->HostState().controls;
        const auto found = std::ranges::find_if(
            all, [&](const auto& input) { return input->info().id == id; });
        return found == all.end() ? nullptr : found->get();
    };
    EXPECT_EQ(tool->enable_depth_input, nullptr);
    const std::pair<Input*, const char*> kept[] = {
        {tool->blur_style_input, "BlurStyle"},
        {tool->bad_bokeh_input, "BadBokeh"},
        {tool->kernel_angle_input, "KernelAngle"},
        {tool->polygon_side_count_input, "PolygonSideCount"},
        {tool->blur_channel_input, "BlurChannel"},
        {tool->settings_type_input, "SettingsType"},
        {tool->focus_position_input, "FocusPosition"},
        {tool->invert_depth_map_input, "InvertDepthMap"},
        {tool->max_blur_size_input, "MaxBlurSize"},
        {tool->focal_length_input, "FocalLength"},
        {tool->aperture_diameter_input, "ApertureDiameter"},
        {tool->f_stop_input, "FStop"},
        {tool->filmback_width_input, "FilmbackWidth"},
        {tool->min_weight_input, "MinWeight"},
        {tool->depth_map_type_input, "DepthMapType"},
        {tool->depth_map_units_input, "DepthMapUnits"},
        {tool->near_distance_input, "NearDistance"},
        {tool->far_distance_input, "FarDistance"},
        {tool->normalize_input, "Normalize"},
        {tool->depth_map_input, "DepthMap"}};
    for (const auto& [input, id] : kept) {
        ASSERT_NE(input, nullptr) << id;
        EXPECT_EQ(input, handle(id)) << id;
    }
}

}  // namespace
}  // namespace headless
