// The way over the sources of one macro tile, from its windows down to its register
// tiles; included once for each kind of vectors.
//
// It is longer than a header should be: the loops from the macro tile down to the
// register tile are read together.

#if defined(FOCUSFALL_GATHER_MACRO_TILE_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef FOCUSFALL_GATHER_MACRO_TILE_INL_H_
#undef FOCUSFALL_GATHER_MACRO_TILE_INL_H_
#else
#define FOCUSFALL_GATHER_MACRO_TILE_INL_H_
#endif

#include <algorithm>

#include <hwy/highway.h>

#include "plugin/fast/gather/covered_offsets-inl.h"
#include "plugin/fast/gather/falloff-inl.h"
#include "plugin/fast/gather/gather.h"
#include "plugin/fast/gather/rules-inl.h"
#include "plugin/fast/gather/sums-inl.h"
#include "plugin/fast/gather/window-inl.h"
#include "plugin/fast/gather/window_fill-inl.h"

HWY_BEFORE_NAMESPACE();
namespace gather {
namespace HWY_NAMESPACE {
namespace {

// The output pixels that one call works on.
struct macro_tile {
    std::int32_t x;  // first pixel
    std::int32_t y;
    tile_sums* sums;          // of the register tiles, row by row
    covered_offsets covered;  // of the present window and register tile

    // Whether nothing more is to be added to the register tile that begins `column` and
    // `row` pixels further.
    HWY_INLINE bool is_done(std::int32_t /*column*/, std::int32_t /*row*/) const {
        return false;
    }
    // The sums of that register tile.
    HWY_INLINE tile_sums& sums_at(std::int32_t column, std::int32_t row) const {
        return sums[row / TILE_ROWS * TILES_ACROSS + column / TILE_COLUMNS];
    }
};

// Output pixels that sources are looked for: the macro tile, or what is left of it.
struct pixel_area {
    std::int32_t x;
    std::int32_t y;
    std::int32_t columns = MACRO_COLUMNS;
    std::int32_t rows = MACRO_ROWS;
};

struct index_range {
    std::int32_t first;
    std::int32_t last;  // beyond the last
};

// Which of `count` pieces of `piece` pixels, side by side from 0 on, are no further from
// the `size` pixels at `start` than any source reaches.
HWY_INLINE index_range indices_near(const gather_frame& frame, std::int32_t start,
                                    std::int32_t size, std::int32_t piece,
                                    std::int32_t count) {
    const std::int32_t reach = frame.offsets->reach + 1;
    return {.first = std::max(0, start - reach) / piece,
            .last = std::min(count, (start + size + reach) / piece + 1)};
}
HWY_INLINE index_range block_rows_near(const gather_frame& frame,
                                       const pixel_area& area) {
    return indices_near(frame, area.y, area.rows, BLOCK_ROWS, frame.blocks->rows);
}

// Pixels from the `a_size` pixels at `a` to the nearest of the `b_size` at `b`; 0 where
// they overlap.
HWY_INLINE std::int32_t gap_between(std::int32_t a, std::int32_t a_size, std::int32_t b,
                                    std::int32_t b_size) {
    return std::max({0, b - (a + a_size - 1), a - (b + b_size - 1)});
}

// Columns of pixels, from the first to the last block of a row of blocks that may reach
// an area; empty when none does.
struct column_range {
    std::int32_t first = 0;
    std::int32_t last = 0;  // beyond the last
    float reach = 0.0F;     // the largest of the blocks, pixels
    bool opaque = true;     // all blocks are

