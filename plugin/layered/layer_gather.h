#pragma once
// The gather layer by layer: each is gathered by itself and put behind those before it.
// docs/layers.md tells how.

#include <cstdint>

#include "plugin/fast/gather/gather.h"
#include "plugin/layered/border_parts.h"
#include "plugin/layered/depth_layers.h"
#include "plugin/layered/diameter_map.h"
#include "plugin/layered/hidden_sources.h"

namespace layered {

// What a pixel has of the layers so far.
enum composed_quantity : std::int32_t {
    RED,
    GREEN,
    BLUE,
    OPACITY,    // how much of what lies further back is hidden, 0 .. 1
    COVERAGE,   // what the layers add up to before small gaps are closed, 0 .. 1
    EMPTINESS,  // what transparent sources add to it
    COMPOSED
};

// The pixels of one register tile.
struct alignas(128) composed_tile {
    float rows[gather::TILE_ROWS][COMPOSED][gather::TILE_COLUMNS];
};

// Everything that the gather of a frame reads; borrowed, and constant meanwhile.
struct layered_frame {
    // The visible sources; the groups of the blocks are the layers of all sources. Only
    // the blocks' size counts where all sources are stamps.
    gather::gather_frame sources;
    bool has_sources;  // false: all sources are stamps
    // For layers in front of the focus: the table of kernels that may be turned around.
    const gather::offset_table* front_offsets;
    const depth_layers* layers;
    const diameter_map* diameters;
    const hidden_sources* hidden;  // null: none
    const border_parts* borders;   // null: blur that leaves the picture is lost
    // The layer whose stamps are in the accumulators of `record`; -1: none.
    std::int32_t stamped_layer;
    const focusfall_interface* record;
};

// A run of layers.
struct layer_range {
    std::int32_t first;
    std::int32_t last;  // beyond the last
};

// Makes the MACRO_TILES register tiles of the macro tile at (x, y) ready for the first
// layer.
void begin_composing(const layered_frame& frame, std::int32_t x, std::int32_t y,
                     composed_tile* composed);
// Puts the layers of a range behind what is composed. `sums` is zero before and after.
// The picture depends neither on how layers are divided into ranges nor on the width of
// vectors, but for fused multiply-adds. Throws std::bad_alloc. [worker threads, several
// macro tiles at once]
void compose_layers(const layered_frame& frame, const layer_range& range, std::int32_t x,
                    std::int32_t y, gather::tile_sums* sums, composed_tile* composed);
// The composed pixels as the sums of a frame without layers. Divided by their weight,
// gaps that no source fills are left out.
void finish_composing(const composed_tile* composed, gather::tile_sums* sums);

}  // namespace layered
