#pragma once
// Which kernel of the table a sample takes, and how far that kernel reaches.

#include <cstddef>
#include <cstdint>

#include "plugin/record/focusfall_interface.h"

// Index of the kernel for a sample at `depth`: that of the largest step not above its
// blur, and at most `last`, the table's last index. Never throws; callable from any
// thread while the settings do not change.
inline std::size_t kernel_index(const focusfall_interface& filter, float depth,
                                std::size_t last) {
    if (!filter.depth_enabled) return 0;
    return lens::kernel_index(
        lens::blur_diameter(depth, filter.focus_depth, filter.max_coc), last);
}

// Radius, in pixels, of kernel `index`; its side is twice that and 1.
inline std::int32_t kernel_radius(const focusfall_interface& /*filter*/,
                                  std::size_t index) {
    return lens::kernel_radius(index);
}
