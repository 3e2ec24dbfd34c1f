#pragma once
// Turns pixels into sources.

#include <cstddef>
#include <cstdint>

#include "plugin/fast/gather/gather.h"

namespace gather {

// Pixels side by side, at most BLOCK_COLUMNS and all of one block.
struct source_run {
    std::int32_t x;  // the first pixel
    std::int32_t y;
    std::int32_t columns;
    const float* pixels;     // of the colour image
    std::ptrdiff_t stride;   // floats from pixel to pixel
    const float* distances;  // millimetres, BLOCK_COLUMNS of them
    // Not null: where the blur diameters of the pixels go, pixels, negative in front of
    // the focus. Whole vectors are written: up to BLOCK_COLUMNS.
    float* diameters = nullptr;
};

// The settings and tables that all sources of a frame share. Borrowed, and constant while
// sources are loaded, except for the rows of the planes that are filled.
struct source_loader {
    closed_form form;
    const kernel_terms* terms;  // by index in the kernel table
    std::int32_t last;          // that table's last index; 0: nothing is blurred by depth
    float focus_depth;          // millimetres
    float max_coc;              // blur diameter at infinity, and largest there, pixels
    float near_limit;           // largest in front of the focus, pixels
    float kernel_step;          // blur diameter from kernel to kernel, pixels
    bool keep_transparent;      // pixels with an alpha of 0 are sources
    reach_groups groups;
    source_planes* planes;

    // Stores the sources of the run in the planes and widens what is known of their block
    // by them. Bit i of the result is set when pixel i is a source with a non-finite
    // colour; it is not stored. Never throws. [one thread per row, and per block]
    std::uint64_t load(const source_run& run, block_grid::block& block) const;
};

}  // namespace gather
