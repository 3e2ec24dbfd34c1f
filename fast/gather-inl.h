// The gather, included once for each kind of vectors. No lasting include guard.

#if defined(FOCUSFALL_FAST_GATHER_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef FOCUSFALL_FAST_GATHER_INL_H_
#undef FOCUSFALL_FAST_GATHER_INL_H_
#else
#define FOCUSFALL_FAST_GATHER_INL_H_
#endif

#include <algorithm>
#include <cmath>
#include <memory>

#include <hwy/highway.h>

#include "fast/gather.h"
#include "fast/rules-inl.h"
#include "fast/window-inl.h"

HWY_BEFORE_NAMESPACE();
namespace HWY_NAMESPACE {
namespace {

// rows whose sums fit the registers: 32 with 512-bit vectors, else 16
constexpr std::int32_t SUM_ROWS = LANES == TILE_COLUMNS ? TILE_ROWS : 2;

// Columns dx, grouped by source row.
struct column_list {
    std::unique_ptr<std::int32_t[]> columns;
    std::int32_t count = 0;

    explicit column_list(std::int32_t most)
        : columns(new std::int32_t[static_cast<std::size_t>(most + TILE_COLUMNS)]) {}
};

// What matters to one register tile among one block of source rows.
struct hit_lists {
    row_hits rows[BLOCK_ROWS];
    std::int32_t row_count = 0;
    column_list partial;  // weighted each for itself
    column_list single;   // weight 1 everywhere
    column_list four;     // the same for it and the three columns on its right
    column_list sixteen;

