#include "plugin/render/render_driver.h"

#include <algorithm>
#include <exception>
#include <string>

void render_driver::Process(Request* request) {
    input_image = dynamic_cast<Image*>(input_input->GetValue(request));
    blur_image = dynamic_cast<Image*>(blur_image_input->GetValue(request));
    Owned<Image> result(NewImage(0x60020000, input_image,  // model
                                 0x18020000, 12,           // a constant of the host
                                 0));
    output_image = result.get();

    read_settings(request, input_image);
    check_components();
    // once more, in case an edit has stored another style since
    read_kernel_settings(request);
    samples.clear();

    try {
        const bool stopped = is_blurred(request) ? blur(request) : run_pixel_pass();
        if (stopped) return;
        output_output->Set(request, result.release(), 0);
    } catch (const std::exception& error) {
        const std::string text = std::string("Focusfall error: ") + error.what() + "\n";
        Document()->PrintF(FusionDoc::ERRORS, "%s", text.c_str());
    }
}

void render_driver::ReleaseFrameMemory() {
    samples = std::vector<depth_sample>();  // clear() would keep the memory
    kernels = std::vector<std::vector<float>>();
    row_locks = std::vector<boost::shared_ptr<boost::mutex>>();
    color_accumulator.clear();
    weight_accumulator.clear();
}

Image::Component render_driver::depth_component() const {
    return component_of(blur_channel);
}

void render_driver::check_components() const {
    if (input_image->Components() <= Image::ALPHA) {
        throw std::runtime_error("The input image has no colours with alpha.");
    }
    if (depth_image->Components() <= depth_component()) {
        throw std::runtime_error("The depth image lacks the depth channel.");
    }
    if (blur_image && blur_image->Components() <= Image::ALPHA) {
        throw std::runtime_error("The blur image has no colours with alpha.");
    }
}

bool render_driver::run_pixel_pass() {
    const std::int32_t width = input_image->Width();
    const std::int32_t height = input_image->Height();
    const auto stride = static_cast<std::size_t>(input_image->Components());
    const auto depth_stride = static_cast<std::size_t>(depth_image->Components());
    const Image::Component component = depth_component();
    samples.reserve(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));

    for (std::int32_t y = 0; y < height; ++y) {
        const float* source = input_image->Pixel(0, y);
        const float* depth = depth_image->Pixel(0, y) + component;
        float* copy = output_image->Pixel(0, y);
        std::copy_n(source, static_cast<std::size_t>(width) * stride, copy);
        for (std::int32_t x = 0; x < width; ++x) {
            if (stride > Image::Z) copy[Image::Z] = *depth;

            const float alpha = source[Image::ALPHA];
            if (is_sample(alpha)) {
                samples.push_back({static_cast<float>(x), static_cast<float>(y),
                                   source[Image::RED], source[Image::GREEN],
                                   source[Image::BLUE], alpha, sample_distance(*depth),
                                   1.0F});
            }
            source += stride;
            depth += depth_stride;
            copy += stride;
        }
        if (IsAborted()) return true;
    }
    return false;
}

void render_driver::ProcessChunk(Request* /*request*/, std::int32_t chunk) {
    const auto first = static_cast<std::size_t>(chunk) * CHUNK_SAMPLES;
    const auto last = std::min(first + CHUNK_SAMPLES, samples.size());
    for (std::size_t i = first; i < last; ++i) {
        if (IsAborted()) return;
        splat_sample(samples[i]);
    }
}
