// Reads the controls into the record.

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <stdexcept>

#include "plugin/record/focusfall_interface.h"

namespace {

constexpr double RADIANS_PER_DEGREE = 0.017453292519943295;

// The largest "Bad Bokeh" that is used. The slider ends long before, but numbers may be
// typed, and with brighter rims the sums of kernels would leave the range of floats. The
// inside is black beside this rim already.
constexpr double BRIGHTEST_RIM = 1e9;

double value_of(Input* input, Request* request) {
    return dynamic_cast<Number&>(*input->GetValue(request)).Value();
}

float float_of(Input* input, Request* request) {
    return lens::narrowed(value_of(input, request));
}

// `value` truncated toward zero; the nearest 32-bit number when it does not fit.
std::int32_t whole_number(double value) {
    using limits = std::numeric_limits<std::int32_t>;
    return static_cast<std::int32_t>(
        std::clamp(value, double{limits::min()}, double{limits::max()}));
}

}  // namespace

lens::settings focusfall_interface::lens_settings(
    const std::function<double(Input*)>& number_of) const {
    const auto value = [&](Input* input) { return lens::narrowed(number_of(input)); };
    lens::settings s;
    s.depth_enabled = depth_available.load(std::memory_order_relaxed) &&
                      (!enable_depth_input || number_of(enable_depth_input) > 0.5);
    s.type = value(settings_type_input);
    s.max_blur_size = value(max_blur_size_input);
    s.focus_position = value(focus_position_input);
    s.focal_length = value(focal_length_input);
    s.f_stop = value(f_stop_input);
    s.filmback_width = value(filmback_width_input);
    s.map = {value(depth_map_type_input), value(depth_map_units_input),
             value(invert_depth_map_input), value(near_distance_input),
             value(far_distance_input)};
    return s;
}

void focusfall_interface::read_settings(Request* request, Image* color) {
    kernels.clear();

    // choose the depth image
    depth_image = dynamic_cast<Image*>(depth_map_input->GetValue(request));
    if (!depth_image) depth_image = color;
    if (color->Width() != depth_image->Width() ||
        color->Height() != depth_image->Height()) {
        throw std::runtime_error("Input and depth image dimensions are not the same.");
    }

    const lens::settings s =
        lens_settings([request](Input* input) { return value_of(input, request); });
    store_lens(s, lens::focus_of(s, color->Width()));
    depth_enabled = !enable_depth_input || value_of(enable_depth_input, request) > 0.5;
    blur_channel = float_of(blur_channel_input, request);
    aperture_diameter = float_of(aperture_diameter_input, request);
    min_weight = float_of(min_weight_input, request);
    normalize = s.depth_enabled ? float_of(normalize_input, request) : 0.0F;

    // One new mutex for all rows that are added: rows share it on purpose. What the splat
    // needs is that a row keeps its mutex during a render, and rows from earlier renders
    // do.
    row_locks.resize(static_cast<std::size_t>(color->Height()),
                     boost::shared_ptr<boost::mutex>(new boost::mutex));

    prepare_accumulators(*color);
    reference_image = color;
    read_kernel_settings(request);
}

void focusfall_interface::prepare_accumulators(const Image& color) {
    color_accumulator.resize(color.Width(), color.Height());
    weight_accumulator.resize(color.Width(), color.Height());
    color_accumulator.clear_channel("OutRGBA");
    weight_accumulator.clear_channel("Norm");
    out_rgba_data = color_accumulator.get_channel_data("OutRGBA", 0);
    norm_data = weight_accumulator.get_channel_data("Norm", 0);
}

void focusfall_interface::store_lens(const lens::settings& s, const lens::focus& f) {
    settings_type = s.type;
    max_blur_size = s.max_blur_size;
    focal_length = s.focal_length;
    focal_length_sq = s.focal_length * s.focal_length;
    f_stop = s.f_stop;
    filmback_width = s.filmback_width;
    depth_map_type = f.map.type;
    depth_map_units = f.map.units;
    invert_depth_map = f.map.invert;
    near_distance = f.map.near_distance;
    far_distance = f.map.far_distance;
    focus_depth = f.distance;
    max_coc = f.max_coc;
}

void focusfall_interface::read_kernel_settings(Request* request) {
    blur_style.store(whole_number(value_of(blur_style_input, request)),
                     std::memory_order_relaxed);
    polygon_side_count = whole_number(value_of(polygon_side_count_input, request));
    kernel_angle = value_of(kernel_angle_input, request) * RADIANS_PER_DEGREE;
    bad_bokeh = std::min(value_of(bad_bokeh_input, request), BRIGHTEST_RIM);
}