    explicit hit_lists(std::int32_t most)
        : partial(most), single(most), four(most / 4), sixteen(most / 16) {}
};

// Adds dx, dx + 1, ... for the lanes that `mask` names.
template <class Mask>
HWY_INLINE void add_columns(column_list& list, std::int32_t dx, Mask mask) {
    // by way of a register: compressing into memory is slow
    const hn::RebindToSigned<vector_tag> tag;
    const auto columns = hn::Add(hn::Iota(tag, 0), hn::Set(tag, dx));
    hn::StoreU(hn::Compress(columns, hn::RebindMask(tag, mask)), tag,
               list.columns.get() + list.count);
    list.count += static_cast<std::int32_t>(hn::CountTrue(vector_tag(), mask));
}

HWY_INLINE void add_bits(column_list& list, std::int32_t dx, std::uint32_t bits) {
    for (; bits != 0; bits &= bits - 1) {
        list.columns[list.count++] =
            dx + static_cast<std::int32_t>(hwy::Num0BitsBelowLS1Bit_Nonzero32(bits));
    }
}

// Bit i of 16 tells whether reach i is at least the needed one.
HWY_INLINE std::uint32_t bits_of_reached(const float* reach, const float* needed) {
    const vector_tag tag;
    std::uint32_t bits = 0;
    for (std::int32_t i = 0; i < TILE_COLUMNS; i += LANES) {
        std::uint8_t bytes[8] = {};
        hn::StoreMaskBits(
            tag, hn::Ge(hn::LoadU(tag, reach + i), hn::LoadU(tag, needed + i)), bytes);
        bits |= static_cast<std::uint32_t>(bytes[0] | bytes[1] << 8) << i;
    }
    return bits;
}

// Lists the columns dx + i for the bits i of `full`, in fours where it holds all of one.
HWY_INLINE void add_full_columns(hit_lists& lists, std::int32_t dx, std::uint32_t full) {
    const std::uint32_t pairs = full & full >> 1;
    const std::uint32_t fours = pairs & pairs >> 2 & 0x1111;
    add_bits(lists.four, dx, fours);
    add_bits(lists.single, dx, full & ~(fours * 0xF));
}

// How many columns off a source of that reach matters at most.
HWY_INLINE std::int32_t half_chord(closed_form form, float reach, std::int32_t dy) {
    if (form == closed_form::GAUSSIAN || form == closed_form::LAPLACIAN) {
        return static_cast<float>(dy) < reach ? static_cast<std::int32_t>(reach) : -1;
    }
    const float square = (reach + 1.0F) * (reach + 1.0F) - static_cast<float>(dy * dy);
    return square > 0.0F ? static_cast<std::int32_t>(std::sqrt(square)) + 1 : -1;
}

// Finds the offsets from `first_dx` on, in groups of TILE_COLUMNS, that matter in a row.
HWY_INLINE void find_row_hits(const gather_frame& frame, std::ptrdiff_t part_stride,
                              std::int32_t first_dx, std::int32_t last_dx,
                              const row_hits& hits, hit_lists& lists) {
    const vector_tag tag;
    const float* most = hits.window + source_window::MAX_REACH * part_stride;
    const float* least = hits.window + source_window::MIN_REACH * part_stride;
    const float* miss = frame.offsets->miss.data() + hits.offset;
    const float* full = frame.offsets->full.data() + hits.offset;
    for (std::int32_t dx = first_dx; dx <= last_dx; dx += TILE_COLUMNS) {
        const std::uint32_t all =
            frame.with_sums ? bits_of_reached(least + dx, full + dx) : 0;
        if (all == 0xFFFF) {
            lists.sixteen.columns[lists.sixteen.count++] = dx;
            continue;
        }
        for (std::int32_t i = dx; i < dx + TILE_COLUMNS; i += LANES) {
            auto some = hn::Gt(hn::LoadU(tag, most + i), hn::LoadU(tag, miss + i));
            if (all != 0) {
                some = hn::AndNot(
                    hn::Ge(hn::LoadU(tag, least + i), hn::LoadU(tag, full + i)), some);
            }
            add_columns(lists.partial, i, some);
        }
        if (all != 0) add_full_columns(lists, dx, all);
    }
}

// Finds the sources that matter to the tile at (x, y) among `rows` rows from `first_row`.
HWY_NOINLINE void find_hits(const gather_frame& frame, const block_view& block,
                            const source_window& window, std::int32_t first_row,
                            std::int32_t rows, std::int32_t x, std::int32_t y,
                            hit_lists& lists) {
    lists.partial.count = lists.single.count = lists.four.count = lists.sixteen.count = 0;
    lists.row_count = 0;
    const offset_table& offsets = *frame.offsets;
    for (std::int32_t row = 0; row < rows; ++row) {
        const std::int32_t dy = first_row + row - y;
        const float reach = window.largest_reach[row];
        const std::int32_t half =
            half_chord(frame.form, reach, std::max({0, -dy, dy - (TILE_ROWS - 1)}));
        const std::int32_t first_dx =
            std::max(-half & -TILE_COLUMNS, window.first_column - x);
        const std::int32_t last_dx = std::min(half, window.last_column - x - 1);
        if (half < 0 || first_dx > last_dx) continue;

        row_hits& hits = lists.rows[lists.row_count++];
        hits.source = block.source + row * block.row_stride + x;
        hits.window = window.at(row, 0) - window.first_column + x;
        hits.row_factors =
            window.row_factors + row * window.row_factor_stride - window.first_column + x;
        hits.column_factors = window.column_factors + row * window.column_factor_stride +
                              (x - window.macro_column);
        hits.offset = offsets.index(0, dy);
        find_row_hits(frame, window.part_stride, first_dx, last_dx, hits, lists);
        hits.partial_end = lists.partial.count;
        hits.single_end = lists.single.count;
        hits.four_end = lists.four.count;
        hits.sixteen_end = lists.sixteen.count;
    }
}

// Adds the hits to SUM_ROWS rows of LANES columns, all sums in registers. A function of
// its own, since only so the compiler keeps them there.
template <class Rule>
HWY_NOINLINE void add_weighted_hits(const Rule& rule, const block_view& block,
                                    const hit_lists& lists, std::int32_t first_row,
                                    std::int32_t column, tile_sums& sums) {
    const vector_tag tag;
    const std::ptrdiff_t plane = block.plane_stride;
    vector sum[SUM_ROWS][SUMS];
    for (std::int32_t row = 0; row < SUM_ROWS; ++row) {
        for (std::int32_t q = 0; q < SUMS; ++q) {
            sum[row][q] = hn::Load(tag, sums.rows[first_row + row][q] + column);
        }
    }
    std::int32_t i = 0;
    for (const row_hits* hits = lists.rows; hits != lists.rows + lists.row_count;
         ++hits) {
        for (; i < hits->partial_end; ++i) {
            const std::int32_t dx = lists.partial.columns[i];
            const float* at = hits->source + column + dx;
            const auto source = rule.load(*hits, column, dx, plane);
            const vector weight = hn::LoadU(tag, at + plane * source_planes::WEIGHT);
            const vector red = hn::LoadU(tag, at + plane * source_planes::RED);
            const vector green = hn::LoadU(tag, at + plane * source_planes::GREEN);
            const vector blue = hn::LoadU(tag, at + plane * source_planes::BLUE);
            const vector alpha = hn::LoadU(tag, at + plane * source_planes::ALPHA);
            for (std::int32_t row = 0; row < SUM_ROWS; ++row) {
                const vector value =
                    rule.weight(source, *hits, column, dx, first_row + row);
                sum[row][SUM_WEIGHT] = hn::MulAdd(value, weight, sum[row][SUM_WEIGHT]);
                sum[row][SUM_RED] = hn::MulAdd(value, red, sum[row][SUM_RED]);
                sum[row][SUM_GREEN] = hn::MulAdd(value, green, sum[row][SUM_GREEN]);
                sum[row][SUM_BLUE] = hn::MulAdd(value, blue, sum[row][SUM_BLUE]);
                sum[row][SUM_ALPHA] = hn::MulAdd(value, alpha, sum[row][SUM_ALPHA]);
            }
        }
    }
    for (std::int32_t row = 0; row < SUM_ROWS; ++row) {
        for (std::int32_t q = 0; q < SUMS; ++q) {
            hn::Store(sum[row][q], tag, sums.rows[first_row + row][q] + column);
        }
    }
}

// Adds columns of the planes, or of the sums over several columns, to all rows alike.
HWY_INLINE void add_columns_of(const float* base, std::ptrdiff_t stride,
                               const column_list& list, std::int32_t first,
                               std::int32_t last, vector* sum) {
    const vector_tag tag;
    for (std::int32_t i = first; i < last; ++i) {
        const float* at = base + list.columns[static_cast<std::size_t>(i)];
        for (std::int32_t q = 0; q < SUMS; ++q) {
            sum[q] = hn::Add(sum[q], hn::LoadU(tag, at + q * stride));
        }
    }
}

HWY_NOINLINE void add_full_hits(const block_view& block, const source_window& window,
                                const hit_lists& lists, tile_sums& sums) {
    const vector_tag tag;
    for (std::int32_t column = 0; column < TILE_COLUMNS; column += LANES) {
        vector sum[SUMS];
        for (std::int32_t q = 0; q < SUMS; ++q) {
            sum[q] = hn::Load(tag, sums.common[q] + column);
        }
        row_hits before = {};
        for (std::int32_t row = 0; row < lists.row_count; ++row) {
            const row_hits& hits = lists.rows[row];
            const float* part = hits.window + column;
            add_columns_of(part + source_window::SUM_16 * window.part_stride,
                           window.part_stride, lists.sixteen, before.sixteen_end,
                           hits.sixteen_end, sum);
            add_columns_of(part + source_window::SUM_4 * window.part_stride,
                           window.part_stride, lists.four, before.four_end, hits.four_end,
                           sum);
            add_columns_of(
                hits.source + column + source_planes::WEIGHT * block.plane_stride,
                block.plane_stride, lists.single, before.single_end, hits.single_end,
                sum);
            before = hits;
        }
        for (std::int32_t q = 0; q < SUMS; ++q) {
            hn::Store(sum[q], tag, sums.common[q] + column);
        }
    }
}

template <class Rule>
HWY_INLINE void add_partial_hits(const Rule& rule, const block_view& block,
                                 const hit_lists& lists, tile_sums& sums) {
    for (std::int32_t row = 0; row < TILE_ROWS; row += SUM_ROWS) {
        for (std::int32_t column = 0; column < TILE_COLUMNS; column += LANES) {
            add_weighted_hits(rule, block, lists, row, column, sums);
        }
    }
}

// The columns of blocks in block row `row` that may reach the macro tile, as a range of
// columns of pixels; empty when none does.
struct column_range {
    std::int32_t first;
    std::int32_t last;  // beyond the last
    float reach;        // the largest of the blocks
};
column_range columns_that_reach(const gather_frame& frame, std::int32_t block_row,
                                std::int32_t x, std::int32_t y) {
    const auto gap = [](std::int32_t a, std::int32_t a_size, std::int32_t b,
                        std::int32_t b_size) {
        return std::max({0, b - (a + a_size - 1), a - (b + b_size - 1)});
    };
    column_range range = {0, 0, 0.0F};
    const std::int32_t dy = gap(y, MACRO_ROWS, block_row * BLOCK_ROWS, BLOCK_ROWS);
    for (std::int32_t block = 0; block < frame.maxima->columns; ++block) {
        const std::int32_t dx =
            gap(x, MACRO_COLUMNS, block * BLOCK_COLUMNS, BLOCK_COLUMNS);
        const auto distance = static_cast<float>(std::max(dx, dy));
        if (!(distance < frame.maxima->at(block, block_row) + 1.0F)) continue;
        if (range.last == 0) range.first = block * BLOCK_COLUMNS;
        range.last = (block + 1) * BLOCK_COLUMNS;
        range.reach = std::max(range.reach, frame.maxima->at(block, block_row));
    }
    return range;
}

template <class Rule>
void gather_with(const Rule& rule, const gather_frame& frame, source_window& window,
                 std::int32_t x, std::int32_t y, tile_sums* sums) {
    const source_planes& planes = *frame.planes;
    const offset_table& offsets = *frame.offsets;
    hit_lists lists(BLOCK_ROWS * (2 * offsets.columns + TILE_COLUMNS));
    for (std::int32_t block_row = 0; block_row < frame.maxima->rows; ++block_row) {
        const column_range range = columns_that_reach(frame, block_row, x, y);
        if (range.last <= range.first) continue;
        const auto reach = static_cast<std::int32_t>(range.reach) + 1;
        const std::int32_t first_row = std::max(block_row * BLOCK_ROWS, y - reach);
        const std::int32_t rows = std::min({(block_row + 1) * BLOCK_ROWS, planes.height(),
                                            y + MACRO_ROWS + reach}) -
                                  first_row;
        const block_view block = {planes.row(first_row, source_planes::SHAPE),
                                  planes.plane_stride(), planes.row_stride()};
        window.first_column = std::max(range.first - TILE_COLUMNS, x - offsets.columns);
        window.last_column =
            std::min(range.last, x + MACRO_COLUMNS + offsets.columns + TILE_COLUMNS);
        fill_window(frame, block, rows, window);
        if (has_factors(frame.form)) fill_column_factors(frame, block, rows, window);

        tile_sums* tile = sums;
        for (std::int32_t ty = y; ty < y + MACRO_ROWS; ty += TILE_ROWS) {
            if (has_factors(frame.form)) {
                fill_row_factors(frame, block, window, first_row - ty, rows);
            }
            for (std::int32_t tx = x; tx < x + MACRO_COLUMNS;
                 tx += TILE_COLUMNS, ++tile) {
                find_hits(frame, block, window, first_row, rows, tx, ty, lists);
                add_full_hits(block, window, lists, *tile);
                add_partial_hits(rule, block, lists, *tile);
            }
        }
    }
}

void gather(const gather_frame& frame, std::int32_t x, std::int32_t y, tile_sums* sums) {
    const offset_table& offsets = *frame.offsets;
    const window_storage storage(frame, x);
    source_window window = storage.window();

    const flat_rule flat = {offsets};
    switch (frame.form) {
        case closed_form::FLAT: return gather_with(flat, frame, window, x, y, sums);
        case closed_form::RIM:
            return gather_with(rim_rule{flat, frame.rim}, frame, window, x, y, sums);
        case closed_form::GAUSSIAN:
            return gather_with(gaussian_rule{window.part_stride}, frame, window, x, y,
                               sums);
        case closed_form::LAPLACIAN:
            return gather_with(
                laplacian_rule{window.part_stride, window.second_column_factors}, frame,
                window, x, y, sums);
        case closed_form::AIRY:
            return gather_with(airy_rule{offsets}, frame, window, x, y, sums);
    }
}

}  // namespace
}  // namespace HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
