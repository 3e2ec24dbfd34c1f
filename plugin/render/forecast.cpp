// Forecasts a frame's blur and memory from the controls alone.

#include "plugin/render/footprint.h"
#include "plugin/render/render_driver.h"

namespace {

double value_of(Input* input, Request* request) {
    return dynamic_cast<Number&>(*input->GetValue(request)).Value();
}

// What an artist can change when the largest blur is a pixel or less.
std::string cure_for_no_blur(const lens::settings& s, const lens::focus& f) {
    if (!(s.type > 0.5F)) return "raise MaxBlurSize";
    return f.max_coc > 0.0F
               ? "raise FocalLength, lower FStop, or set DepthMapUnits"
               : "raise FocusPosition beyond FocalLength, or set DepthMapUnits";
}

}  // namespace

FrameForecast render_driver::Forecast(Request* request, const FrameShape& shape) const {
    const lens::settings s =
        lens_settings([request](Input* input) { return value_of(input, request); });
    const lens::focus f = lens::focus_of(s, shape.width);
    FrameForecast forecast;
    forecast.depth = component_of(lens::narrowed(value_of(blur_channel_input, request)));
    // a focus nearer than the focal length makes max_coc negative, and blurs nothing
    if (f.max_coc > 0.0F) forecast.largest_blur = static_cast<double>(f.max_coc);
    // no kernel is wider
    const auto widest =
        static_cast<float>(lens::KERNEL_STEP / lens::WIDTH_PER_KERNEL * shape.width);
    forecast.blur_of = [f, widest](float depth) {
        if (!(f.max_coc > 1.0F)) return 0.0F;
        return std::min(widest,
                        lens::blur_diameter(lens::distance(f.map, std::abs(depth)),
                                            f.distance, f.max_coc));
    };
    forecast.distance_of = [f](float depth) {
        return lens::distance(f.map, std::abs(depth));
    };
    forecast.focus_distance = f.distance;
    forecast.is_measured = s.type > 0.5F;
    forecast.less_blur = s.type > 0.5F
                             ? "lower FocalLength, or raise FStop or FocusPosition"
                             : "lower MaxBlurSize";
    forecast.more_blur = cure_for_no_blur(s, f);
    const footprint memory = frame_footprint(shape, f.max_coc);
    forecast.bytes = memory.bytes;
    forecast.blur_bytes = memory.blur_bytes;
    return forecast;
}

render_driver::footprint render_driver::frame_footprint(const FrameShape& shape,
                                                        float largest) const {
    const std::uint64_t pixels = static_cast<std::uint64_t>(shape.width) *
                                 static_cast<std::uint64_t>(shape.height);
    footprint memory;
    if (largest > 1.0F) {
        memory.blur_bytes =
            kernel_table_bytes(lens::last_kernel_index(largest, shape.width));
    }
    memory.bytes = pixels * (SUMS_BYTES + SAMPLE_BYTES) + memory.blur_bytes;
    return memory;
}

Image::Component render_driver::component_of(float channel) {
    if (channel > 3.5F) return Image::ALPHA;
    if (channel > 2.5F) return Image::BLUE;
    if (channel > 1.5F) return Image::GREEN;
    if (channel > 0.5F) return Image::RED;
    return Image::Z;
}
