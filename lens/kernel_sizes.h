#pragma once
// The table of kernels: one for each step of blur diameter, from the second entry on.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>

namespace lens {

// Pixels of blur diameter from kernel to kernel. Diameters of kernels are exact
// multiples; samples find theirs in single precision.
inline constexpr double KERNEL_STEP = 0.01;
inline constexpr auto KERNEL_STEP_FLOAT = static_cast<float>(KERNEL_STEP);

// No kernel is wider than a quarter of the image, which is one for each 0.04 pixels.
inline constexpr double WIDTH_PER_KERNEL = 0.04;

// Last index of the table for a largest blur of `max_coc` pixels, which is a number above
// 1 or infinity, in an image `width` pixels wide.
inline std::size_t last_kernel_index(float max_coc, std::int32_t width) {
    const double by_width = width / WIDTH_PER_KERNEL;
    const double by_coc = static_cast<double>(max_coc) / KERNEL_STEP + 1.0;
    return static_cast<std::size_t>(by_coc > by_width ? by_width : by_coc);
}

// Index of the kernel for a blur diameter in pixels: that of the largest step not above
// it, and at most `last`.
inline std::size_t kernel_index(float diameter, std::size_t last) {
    const float step = diameter / KERNEL_STEP_FLOAT;
    if (!(step >= 1.0F)) return 0;
    // compared before it is truncated: an infinite step has no whole number
    if (step >= static_cast<float>(last)) return last;
    return static_cast<std::size_t>(step);
}

// Diameter of the kernel at an index, pixels.
inline double kernel_diameter(std::size_t index) {
    return static_cast<double>(index) * KERNEL_STEP;
}

// Radius, in pixels, of the kernel at an index; its side is twice that and 1.
inline std::int32_t kernel_radius(std::size_t index) {
    if (index == 0) return 0;
    // float product and ceiling: the kernel sizes of the table follow this rounding
    const float reach = std::ceil(static_cast<float>(index) * KERNEL_STEP_FLOAT);
    return std::max(1, static_cast<std::int32_t>(static_cast<double>(reach) * 0.5));
}

// Pixels of the kernel at an index.
inline std::size_t kernel_pixels(std::size_t index) {
    const auto side = 2 * static_cast<std::size_t>(kernel_radius(index)) + 1;
    return side * side;
}

}  // namespace lens
