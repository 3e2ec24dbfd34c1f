#pragma once
// The blur by gathering: for each output pixel, the sources that reach it.

#include <cstdint>
#include <vector>

#include "plugin/fast/gather/closed_form.h"
#include "plugin/fast/gather/offset_table.h"
#include "plugin/fast/gather/source_planes.h"

// One piece of the output: MACRO_COLUMNS x MACRO_ROWS pixels, made of register tiles.
inline constexpr std::int32_t MACRO_ROWS = 64;
// Sources are looked at in blocks of so many columns, and BLOCK_ROWS rows.
inline constexpr std::int32_t BLOCK_COLUMNS = 64;
// How many columns beside the picture, on either side, the gather may read: the last
// block's, and the vectors that begin in them.
inline constexpr std::int32_t GATHER_MARGIN = BLOCK_COLUMNS + 2 * TILE_COLUMNS;

// The sums of a frame's sources, in the order in which they are kept. Alpha is the last:
// where all sources are opaque it is the same as the weight, and only copied.
enum sum : std::int32_t { SUM_WEIGHT, SUM_RED, SUM_GREEN, SUM_BLUE, SUM_ALPHA, SUMS };

// The sums of one register tile. What all its rows receive alike stands apart.
struct alignas(128) tile_sums {
    float rows[TILE_ROWS][SUMS][TILE_COLUMNS];
    float common[SUMS][TILE_COLUMNS];

    float at(sum quantity, std::int32_t row, std::int32_t column) const {
        return rows[row][quantity][column] + common[quantity][column];
    }
};

// Sources parted by how far they reach. Where depth jumps, neighbours reach differently
// far, and little holds for a whole vector of them; for those of one layer it does.
struct reach_layers {
    std::int32_t count = 1;
    float step = NO_END;  // from layer to layer

    // For FLAT with kernels up to that radius; other forms, and small radii, gain
    // nothing.
    static reach_layers parted(std::int32_t reach) {
        constexpr std::int32_t LEAST_REACH = 32;
        if (reach < LEAST_REACH) return {};
        return {4, static_cast<float>(reach) / 4.0F};
    }

    // A layer's sources reach at least to `from`, and less far than `to`.
    float from(std::int32_t layer) const { return static_cast<float>(layer) * step; }
    float to(std::int32_t layer) const {
        return layer + 1 < count ? from(layer + 1) : NO_END;
    }

  private:
    static constexpr float NO_END = 1e30F;
};

// What is known of the sources of each block.
struct block_grid {
    struct block {
        float reach;           // the largest
        bool opaque;           // alpha is 1 everywhere
        std::uint32_t layers;  // bit i: some are of layer i

        bool has(std::int32_t layer) const { return (layers >> layer & 1U) != 0; }
    };
    reach_layers layers;
    std::int32_t columns = 0;  // blocks
    std::int32_t rows = 0;
    std::vector<block> blocks;

    void resize(std::int32_t new_columns, std::int32_t new_rows) {
        columns = new_columns;
        rows = new_rows;
        blocks.resize(static_cast<std::size_t>(columns) * static_cast<std::size_t>(rows));
    }
    block* row(std::int32_t number) { return blocks.data() + index(number); }
    const block* row(std::int32_t number) const { return blocks.data() + index(number); }

  private:
    std::ptrdiff_t index(std::int32_t row) const { return std::ptrdiff_t{row} * columns; }
};

// Everything that the gather of a frame reads; constant meanwhile.
struct gather_frame {
    const source_planes* planes;
    const block_grid* blocks;
    const offset_table* offsets;
    closed_form form;
    float rim;       // RIM: 4 times "Bad Bokeh"
    bool with_sums;  // add several sources of weight 1 at once
};

constexpr std::int32_t TILES_ACROSS = MACRO_COLUMNS / TILE_COLUMNS;
constexpr std::int32_t MACRO_TILES = TILES_ACROSS * (MACRO_ROWS / TILE_ROWS);

// Adds to `sums` all sources of the frame. The sums are those of the macro tile whose
// first pixel is (x, y), its register tiles row by row. The order of the additions to a
// pixel does not depend on the width of the machine's vectors, so that the results
// differ only where a machine has no fused multiply-add. [worker threads]
void gather_macro_tile(const gather_frame& frame, std::int32_t x, std::int32_t y,
                       tile_sums* sums);
