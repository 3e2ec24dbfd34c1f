#pragma once
// Estimates the memory of a frame with blur, without its images, in bytes. Elements count
// by their exact size, the overhead of containers approximately.

#include <cstddef>
#include <cstdint>
#include <vector>

#include "lens/kernel_sizes.h"
#include "plugin/kestrel_image/color_rgba_f.h"
#include "plugin/record/depth_sample.h"

// Bytes per pixel: of its sums in the accumulators, and of its sample in the plain tool.
inline constexpr std::uint64_t SUMS_BYTES = sizeof(color_rgba_f) + sizeof(float);
inline constexpr std::uint64_t SAMPLE_BYTES = sizeof(depth_sample);

// Bytes of the weights of kernels 1 .. last, and of the image that the weights of the
// last and largest are read from.
inline std::uint64_t kernel_table_bytes(std::size_t last) {
    // The list of kernels doubles its room when it is full, and old and new exist side by
    // side while it is copied; the weights of each kernel are a block of memory with a
    // header.
    constexpr std::uint64_t LIST_BYTES = 3 * sizeof(std::vector<float>) + 16;
    std::uint64_t bytes = 4 * sizeof(float) * lens::kernel_pixels(last);
    for (std::size_t i = 1; i <= last; ++i) {
        bytes += lens::kernel_pixels(i) * sizeof(float) + LIST_BYTES;
    }
    return bytes;
}
