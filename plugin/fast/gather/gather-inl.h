// The way over the sources of one macro tile; included once for each kind of vectors.
//
// It is longer than a header should be: the loops from the macro tile down to the
// register tile are read together.

#if defined(FOCUSFALL_GATHER_GATHER_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef FOCUSFALL_GATHER_GATHER_INL_H_
#undef FOCUSFALL_GATHER_GATHER_INL_H_
#else
#define FOCUSFALL_GATHER_GATHER_INL_H_
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

    // The sums of the register tile that begins `column` and `row` pixels further.
    HWY_INLINE tile_sums& sums_at(std::int32_t column, std::int32_t row) const {
        return sums[row / TILE_ROWS * TILES_ACROSS + column / TILE_COLUMNS];
    }
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
HWY_INLINE index_range block_rows_near(const gather_frame& frame, std::int32_t y) {
    return indices_near(frame, y, MACRO_ROWS, BLOCK_ROWS, frame.blocks->rows);
}

// Pixels from the `a_size` pixels at `a` to the nearest of the `b_size` at `b`; 0 where
// they overlap.
HWY_INLINE std::int32_t gap_between(std::int32_t a, std::int32_t a_size, std::int32_t b,
                                    std::int32_t b_size) {
    return std::max({0, b - (a + a_size - 1), a - (b + b_size - 1)});
}

// Columns of pixels, from the first to the last block of a row of blocks that may reach
// the macro tile; empty when none does.
struct column_range {
    std::int32_t first = 0;
    std::int32_t last = 0;  // beyond the last
    float reach = 0.0F;     // the largest of the blocks, pixels
    bool opaque = true;     // all blocks are
};
// Blocks without sources of the group do not count.
column_range columns_that_reach(const gather_frame& frame, std::int32_t block_row,
                                std::int32_t group, std::int32_t x, std::int32_t y) {
    column_range range;
    const block_grid::block* blocks = frame.blocks->row(block_row);
    const std::int32_t dy =
        gap_between(y, MACRO_ROWS, block_row * BLOCK_ROWS, BLOCK_ROWS);
    const index_range near =
        indices_near(frame, x, MACRO_COLUMNS, BLOCK_COLUMNS, frame.blocks->columns);
    for (std::int32_t i = near.first; i < near.last; ++i) {
        const std::int32_t dx =
            gap_between(x, MACRO_COLUMNS, i * BLOCK_COLUMNS, BLOCK_COLUMNS);
        const auto distance = static_cast<float>(std::max(dx, dy));
        const float reach = std::min(blocks[i].reach, frame.blocks->groups.to(group));
        if (!blocks[i].has(group) || !(distance < reach + 1.0F)) continue;
        if (range.last == 0) range.first = i * BLOCK_COLUMNS;
        range.opaque = range.opaque && blocks[i].opaque;
        range.last = (i + 1) * BLOCK_COLUMNS;
        range.reach = std::max(range.reach, reach);
    }
    return range;
}

// Sets the window to the sources of a group in a row of blocks that may reach the macro
// tile, and prepares what all register tiles need of them; false when there are none.
template <std::int32_t COUNT>
HWY_INLINE bool open_window(const gather_frame& frame, const macro_tile& tile,
                            std::int32_t block_row, std::int32_t group,
                            source_window& window) {
    const column_range range =
        columns_that_reach(frame, block_row, group, tile.x, tile.y);
    if (range.last <= range.first) return false;
    const auto reach = static_cast<std::int32_t>(range.reach) + 1;
    const std::int32_t columns = frame.offsets->columns;
    window.first_column = std::max(range.first - TILE_COLUMNS, tile.x - columns);
    window.last_column =
        std::min(range.last, tile.x + MACRO_COLUMNS + columns + TILE_COLUMNS);
    window.first_row = std::max(block_row * BLOCK_ROWS, tile.y - reach);
    window.rows = std::min({(block_row + 1) * BLOCK_ROWS, frame.planes->height(),
                            tile.y + MACRO_ROWS + reach}) -
                  window.first_row;
    // each step reads what those before it filled
    copy_sources<COUNT>(frame, group, window);
    fill_rows<COUNT>(frame, window);
    join_all_rows<COUNT>(window);
    if (has_factors(frame.form)) fill_column_factors(frame, window);
    return true;
}

