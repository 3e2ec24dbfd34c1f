// The gather, included once for each kind of vectors. No lasting include guard.

#if defined(FOCUSFALL_FAST_GATHER_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef FOCUSFALL_FAST_GATHER_INL_H_
#undef FOCUSFALL_FAST_GATHER_INL_H_
#else
#define FOCUSFALL_FAST_GATHER_INL_H_
#endif

#include <algorithm>

#include <hwy/highway.h>

#include "plugin/fast/gather/gather.h"
#include "plugin/fast/gather/hits-inl.h"
#include "plugin/fast/gather/rules-inl.h"
#include "plugin/fast/gather/window-inl.h"

HWY_BEFORE_NAMESPACE();
namespace HWY_NAMESPACE {
namespace {

// rows whose sums fit the registers: 32 with 512-bit vectors, else 16
constexpr std::int32_t SUM_ROWS = LANES == TILE_COLUMNS ? TILE_ROWS : 2;

// Adds the hits to SUM_ROWS rows of LANES columns, all sums in registers. A function of
// its own, since only so the compiler keeps them there.
template <std::int32_t QUANTITIES, class Rule>
HWY_NOINLINE void add_weighted_hits(const Rule& rule, const tile_view& view,
                                    const code_list& list, std::int32_t first_row,
                                    std::int32_t column, tile_sums& sums) {
    const vector_tag tag;
    vector sum[SUM_ROWS][QUANTITIES];
    for (std::int32_t row = 0; row < SUM_ROWS; ++row) {
        for (std::int32_t q = 0; q < QUANTITIES; ++q) {
            sum[row][q] = hn::Load(tag, sums.rows[first_row + row][q] + column);
        }
    }
    for (const std::int32_t code : list) {
        const hit at_hit = {code, column};
        const auto source = rule.load(view, at_hit);
        vector quantity[QUANTITIES];
        for (std::int32_t q = 0; q < QUANTITIES; ++q) {
            quantity[q] = view.load(source_window::source(PLANE_OF_SUM[q]), at_hit);
        }
        for (std::int32_t row = 0; row < SUM_ROWS; ++row) {
            const vector value = rule.weight(source, view, at_hit, first_row + row);
            for (std::int32_t q = 0; q < QUANTITIES; ++q) {
                sum[row][q] = hn::MulAdd(value, quantity[q], sum[row][q]);
            }
        }
    }
    for (std::int32_t row = 0; row < SUM_ROWS; ++row) {
        for (std::int32_t q = 0; q < QUANTITIES; ++q) {
            hn::Store(sum[row][q], tag, sums.rows[first_row + row][q] + column);
        }
    }
}

// Adds the sums at the listed places to all rows of the tile alike.
template <std::int32_t QUANTITIES>
HWY_NOINLINE void add_full_hits(const tile_view& view, const code_list& places,
                                tile_sums& sums) {
    const vector_tag tag;
    if (places.empty()) return;
    for (std::int32_t column = 0; column < TILE_COLUMNS; column += LANES) {
        vector sum[QUANTITIES];
        for (std::int32_t q = 0; q < QUANTITIES; ++q) {
            sum[q] = hn::Load(tag, sums.common[q] + column);
        }
        for (const std::int32_t place : places) {
            for (std::int32_t q = 0; q < QUANTITIES; ++q) {
                sum[q] = hn::Add(sum[q], view.load(q, {place, column}));
            }
        }
        for (std::int32_t q = 0; q < QUANTITIES; ++q) {
            hn::Store(sum[q], tag, sums.common[q] + column);
        }
    }
}

template <std::int32_t QUANTITIES, class Rule>
HWY_INLINE void add_partial_hits(const Rule& rule, const tile_view& view,
                                 const code_list& list, tile_sums& sums) {
    if (list.empty()) return;
    for (std::int32_t row = 0; row < TILE_ROWS; row += SUM_ROWS) {
        for (std::int32_t column = 0; column < TILE_COLUMNS; column += LANES) {
            add_weighted_hits<QUANTITIES>(rule, view, list, row, column, sums);
        }
    }
}

// Which of `count` pieces of `piece` pixels, one beside the other, lie no further from
// `size` pixels at `start` than any source reaches.
struct index_range {
    std::int32_t first;
    std::int32_t last;  // beyond the last
};
HWY_INLINE index_range indices_near(const gather_frame& frame, std::int32_t start,
                                    std::int32_t size, std::int32_t piece,
                                    std::int32_t count) {
    const std::int32_t reach = frame.offsets->reach + 1;
    return {std::max(0, start - reach) / piece,
            std::min(count, (start + size + reach) / piece + 1)};
}
HWY_INLINE index_range block_rows_near(const gather_frame& frame, std::int32_t y) {
    return indices_near(frame, y, MACRO_ROWS, BLOCK_ROWS, frame.blocks->rows);
}

// The columns of blocks in block row `row` with sources of a layer that may reach the
// macro tile, as a range of columns of pixels; empty when there is none.
struct column_range {
    std::int32_t first;
    std::int32_t last;  // beyond the last
    float reach;        // the largest of the blocks
    bool opaque;        // all blocks are
};
column_range columns_that_reach(const gather_frame& frame, std::int32_t block_row,
                                std::int32_t layer, std::int32_t x, std::int32_t y) {
    const auto gap = [](std::int32_t a, std::int32_t a_size, std::int32_t b,
                        std::int32_t b_size) {
        return std::max({0, b - (a + a_size - 1), a - (b + b_size - 1)});
    };
    column_range range = {0, 0, 0.0F, true};
    const block_grid::block* blocks = frame.blocks->row(block_row);
    const std::int32_t dy = gap(y, MACRO_ROWS, block_row * BLOCK_ROWS, BLOCK_ROWS);
    const index_range near =
        indices_near(frame, x, MACRO_COLUMNS, BLOCK_COLUMNS, frame.blocks->columns);
    for (std::int32_t block = near.first; block < near.last; ++block) {
        const std::int32_t dx =
            gap(x, MACRO_COLUMNS, block * BLOCK_COLUMNS, BLOCK_COLUMNS);
        const auto distance = static_cast<float>(std::max(dx, dy));
        const float reach = std::min(blocks[block].reach, frame.blocks->layers.to(layer));
        if (!blocks[block].has(layer) || !(distance < reach + 1.0F)) continue;
        if (range.last == 0) range.first = block * BLOCK_COLUMNS;
        range.opaque = range.opaque && blocks[block].opaque;
        range.last = (block + 1) * BLOCK_COLUMNS;
        range.reach = std::max(range.reach, reach);
    }
    return range;
}

// Adds the sources of a block, which the window is about, to the macro tile at (x, y).
template <std::int32_t QUANTITIES, class Rule>
HWY_INLINE void add_block(const Rule& rule, const gather_frame& frame,
                          const source_window& window, std::int32_t x, std::int32_t y,
                          hit_lists& lists, tile_sums* sums) {
    std::int32_t half[MACRO_ROWS / TILE_ROWS];
    for (std::int32_t row = 0; row < MACRO_ROWS; row += TILE_ROWS) {
        half[row / TILE_ROWS] =
            half_chord(frame.form, window, window.first_row - (y + row));
    }
    const auto add_to_tile = [&](std::int32_t column, std::int32_t row) HWY_ATTR {
        if (half[row / TILE_ROWS] < 0) return;
        const std::int32_t dy = window.first_row - (y + row);
        const tile_view view = look_at(window, *frame.offsets, x + column, dy);
        tile_sums& tile = sums[row / TILE_ROWS * TILES_ACROSS + column / TILE_COLUMNS];
        find_hits(frame, window, view, half[row / TILE_ROWS], x + column, lists);
        add_full_hits<QUANTITIES>(view, lists.full, tile);
        add_partial_hits<QUANTITIES>(rule, view, lists.partial, tile);
    };
    if (has_factors(frame.form)) {
        for (std::int32_t row = 0; row < MACRO_ROWS; row += TILE_ROWS) {
            fill_row_factors(frame, window, window.first_row - (y + row));
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

// Adds the sources of a layer in a row of blocks to the macro tile.
template <std::int32_t QUANTITIES, class Rule>
HWY_INLINE void add_layer(const Rule& rule, const gather_frame& frame,
                          source_window& window, std::int32_t block_row,
                          std::int32_t layer, std::int32_t x, std::int32_t y,
                          hit_lists& lists, tile_sums* sums) {
    const column_range range = columns_that_reach(frame, block_row, layer, x, y);
    if (range.last <= range.first) return;
    const auto reach = static_cast<std::int32_t>(range.reach) + 1;
    const std::int32_t columns = frame.offsets->columns;
    window.first_column = std::max(range.first - TILE_COLUMNS, x - columns);
    window.last_column = std::min(range.last, x + MACRO_COLUMNS + columns + TILE_COLUMNS);
    window.first_row = std::max(block_row * BLOCK_ROWS, y - reach);
    window.rows = std::min({(block_row + 1) * BLOCK_ROWS, frame.planes->height(),
                            y + MACRO_ROWS + reach}) -
                  window.first_row;
    copy_sources<QUANTITIES>(frame, layer, window);
    fill_window<QUANTITIES>(frame, window);
    fill_block<QUANTITIES>(window);
    if (has_factors(frame.form)) fill_column_factors(frame, window);
    add_block<QUANTITIES>(rule, frame, window, x, y, lists, sums);
}

template <std::int32_t QUANTITIES, class Rule>
void gather_with(const Rule& rule, const gather_frame& frame, source_window& window,
                 std::int32_t x, std::int32_t y, tile_sums* sums) {
    hit_lists lists(BLOCK_ROWS * (2 * frame.offsets->columns + TILE_COLUMNS));
    const index_range near = block_rows_near(frame, y);
    for (std::int32_t row = near.first; row < near.last; ++row) {
        for (std::int32_t layer = 0; layer < frame.blocks->layers.count; ++layer) {
            add_layer<QUANTITIES>(rule, frame, window, row, layer, x, y, lists, sums);
        }
    }
}

template <std::int32_t QUANTITIES>
void gather_quantities(const gather_frame& frame, std::int32_t x, std::int32_t y,
                       tile_sums* sums) {
    const offset_table& offsets = *frame.offsets;
    const window_storage storage(frame, x);
    source_window window = storage.window();
    const auto with = [&](const auto& rule) HWY_ATTR {
        gather_with<QUANTITIES>(rule, frame, window, x, y, sums);
    };
    const flat_rule flat = {offsets};
    switch (frame.form) {
        case closed_form::FLAT: return with(flat);
        case closed_form::RIM: return with(rim_rule{flat, frame.rim});
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
        for (std::int32_t layer = 0; layer < frame.blocks->layers.count; ++layer) {
            opaque = opaque && columns_that_reach(frame, row, layer, x, y).opaque;
        }
    }
    return opaque;
}

void gather(const gather_frame& frame, std::int32_t x, std::int32_t y, tile_sums* sums) {
    if (!is_opaque(frame, x, y)) return gather_quantities<SUMS>(frame, x, y, sums);
    gather_quantities<SUM_ALPHA>(frame, x, y, sums);
    for (std::int32_t i = 0; i < MACRO_TILES; ++i) {
        for (auto& row : sums[i].rows) {
            std::copy_n(row[SUM_WEIGHT], TILE_COLUMNS, row[SUM_ALPHA]);
        }
        std::copy_n(sums[i].common[SUM_WEIGHT], TILE_COLUMNS, sums[i].common[SUM_ALPHA]);
    }
}

}  // namespace
}  // namespace HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
