#pragma once
// Which kernel of the table a sample takes.

#include <cstddef>

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
