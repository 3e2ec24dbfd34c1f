// The controls of the page "Occlusion", and the forecast that follows from them.

#include <algorithm>
#include <cmath>

#include "plugin/layered/focusfall_layered.h"
#include "plugin/layered/footprint.h"
#include "plugin/tool/control_rows.h"

namespace {

constexpr control_rows::help_text HELP[] = {
    {"HiddenFill",
     "Continues what is behind a blurred edge under it, where the picture does not show "
     "it. Off, gaps are filled with what is beside them."},
    {"DepthTolerance",
     "How many pixels of blur neighbours may be apart and still be one surface. Raise it "
     "when noise in the depth makes specks in smooth surfaces."},
    {"NearLimit",
     "On, nothing is blurred more than at infinity, however near it is. Off, blur grows "
     "on towards the lens, up to a quarter of the picture's width."},
    {"FlipInFront",
     "Turns polygons with an odd number of sides, and pictures of the blur's shape, "
     "around in front of the focus, as a lens does."},
    {"Background",
     "What lies behind the picture: a picture without what is in front, as large as "
     "Input, with its depth in Z. It takes the place of the guess where it shows "
     "something."},
};

}  // namespace

FocusfallLayered::FocusfallLayered(Registry* record, const ScriptVal& table,
                                   TagList* tags)
    : FocusfallFast(record, table, tags) {
    using namespace control_rows;
    // a second time, for fast lenses: it is on the page already
    f_stop_input =
        add_slider(*this, "FStop", "F-Stop",
                   {lowest(0.5), slider_end(100.0), starts_at(2.0), notifies()});
    AddControlPage("Occlusion", 0);
    hidden_fill_input_ =
        add_checkbox(*this, "HiddenFill", "Fill What Is Hidden", {starts_at(1.0)});
    tolerance_input_ =
        add_slider(*this, "DepthTolerance", "Depth Tolerance (pixels of blur)",
                   {lowest(0.1), slider_end(10.0), starts_at(1.0)});
    near_limit_input_ =
        add_checkbox(*this, "NearLimit", "Limit Near Blur", {starts_at(1.0)});
    flip_in_front_input_ =
        add_checkbox(*this, "FlipInFront", "Flip Shape in Front", {starts_at(0.0)});
    // clang-format off
    background_input_ = AddInput("Background image", "Background",
                                 0x88020000, FuID("Image"),  // data type
                                 0x10020001, 4,              // number of the connection
                                 0x10030002, 0,              // may stay empty
                                 0);
    // clang-format on
}

const char* FocusfallLayered::ControlHelp(const FuID& id) const {
    const char* const help = control_rows::help_of(id, HELP);
    return help ? help : FocusfallFast::ControlHelp(id);
}

FocusfallLayered::occlusion FocusfallLayered::read_occlusion(Request* request) const {
    const auto value = [request](Input* input) {
        return dynamic_cast<Number&>(*input->GetValue(request)).Value();
    };
    return {.hidden_fill = value(hidden_fill_input_) > 0.5,
            .tolerance = lens::narrowed(value(tolerance_input_)),
            .near_limit = value(near_limit_input_) > 0.5,
            .flip_in_front = value(flip_in_front_input_) > 0.5};
}

FrameForecast FocusfallLayered::Forecast(Request* request,
                                         const FrameShape& shape) const {
    FrameForecast forecast = FocusfallFast::Forecast(request, shape);
    forecast.reads_first = false;  // layers are gathered from the image itself
    const float widest = widest_blur(shape.width);
    const auto largest = static_cast<float>(forecast.largest_blur);
    const lens::settings s = lens_settings([request](Input* input) {
        return dynamic_cast<Number&>(*input->GetValue(request)).Value();
    });
    if (read_occlusion(request).near_limit || !s.depth_enabled || !(largest > 0.0F) ||
        largest >= widest) {
        return forecast;
    }
    // how near things come is known from the frame alone
    const lens::focus f = lens::focus_of(s, shape.width);
    forecast.largest_blur = static_cast<double>(widest);
    forecast.blur_of = [f, widest](float depth) {
        const float distance = lens::distance(f.map, std::abs(depth));
        const float limit = distance < f.distance ? widest : f.max_coc;
        return lens::limited_blur_diameter(distance, f.distance, f.max_coc, limit);
    };
    const footprint memory = frame_footprint(shape, widest);
    forecast.bytes = memory.bytes;
    forecast.blur_bytes = memory.blur_bytes;
    return forecast;
}

render_driver::footprint FocusfallLayered::frame_footprint(const FrameShape& shape,
                                                           float largest) const {
    footprint memory = FocusfallFast::frame_footprint(shape, largest);
    if (largest > 1.0F) memory.bytes += layer_bytes(shape);
    return memory;
}
