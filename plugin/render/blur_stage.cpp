// The blur: the table of kernels, the splat over the host's threads, the result's pixels.

#include <chrono>

#include "plugin/kernels/kernel_shapes.h"
#include "plugin/kernels/kernel_weights.h"
#include "plugin/render/render_driver.h"

#ifdef _WIN32
#include <windows.h>
#endif

namespace {

constexpr double KERNELS_END = 0.1;  // the frame's progress when the kernels are made

}  // namespace

std::uint32_t render_driver::tick_count() {
#ifdef _WIN32
    return GetTickCount();
#else
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<std::uint32_t>(
        std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
#endif
}

void render_driver::print_processing_time(std::uint32_t start) {
    Document()->PrintF(FusionDoc::TIMES, "Lucent Focusfall processing time: %d ms\n",
                       static_cast<int>(tick_count() - start));
}

bool render_driver::blur(Request* request) {
    if (run_pixel_pass()) return true;
    build_kernel_table();
    if (IsAborted()) return true;

    const std::uint32_t start = tick_count();
    splat(request);
    print_processing_time(start);

    if (write_back()) return true;
    kernels.clear();
    samples.clear();
    color_accumulator.clear();
    weight_accumulator.clear();
    return false;
}

std::size_t render_driver::last_kernel_index() const {
    return lens::last_kernel_index(max_coc, input_image->Width());
}

void render_driver::build_kernel_table() {
    kernels.push_back({1.0F});
    const std::size_t last = last_kernel_index();
    BeginStep(KERNELS_END);
    // a table of large kernels takes seconds
    for (std::size_t i = 1; i <= last && !IsAborted(); ++i) {
        const double diameter = lens::kernel_diameter(i);
        const Owned<Image> kernel(
            make_kernel(*this, diameter, diameter, blur_image, KERNEL_MIN_SIZE));
        kernels.emplace_back();
        load_kernel_weights(*this, kernel.get(), kernels.back());
        // the time for kernel i grows with its area, that for all up to i with i^3
        const double part = static_cast<double>(i) / static_cast<double>(last);
        ReportStep(part * part * part);
    }
}

void render_driver::splat(Request* request) {
    const std::int32_t chunks =
        (static_cast<std::int32_t>(samples.size()) + CHUNK_SAMPLES - 1) / CHUNK_SAMPLES;
    BeginStep(1.0);
    DoMultiProcess(request, chunks);
}

bool render_driver::write_back() {
    const std::int32_t width = output_image->Width();
    const auto stride = static_cast<std::size_t>(output_image->Components());
    for (std::int32_t y = 0; y < output_image->Height(); ++y) {
        const color_rgba_f* sums = color_row(*this, y);
        const float* weights = weight_row(*this, y);
        float* pixel = output_image->Pixel(0, y);
        for (std::int32_t x = 0; x < width; ++x) {
            color_rgba_f c = sums[x];
            const float w = weights[x];
            if (normalize > 0.5F && w > 0.0F) {
                c = {c.r / w, c.g / w, c.b / w, c.a / w};
            }
            pixel[Image::RED] = c.r;
            pixel[Image::GREEN] = c.g;
            pixel[Image::BLUE] = c.b;
            pixel[Image::ALPHA] = c.a;
            pixel += stride;
        }
        if (IsAborted()) return true;
    }
    return false;
}
