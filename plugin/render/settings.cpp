// Reads the controls and turns the lens into a focus distance and a largest blur.

#include <cmath>
#include <cstdlib>
#include <stdexcept>

#include "plugin/record/focusfall_interface.h"

namespace {

constexpr double RADIANS_PER_DEGREE = 0.017453292519943295;

double value_of(Input* input, Request* request) {
    return dynamic_cast<Number&>(*input->GetValue(request)).Value();
}

float float_of(Input* input, Request* request) {
    return static_cast<float>(value_of(input, request));
}

}  // namespace

void focusfall_interface::read_settings(Request* request, Image* color) {
    kernels.clear();

    // choose the depth image
    depth_image = dynamic_cast<Image*>(depth_map_input->GetValue(request));
    if (!depth_image) depth_image = color;
    if (color->Width() != depth_image->Width() ||
        color->Height() != depth_image->Height()) {
        throw std::runtime_error("Input and depth image dimensions are not the same.");
    }

    // read what every mode uses
    depth_enabled = !enable_depth_input || value_of(enable_depth_input, request) > 0.5;
    blur_channel = float_of(blur_channel_input, request);
    invert_depth_map = float_of(invert_depth_map_input, request);
    max_blur_size = float_of(max_blur_size_input, request);
    focal_length = float_of(focal_length_input, request);
    focal_length_sq = focal_length * focal_length;
    aperture_diameter = float_of(aperture_diameter_input, request);
    f_stop = float_of(f_stop_input, request);
    filmback_width = float_of(filmback_width_input, request);
    min_weight = float_of(min_weight_input, request);
    settings_type = float_of(settings_type_input, request);
    focus_depth = std::abs(float_of(focus_position_input, request));

    // One new mutex for all rows that are added: rows share it on purpose. What the splat
    // needs is that a row keeps its mutex during a render, and rows from earlier renders
    // do.
    row_locks.resize(static_cast<std::size_t>(color->Height()),
                     boost::shared_ptr<boost::mutex>(new boost::mutex));

    compute_lens(request, color->Width());

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

// Thin lens: the circle of confusion of a point at infinity is f * f / (N * (S - f)) on
// the film, and the image is as wide as the filmback (Potmesil and Chakravarty, "A lens
// and aperture camera model for synthetic image generation", 1981).
void focusfall_interface::compute_lens(Request* request, std::int32_t width) {
    // a normalised map from 1 to 2 mm, unless Advanced says otherwise
    near_distance = 1.0F;
    far_distance = 2.0F;
    depth_map_type = 1.0F;
    depth_map_units = 0.0F;

    if (!depth_enabled || !depth_available.load(std::memory_order_relaxed)) {
        normalize = 0.0F;
        focus_depth = depth_to_distance(focus_depth);
        max_coc = kernel_step;
        return;
    }

    normalize = float_of(normalize_input, request);
    const auto image_width = static_cast<float>(width);
    if (settings_type > 0.5F) {
        near_distance = std::abs(float_of(near_distance_input, request));
        far_distance = std::abs(float_of(far_distance_input, request));
        depth_map_type = float_of(depth_map_type_input, request);
        depth_map_units = float_of(depth_map_units_input, request);
        focus_depth = depth_to_distance(focus_depth);
        // focus at the focal length makes this infinite; the kernel table has its own cap
        max_coc = (image_width * focal_length_sq) /
                  ((focus_depth - focal_length) * (filmback_width * f_stop));
    } else {
        focus_depth = depth_to_distance(focus_depth);
        max_coc = image_width * max_blur_size / 100.0F;
    }
}

void focusfall_interface::read_kernel_settings(Request* request) {
    blur_style.store(static_cast<std::int32_t>(value_of(blur_style_input, request)),
                     std::memory_order_relaxed);
    polygon_side_count =
        static_cast<std::int32_t>(value_of(polygon_side_count_input, request));
    kernel_angle = value_of(kernel_angle_input, request) * RADIANS_PER_DEGREE;
    bad_bokeh = value_of(bad_bokeh_input, request);
}