// Adds the sources of the window to all register tiles.
template <std::int32_t COUNT, class Rule>
HWY_INLINE void add_window(const Rule& rule, const gather_frame& frame,
                           const source_window& window, macro_tile& tile) {
    std::int32_t half[MACRO_ROWS / TILE_ROWS];  // of each row of register tiles
    for (std::int32_t row = 0; row < MACRO_ROWS; row += TILE_ROWS) {
        half[row / TILE_ROWS] =
            half_chord(frame.form, window, window.first_row - (tile.y + row));
    }
    const auto add_to_tile = [&](std::int32_t column, std::int32_t row) HWY_ATTR {
        if (half[row / TILE_ROWS] < 0) return;
        const std::int32_t x = tile.x + column;
        const std::int32_t dy = window.first_row - (tile.y + row);
        const tile_view view = view_from(window, *frame.offsets, x, dy);
        find_covered(frame, window, view, half[row / TILE_ROWS], x, tile.covered);
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

// Adds all sources to the macro tile, window by window.
template <std::int32_t COUNT, class Rule>
void gather_with(const Rule& rule, const gather_frame& frame, source_window& window,
                 macro_tile& tile) {
    const index_range near = block_rows_near(frame, tile.y);
    for (std::int32_t row = near.first; row < near.last; ++row) {
        for (std::int32_t group = 0; group < frame.blocks->groups.count; ++group) {
            if (open_window<COUNT>(frame, tile, row, group, window))
                add_window<COUNT>(rule, frame, window, tile);
        }
    }
}

// Adds the first COUNT quantities of all sources, by the rule of the closed form.
template <std::int32_t COUNT>
void gather_count(const gather_frame& frame, std::int32_t x, std::int32_t y,
                  tile_sums* sums) {
    const offset_table& offsets = *frame.offsets;
    const window_storage storage(frame, x);
    source_window window = storage.window();
    macro_tile tile = {.x = x,
                       .y = y,
                       .sums = sums,
                       .covered = covered_offsets(2 * offsets.columns + TILE_COLUMNS)};
    const auto with = [&](const auto& rule)
                          HWY_ATTR { gather_with<COUNT>(rule, frame, window, tile); };
    const edge_rule edge = {offsets};
    switch (frame.form) {
        case closed_form::EDGE: return with(edge);
        case closed_form::EDGE_WITH_RIM: return with(edge_with_rim_rule{edge, frame.rim});
        case closed_form::GAUSSIAN: return with(gaussian_rule{});
        case closed_form::LAPLACIAN:
            return with(laplacian_rule{window.second_column_factors});
        case closed_form::AIRY: return with(airy_rule{offsets});
    }
}

// Whether all sources that may reach the macro tile are opaque.
bool is_opaque(const gather_frame& frame, std::int32_t x, std::int32_t y) {
    bool opaque = true;
    const index_range near = block_rows_near(frame, y);
    for (std::int32_t row = near.first; row < near.last; ++row) {
        for (std::int32_t group = 0; group < frame.blocks->groups.count; ++group) {
            opaque = opaque && columns_that_reach(frame, row, group, x, y).opaque;
        }
    }
    return opaque;
}

// Does what gather_macro_tile promises.
void gather_quantities(const gather_frame& frame, std::int32_t x, std::int32_t y,
                       tile_sums* sums) {
    if (!is_opaque(frame, x, y)) return gather_count<QUANTITIES>(frame, x, y, sums);
    gather_count<WITHOUT_ALPHA>(frame, x, y, sums);
    for (std::int32_t i = 0; i < MACRO_TILES; ++i) {
        for (auto& row : sums[i].rows) {
            std::copy_n(row[WEIGHT], TILE_COLUMNS, row[ALPHA]);
        }
        std::copy_n(sums[i].common[WEIGHT], TILE_COLUMNS, sums[i].common[ALPHA]);
    }
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace gather
HWY_AFTER_NAMESPACE();

#endif
