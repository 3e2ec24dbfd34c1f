#pragma once
// The blur by gathering: each output pixel sums the sources whose kernels reach it.
// docs/gather.md tells how, with a drawing and a glossary.

#include <cstdint>

#include "plugin/fast/gather/block_grid.h"
#include "plugin/fast/gather/closed_form.h"
#include "plugin/fast/gather/offset_table.h"
#include "plugin/fast/gather/source_planes.h"
#include "plugin/fast/gather/tiling.h"

namespace gather {

// What is summed over the sources of a pixel, in the order of the planes of the sources.
// Alpha is last: where all sources are opaque it equals the weight, and the gather sums
// only the quantities before it.
enum quantity : std::int32_t { WEIGHT, RED, GREEN, BLUE, ALPHA, QUANTITIES };
inline constexpr std::int32_t WITHOUT_ALPHA = ALPHA;

// The sums of one register tile. Sources with weight 1 in all rows are summed once, in
// `common`. 128: the alignment of pairs of cache lines, which processors fetch together.
struct alignas(128) tile_sums {
    float rows[TILE_ROWS][QUANTITIES][TILE_COLUMNS];
    float common[QUANTITIES][TILE_COLUMNS];

    // `row` and `column` count pixels from the tile's first.
    float at(quantity q, std::int32_t row, std::int32_t column) const {
        return rows[row][q][column] + common[q][column];
    }
};

// Everything that the gather of a frame reads; borrowed, and constant while it runs.
struct gather_frame {
    const source_planes* planes;
    const block_grid* blocks;
    const offset_table* offsets;
    closed_form form;
    float rim;       // EDGE_WITH_RIM: how much brighter the rim is than 1
    bool with_sums;  // EDGE only: add runs of sources of weight 1 as one sum
};

// Adds all sources of the frame to `sums`: MACRO_TILES register tiles, row by row, of the
// macro tile whose first pixel is (x, y). The caller zeroes them beforehand. The order of
// the additions to a pixel does not depend on the width of the machine's vectors, so that
// results differ only where a machine has no fused multiply-add. Throws std::bad_alloc.
// [worker threads, several macro tiles at once]
void gather_macro_tile(const gather_frame& frame, std::int32_t x, std::int32_t y,
                       tile_sums* sums);

}  // namespace gather
