// The tool's controls: one row each, in the order in which an artist sees them.

#include "plugin/tool/control_rows.h"
#include "plugin/tool/focusfall.h"

using namespace control_rows;

namespace {

void add_info_text(Operator& tool, const char* id, const char* name, const char* text) {
    add(tool, id, name, "Text", "TextEditControl",
        {{0x30030003, text}, {0x10050002, 1}, {0x10050000, 1}});
}

}  // namespace

// It is longer than a function should be: one statement for each control, in the order of
// the page, by which hosts number them.
void focusfall_interface::add_depth_controls(Operator& tool, bool with_enable_depth,
                                             float normalize_default) {
    if (with_enable_depth) {
        enable_depth_input = add_checkbox(tool, "EnableDepth", "Enable Depth Processing",
                                          {notifies(), starts_at(0.0)});
    }
    blur_channel_input = add_buttons(tool, "BlurChannel", "Depth Channel",
                                     {starts_at(0), item("Z"), item("Red"), item("Green"),
                                      item("Blue"), item("Alpha"), buttons()});
    settings_type_input = add_buttons(
        tool, "SettingsType", "Settings Type",
        {starts_at(0), item("Simple"), item("Advanced"), buttons(), notifies()});
    focus_position_input = add(tool, "FocusPosition", "Focus Position", "Number",
                               "ColorControl", {{0x10030007, 12}, notifies()});
    min_weight_input = add_slider(tool, "MinWeight", "Minimum Brightness Weight",
                                  {lowest(1e-7F), highest(1.0), starts_at(1.0)});
    max_blur_size_input =
        add_slider(tool, "MaxBlurSize", "Max Blur Size (% of Image Width)",
                   {lowest(0.0), slider_end(10.0), highest(25.0), starts_at(1.0)});
    focal_length_input =
        add_slider(tool, "FocalLength", "Focal Length (mm)",
                   {lowest(1.0), slider_end(250.0), starts_at(35.0), notifies()});
    f_stop_input =
        add_slider(tool, "FStop", "F-Stop",
                   {lowest(1.0), slider_end(100.0), starts_at(2.0), notifies()});
    aperture_diameter_input =
        add_slider(tool, "ApertureDiameter", "Aperture Diameter (mm)",
                   {lowest(1e-4F), slider_end(350.0), starts_at(17.5), notifies()});
    filmback_width_input =
        add_slider(tool, "FilmbackWidth", "Filmback Width (mm)",
                   {lowest(1.0), slider_end(100.0), starts_at(24.896F), notifies()});
    depth_map_type_input = add_buttons(
        tool, "DepthMapType", "Depth Map Type",
        {starts_at(0), item("Distance"), item("Normalized"), buttons(), notifies()});
    depth_map_units_input = add_buttons(
        tool, "DepthMapUnits", "Depth Map Units",
        {starts_at(0), item("mm"), item("meter"), item("inch"), item("feet"), buttons()});
    near_distance_input =
        add_slider(tool, "NearDistance", "Near Distance (Depth map = 0.0)",
                   {lowest(1e-4F), slider_end(5000.0), starts_at(300.0)});
    far_distance_input =
        add_slider(tool, "FarDistance", "Far Distance (Depth map = 1.0)",
                   {lowest(1e-4F), slider_end(5000.0), starts_at(1000.0)});
    invert_depth_map_input = add_checkbox(
        tool, "InvertDepthMap", "Invert Depth Map ( Near = 1.0 )", {starts_at(0.0)});
    normalize_input = add_checkbox(tool, "Normalize", "Apply Normalization",
                                   {starts_at(normalize_default)});
    add_style_controls(tool, DISK);
    // clang-format off
    depth_map_input = tool.AddInput("Depth map image", "DepthMap",
                                    0x88020000, FuID("Image"),  // data type
                                    0x10020001, 2,              // number of the connection
                                    0x10030002, 0,              // may stay empty
                                    0);
    // clang-format on
}

void focusfall_interface::add_style_controls(Operator& tool, double default_style) {
    blur_style_input =
        add_buttons(tool, "BlurStyle", "Blur Style",
                    {item("Disk"), item("Polygon"), item("Gaussian"), item("Airy Disk"),
                     item("Laplacian"), starts_at(default_style), buttons(), notifies()});
    bad_bokeh_input = add_slider(tool, "BadBokeh", "Bad Bokeh",
                                 {lowest(0.0), slider_end(1.0), starts_at(0.0)});
    polygon_side_count_input =
        add_slider(tool, "PolygonSideCount", "Polygon Side Count",
                   {lowest(3.0), slider_end(12.0), starts_at(6.0), whole_numbers()});
    kernel_angle_input = add_slider(tool, "KernelAngle", "Kernel Angle",
                                    {lowest(0.0), slider_end(90.0), starts_at(0.0)});
}

void info_interface::add_info_controls(Operator& tool) {
    tool.AddControlPage("Info", 0);
    add_info_text(tool, "CompanyName", "Company name", "Kestrel Software");
    add_info_text(tool, "PackageName", "Package name", "Lucent");
    add_info_text(tool, "PluginName", "Plugin name", "Focusfall");
    add_info_text(tool, "DocUrl", "Documentation URL", DOCUMENTATION_URL);
}
