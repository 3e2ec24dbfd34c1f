#pragma once
// Sizes of the kernel table: entry 0 is the unblurred pixel, entry i the kernel for a
// blur diameter of i * 0.01 pixels. Nothing here throws; all is callable from any thread.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>

namespace lens {

// Step of the blur diameter from one kernel to the next, pixels. The kernels' diameters
// are its multiples in double precision; samples choose their kernel in single precision.
inline constexpr double KERNEL_STEP = 0.01;
inline constexpr auto KERNEL_STEP_FLOAT = static_cast<float>(KERNEL_STEP);

// Pixels of image width for each kernel of the table: no blur diameter is above a quarter
// of the image width.
inline constexpr double WIDTH_PER_KERNEL = 0.04;

// Last index of the table for a largest blur diameter of `max_coc` pixels in an image
// `width` pixels wide. `max_coc` must be above 1; it may be infinite, but not
// not-a-number.
inline std::size_t last_kernel_index(float max_coc, std::int32_t width) {
    const double by_width = width / WIDTH_PER_KERNEL;
    const double by_coc = static_cast<double>(max_coc) / KERNEL_STEP + 1.0;
    return static_cast<std::size_t>(by_coc > by_width ? by_width : by_coc);
}

// Index of the kernel for a blur diameter in pixels: that of the largest step not above
// it, and at most `last`; 0 for not-a-number.
inline std::size_t kernel_index(float diameter, std::size_t last) {
    const float step = diameter / KERNEL_STEP_FLOAT;
    if (!(step >= 1.0F)) return 0;
    // compared before it is truncated: infinity does not fit an integer
    if (step >= static_cast<float>(last)) return last;
    return static_cast<std::size_t>(step);
}

// Diameter of the kernel at an index, pixels.
inline double kernel_diameter(std::size_t index) {
    return static_cast<double>(index) * KERNEL_STEP;
}

// Radius, in pixels, of the kernel at an index; its side is 2 * radius + 1.
inline std::int32_t kernel_radius(std::size_t index) {
    if (index == 0) return 0;
    // float product and ceiling: the kernel sizes of the table follow this rounding
    const float reach = std::ceil(static_cast<float>(index) * KERNEL_STEP_FLOAT);
    return std::max(1, static_cast<std::int32_t>(static_cast<double>(reach) * 0.5));
}

// Number of pixels of the kernel at an index.
inline std::size_t kernel_pixels(std::size_t index) {
    const auto side = 2 * static_cast<std::size_t>(kernel_radius(index)) + 1;
    return side * side;
}

}  // namespace lens
