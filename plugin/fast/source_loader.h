#pragma once
// Turns pixels into sources.

#include <cstddef>
#include <cstdint>

#include "plugin/fast/gather/gather.h"

// Sources beside one another, at most BLOCK_COLUMNS.
struct source_run {
    std::int32_t x;
    std::int32_t y;
    std::int32_t columns;
    const float* pixels;     // of the colour image
    std::ptrdiff_t stride;   // floats, from pixel to pixel
    const float* distances;  // millimetres, BLOCK_COLUMNS of them
};

// What is the same for all sources of a frame.
struct source_loader {
    closed_form form;
    const kernel_terms* terms;  // by index in the kernel table
    std::int32_t last;          // that table's last index; 0 for no depth
    float focus_depth;          // millimetres
    float max_coc;              // pixels
    float kernel_step;          // pixels
    bool keep_transparent;
    reach_layers layers;
    source_planes* planes;

    // Stores the sources of the run in the planes and adds what is to be known of them to
    // that of their block. Bit i of the result is set for source i when its colour is
    // not finite; it is not stored. [one thread a row, and a block]
    std::uint64_t load(const source_run& run, block_grid::block& block) const;
};