    bool empty() const { return last <= first; }
};
// Blocks without sources of the group, which reach less far than `group_reach`, do not
// count.
inline column_range columns_that_reach(const gather_frame& frame, std::int32_t block_row,
                                       std::int32_t group, float group_reach,
                                       const pixel_area& area) {
    column_range range;
    const block_grid::block* blocks = frame.blocks->row(block_row);
    const std::int32_t dy =
        gap_between(area.y, area.rows, block_row * BLOCK_ROWS, BLOCK_ROWS);
    const index_range near =
        indices_near(frame, area.x, area.columns, BLOCK_COLUMNS, frame.blocks->columns);
    for (std::int32_t i = near.first; i < near.last; ++i) {
        const std::int32_t dx =
            gap_between(area.x, area.columns, i * BLOCK_COLUMNS, BLOCK_COLUMNS);
        const auto distance = static_cast<float>(std::max(dx, dy));
        const float reach = std::min(blocks[i].reach, group_reach);
        if (!blocks[i].has(group) || !(distance < reach + 1.0F)) continue;
        if (range.last == 0) range.first = i * BLOCK_COLUMNS;
        range.opaque = range.opaque && blocks[i].opaque;
        range.last = (i + 1) * BLOCK_COLUMNS;
        range.reach = std::max(range.reach, reach);
    }
    return range;
}

// Places the window on those of the columns in a row of blocks whose sources may reach
// the area; none is further from it than `columns`, a multiple of TILE_COLUMNS.
HWY_INLINE void place_window(const gather_frame& frame, const pixel_area& area,
                             std::int32_t block_row, const column_range& range,
                             std::int32_t columns, source_window& window) {
    const auto reach = static_cast<std::int32_t>(range.reach) + 1;
    window.first_column = std::max(range.first - TILE_COLUMNS, area.x - columns);
    window.last_column =
        std::min(range.last, area.x + area.columns + columns + TILE_COLUMNS);
    window.first_row = std::max(block_row * BLOCK_ROWS, area.y - reach);
    window.rows = std::min({(block_row + 1) * BLOCK_ROWS, frame.planes->height(),
                            area.y + area.rows + reach}) -
                  window.first_row;
}

// Prepares what all register tiles need of the window's sources, which are there.
template <std::int32_t COUNT>
HWY_INLINE void fill_derived(const gather_frame& frame, source_window& window) {
    // each step reads what those before it filled
    fill_rows<COUNT>(frame, window);
    join_all_rows<COUNT>(window);
    if (has_factors(frame.form)) fill_column_factors(frame, window);
}

// Adds the sources of the window to all register tiles that are not done. `Tile` is
// macro_tile, or derived from it.
template <std::int32_t COUNT, class Rule, class Tile>
HWY_INLINE void add_window(const Rule& rule, const gather_frame& frame,
                           const source_window& window, Tile& tile) {
    std::int32_t half[MACRO_ROWS / TILE_ROWS];  // of each row of register tiles
    for (std::int32_t row = 0; row < MACRO_ROWS; row += TILE_ROWS) {
        half[row / TILE_ROWS] =
            half_chord(frame.form, window, window.first_row - (tile.y + row));
    }
    const auto add_to_tile = [&](std::int32_t column, std::int32_t row) HWY_ATTR {
        if (half[row / TILE_ROWS] < 0 || tile.is_done(column, row)) return;
        const std::int32_t x = tile.x + column;
        const std::int32_t dy = window.first_row - (tile.y + row);
        const tile_view view = view_from(window, *frame.offsets, x, dy);
        find_covered(frame, window, view, half[row / TILE_ROWS], x, tile.covered);
        if (tile.covered.empty()) return;
        tile_sums& sums = tile.sums_at(column, row);
        add_fully_covered<COUNT>(view, tile.covered.fully_covered, sums);
        add_partly_covered<COUNT>(rule, view, tile.covered.partly_covered, sums);
    };
    if (has_factors(frame.form)) {
        for (std::int32_t row = 0; row < MACRO_ROWS; row += TILE_ROWS) {
            fill_row_factors(frame, window, window.first_row - (tile.y + row));
            for (std::int32_t column = 0; column < MACRO_COLUMNS; column += TILE_COLUMNS)
                add_to_tile(column, row);
        }
        return;
    }
    // tiles one below the other share more of what they read than neighbours
    for (std::int32_t column = 0; column < MACRO_COLUMNS; column += TILE_COLUMNS) {
        for (std::int32_t row = 0; row < MACRO_ROWS; row += TILE_ROWS)
            add_to_tile(column, row);
    }
}

// Calls `use` with the rule of the frame's closed form.
template <class Use>
HWY_INLINE void with_rule(const gather_frame& frame, const Use& use) {
    const offset_table& offsets = *frame.offsets;
    const edge_rule edge = {offsets};
    switch (frame.form) {
        case closed_form::EDGE: return use(edge);
        case closed_form::EDGE_WITH_RIM: return use(edge_with_rim_rule{edge, frame.rim});
        case closed_form::GAUSSIAN: return use(gaussian_rule{});
        case closed_form::LAPLACIAN:
            return use(laplacian_rule{second_column_factors(frame)});
        case closed_form::AIRY: return use(airy_rule{offsets});
    }
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace gather
HWY_AFTER_NAMESPACE();

#endif
