#pragma once
// Memory of a frame with blur beside its images, in bytes. Records count by their size;
// what lists need beside their elements is as near as makes no difference.

#include <cstddef>
#include <cstdint>
#include <vector>

#include "lens/kernel_sizes.h"
#include "plugin/kestrel_image/color_rgba_f.h"
#include "plugin/record/depth_sample.h"

// Of a pixel: its sums in the accumulators, and its sample in the plain tool.
inline constexpr std::uint64_t SUMS_BYTES = sizeof(color_rgba_f) + sizeof(float);
inline constexpr std::uint64_t SAMPLE_BYTES = sizeof(depth_sample);

// Of the weights of the kernels 1 .. last, and the picture that the last is read from.
inline std::uint64_t kernel_table_bytes(std::size_t last) {
    // The list of lists doubles when it is full, and is copied then; the weights of each
    // kernel are a block of memory with a header.
    constexpr std::uint64_t LIST_BYTES = 3 * sizeof(std::vector<float>) + 16;
    std::uint64_t bytes = 4 * sizeof(float) * lens::kernel_pixels(last);
    for (std::size_t i = 1; i <= last; ++i) {
        bytes += lens::kernel_pixels(i) * sizeof(float) + LIST_BYTES;
    }
    return bytes;
}
