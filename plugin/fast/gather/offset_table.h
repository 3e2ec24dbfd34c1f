#pragma once
// What the gather knows of an offset between an output pixel and a source.

#include <cstddef>
#include <cstdint>

#include "plugin/fast/gather/aligned_floats.h"
#include "plugin/fast/gather/closed_form.h"

namespace gather {

// Entry (dx, dy) for every offset from an output pixel to a source, in pixels: dx from
// -columns to columns + TILE_COLUMNS - 1, dy from -rows to rows. That covers kernels of
// radius `reach`, padded to whole tiles and blocks. `stride` equals the row length of a
// source window, so one index step moves down a row in both. Constant once made: any
// thread may read it.
struct offset_table {
    // Makes the entries for kernels up to a radius of `reach` pixels; `edge` matters to
    // the edged forms only. Throws std::bad_alloc. [render thread]
    offset_table(const edge_shape& edge, closed_form form, std::int32_t reach);

    // Index of entry (dx, dy) in each of the tables; neither is checked.
    std::ptrdiff_t index(std::int32_t dx, std::int32_t dy) const {
        return std::ptrdiff_t{dy + rows} * stride + dx + columns;
    }

    std::int32_t reach;    // pixels
    std::int32_t columns;  // pixels, a multiple of TILE_COLUMNS
    std::int32_t rows;     // pixels
    std::int32_t stride;   // floats

    // What the weights follow from; d is the distance, e the edge factor. The tables that
    // a form does not name are empty for it.
    aligned_floats edge_factor;       // EDGE, EDGE_WITH_RIM: e
    aligned_floats edge_start;        // EDGE, EDGE_WITH_RIM: 1 - d
    aligned_floats fourth_power;      // EDGE_WITH_RIM: (d / e)^4
    aligned_floats distance;          // AIRY: d
    aligned_floats squared_distance;  // AIRY: d^2

    // Bounds, in pixels of reach, for a source and the TILE_ROWS rows of a register tile,
    // from which it is at dy, dy - 1, ...: it has weight in at least one row only if its
    // reach is above `miss`, and weight 1 in all rows if its reach is not below `full`.
    aligned_floats miss;
    aligned_floats full;
    // The same bounds for a column of BLOCK_ROWS sources, which are at dy, dy + 1, ...
    // from the tile's first row: at least one of them has weight only if a reach is above
    // `block_miss`, all have weight 1 if no reach is below `block_full`.
    aligned_floats block_miss;
    aligned_floats block_full;
};

}  // namespace gather
