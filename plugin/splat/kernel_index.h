#pragma once
// Which kernel of the table a sample takes, and how far that kernel reaches.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "plugin/record/focusfall_interface.h"

// Index of the kernel for a sample at `depth`: that of the largest step not above its
// blur, and at most `last`, the table's last index. Never throws; callable from any
// thread while the settings do not change.
inline std::size_t kernel_index(const focusfall_interface& filter, float depth,
                                std::size_t last) {
    if (!filter.depth_enabled) return 0;
    const float from_focus = std::abs(depth - filter.focus_depth);
    const float blur = from_focus * filter.max_coc / depth;
    // a depth of 0 gives infinity or not-a-number: both mean the largest blur
    const float diameter = filter.max_coc > blur ? blur : filter.max_coc;

    const float step = diameter / filter.kernel_step;
    if (!(step >= 1.0F)) return 0;
    // compared before it is truncated: an infinite step has no whole number
    if (step >= static_cast<float>(last)) return last;
    return static_cast<std::size_t>(step);
}

// Radius, in pixels, of kernel `index`; its side is twice that and 1.
inline std::int32_t kernel_radius(const focusfall_interface& filter, std::size_t index) {
    if (index == 0) return 0;
    // float product and ceiling: the kernel sizes of the table follow this rounding
    const float reach = std::ceil(static_cast<float>(index) * filter.kernel_step);
    return std::max(1, static_cast<std::int32_t>(static_cast<double>(reach) * 0.5));
}
