// The memory that the fast tool's frames take and keep.

#include "plugin/fast/focusfall_fast.h"
#include "plugin/fast/footprint.h"

void FocusfallFast::prepare_accumulators(const Image& /*color*/) {
    color_accumulator.clear();
    weight_accumulator.clear();
    out_rgba_data = nullptr;
    norm_data = nullptr;
}

void FocusfallFast::ReleaseFrameMemory() {
    Focusfall::ReleaseFrameMemory();
    terms_ = std::vector<gather::kernel_terms>();
    offsets_.reset();
    planes_ = gather::source_planes();
    blocks_ = gather::block_grid();
    stamps_ = stamp_list();
    groups_ = std::vector<gather::profile_group>();
}

FrameForecast FocusfallFast::Forecast(Request* request, const FrameShape& shape) const {
    FrameForecast forecast = Focusfall::Forecast(request, shape);
    forecast.reads_first = true;  // the sources are a copy
    return forecast;
}

render_driver::footprint FocusfallFast::frame_footprint(const FrameShape& shape,
                                                        float largest) const {
    const std::uint64_t pixels = static_cast<std::uint64_t>(shape.width) *
                                 static_cast<std::uint64_t>(shape.height);
    if (!(largest > 1.0F))
        return {pixels * SAMPLE_BYTES, 0};  // a copy, by the pixel pass
    const std::size_t last = lens::last_kernel_index(largest, shape.width);
    // colours that are not finite are stamped too, but frames hold few of them
    if (shape.has_blur_image) {
        const std::uint64_t batch = batch_bytes(last);
        return {pixels * (SUMS_BYTES + STAMP_BYTES) + batch, batch};
    }
    const std::uint64_t tables = gather_table_bytes(last);
    return {source_bytes(shape.width, shape.height) + tables, tables};
}
