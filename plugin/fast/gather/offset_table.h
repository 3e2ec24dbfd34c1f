#pragma once
// What the gather knows of an offset between an output pixel and a source.

#include <cstdint>

#include "plugin/fast/gather/closed_form.h"
#include "plugin/fast/gather/source_planes.h"

// Rows of output pixels, and columns, that the gather works on at once.
inline constexpr std::int32_t TILE_ROWS = 4;
inline constexpr std::int32_t TILE_COLUMNS = 16;
// Rows of sources that are looked at together.
inline constexpr std::int32_t BLOCK_ROWS = 8;
// Columns of the output that a worker owns.
inline constexpr std::int32_t MACRO_COLUMNS = 128;

// One entry an offset, from the output pixel to the source: dx from -columns to columns +
// TILE_COLUMNS - 1, dy from -rows to rows, in rows of `stride` entries. Rows and columns
// cover what a kernel of radius `reach` does, and the further rows and columns of the
// tile and the block that the gather then reads. Rows of the table are as long as those
// of the sources beside a macro tile: the same step leads from row to row of either.
struct offset_table {
    // Makes the entries for kernels up to that radius.
    offset_table(const focusfall_interface& params, closed_form form, std::int32_t reach);

    std::ptrdiff_t index(std::int32_t dx, std::int32_t dy) const {
        return std::ptrdiff_t{dy + rows} * stride + dx + columns;
    }

    std::int32_t reach;
    std::int32_t columns;
    std::int32_t rows;
    std::int32_t stride;
    aligned_floats factor;  // FLAT, RIM: e; AIRY: d^2
    aligned_floats start;   // FLAT, RIM: 1 - d
    aligned_floats fourth;  // RIM: (d / e)^4
    // The entry at (dx, dy) holds for a tile's rows, at dy, dy - 1, ... of a source: the
    // source matters to one of them if it reaches further than `miss`, and has weight 1
    // in all if it reaches at least to `full`.
    aligned_floats miss;
    aligned_floats full;
    // The same for a block of sources, its rows at dy, dy + 1, ...
    aligned_floats block_miss;
    aligned_floats block_full;
};
