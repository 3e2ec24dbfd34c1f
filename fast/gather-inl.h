// The gather, included once for each kind of vectors. No lasting include guard.

#if defined(FOCUSFALL_FAST_GATHER_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef FOCUSFALL_FAST_GATHER_INL_H_
#undef FOCUSFALL_FAST_GATHER_INL_H_
#else
#define FOCUSFALL_FAST_GATHER_INL_H_
#endif

#include <algorithm>
#include <cmath>
#include <cstring>
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

// Offsets of sources, each as one number: BLOCK_ROWS * dx + row in the block. One list
// for all rows, since short loops of changing lengths are slow.
struct offset_list {
    std::unique_ptr<std::int32_t[]> codes;
    std::int32_t count = 0;

    explicit offset_list(std::int32_t most)
        : codes(new std::int32_t[static_cast<std::size_t>(most + TILE_COLUMNS)]) {}

    std::int32_t* end() { return codes.get() + count; }
};
constexpr std::int32_t offset_code(std::int32_t dx, std::int32_t row) {
    return BLOCK_ROWS * dx + row;
}
constexpr std::int32_t code_row(std::int32_t code) { return code & (BLOCK_ROWS - 1); }
constexpr std::int32_t code_dx(std::int32_t code) {
    return (code - code_row(code)) / BLOCK_ROWS;
}

// What matters to one register tile among one block of source rows.
struct hit_lists {
    row_hits rows[BLOCK_ROWS];
    offset_list partial;  // weighted each for itself
    offset_list single;   // weight 1 everywhere
    offset_list four;     // the same for it and the three columns on its right
    offset_list sixteen;
    offset_list whole;  // the same for TILE_COLUMNS columns and all rows
    offset_list mixed;  // groups of TILE_COLUMNS columns that differ from row to row

    explicit hit_lists(std::int32_t most)
        : partial(most),
          single(most),
          four(most / 4),
          sixteen(most / 16),
          whole(most / 16),
          mixed(most / 16) {}

    void clear() {
        for (offset_list* list : {&partial, &single, &four, &sixteen, &whole, &mixed}) {
            list->count = 0;
        }
    }
};

// Adds the offsets dx + i for the bits i of 16, dx and row being those of `code`.
HWY_INLINE void add_offsets(offset_list& list, std::int32_t code, std::uint32_t bits) {
    const hn::RebindToSigned<vector_tag> integer_tag;
    for (std::int32_t i = 0; i < TILE_COLUMNS; i += LANES) {
        const std::uint32_t part = bits >> i & ((1U << LANES) - 1);
        std::uint8_t bytes[8] = {};
        std::memcpy(bytes, &part, sizeof part);
        const auto codes =
            hn::Add(hn::Mul(hn::Iota(integer_tag, i), hn::Set(integer_tag, BLOCK_ROWS)),
                    hn::Set(integer_tag, code));
        // by way of a register: compressing into memory is slow
        hn::StoreU(hn::Compress(codes, hn::LoadMaskBits(integer_tag, bytes)), integer_tag,
                   list.end());
        list.count += static_cast<std::int32_t>(hwy::PopCount(part));
    }
}

// Bit i of 16 tells whether a[i] > b[i], or a[i] >= b[i].
template <class Compare>
HWY_INLINE std::uint32_t bits_where(const float* a, const float* b, Compare compare) {
    const vector_tag tag;
    std::uint32_t bits = 0;
    for (std::int32_t i = 0; i < TILE_COLUMNS; i += LANES) {
        std::uint8_t bytes[8] = {};
        hn::StoreMaskBits(tag, compare(hn::LoadU(tag, a + i), hn::LoadU(tag, b + i)),
                          bytes);
        std::uint32_t part = 0;
        std::memcpy(&part, bytes, sizeof part);
        bits |= part << i;
    }
    return bits;
}
HWY_INLINE std::uint32_t bits_above(const float* a, const float* b) {
    return bits_where(a, b, [](vector p, vector q) HWY_ATTR { return hn::Gt(p, q); });
}
HWY_INLINE std::uint32_t bits_reached(const float* a, const float* b) {
    return bits_where(a, b, [](vector p, vector q) HWY_ATTR { return hn::Ge(p, q); });
}
constexpr std::uint32_t ALL_COLUMNS = (1U << TILE_COLUMNS) - 1;

// How many columns off a source of that reach matters at most.
HWY_INLINE std::int32_t half_chord(closed_form form, float reach, std::int32_t dy) {
    if (reach < 0.0F) return -1;  // NO_REACH
    if (form == closed_form::GAUSSIAN || form == closed_form::LAPLACIAN) {
        return static_cast<float>(dy) < reach ? static_cast<std::int32_t>(reach) : -1;
    }
    const float square = (reach + 1.0F) * (reach + 1.0F) - static_cast<float>(dy * dy);
    return square > 0.0F ? static_cast<std::int32_t>(std::sqrt(square)) + 1 : -1;
}

// Sorts the offsets among TILE_COLUMNS from dx on by what they add to the tile. Without
// branches, which could not be foretold.
HWY_INLINE void find_group_hits(const gather_frame& frame, std::ptrdiff_t part_stride,
                                std::int32_t dx, std::int32_t row, hit_lists& lists) {
    const row_hits& hits = lists.rows[row];
    const float* reach = hits.window + dx;
    const std::ptrdiff_t offset = hits.offset + dx;
    const std::int32_t code = offset_code(dx, row);
    const std::uint32_t some = bits_above(reach + source_window::MAX_REACH * part_stride,
                                          frame.offsets->miss.data() + offset);
    if (!frame.with_sums) return add_offsets(lists.partial, code, some);

    const std::uint32_t full =
        bits_reached(reach + source_window::MIN_REACH * part_stride,
                     frame.offsets->full.data() + offset);
    add_offsets(lists.partial, code, some & ~full);
    const bool all = full == ALL_COLUMNS;
    *lists.sixteen.end() = code;
    lists.sixteen.count += all ? 1 : 0;
    const std::uint32_t rest = all ? 0 : full;
    const std::uint32_t pairs = rest & rest >> 1;
    const std::uint32_t fours = pairs & pairs >> 2 & 0x1111;
    add_offsets(lists.four, code, fours);
    add_offsets(lists.single, code, rest & ~(fours * 0xF));
}

// Sorts the groups of offsets from `first_dx` to `last_dx` by what all rows of the block
// have in common.
HWY_INLINE void find_groups(const gather_frame& frame, const source_window& window,
                            std::int32_t first_dx, std::int32_t last_dx, std::int32_t dy,
                            std::int32_t x, hit_lists& lists) {
    const std::ptrdiff_t column = x - window.first_column;
    const float* most = window.at(BLOCK_ROWS, source_window::MAX_REACH) + column;
    const float* least = window.at(BLOCK_ROWS, source_window::MIN_REACH) + column;
    const float* miss = frame.offsets->block_miss.data() + frame.offsets->index(0, dy);
    const float* full = frame.offsets->block_full.data() + frame.offsets->index(0, dy);
    for (std::int32_t dx = first_dx; dx <= last_dx; dx += TILE_COLUMNS) {
        if (bits_above(most + dx, miss + dx) == 0) continue;
        const bool all =
            frame.with_sums && bits_reached(least + dx, full + dx) == ALL_COLUMNS;
        offset_list& list = all ? lists.whole : lists.mixed;
        *list.end() = offset_code(dx, 0);
        ++list.count;
    }
}

// Finds the sources that matter to the tile at (x, y) among `rows` rows from `first_row`.
HWY_NOINLINE void find_hits(const gather_frame& frame, const block_view& block,
                            const source_window& window, std::int32_t first_row,
                            std::int32_t rows, std::int32_t x, std::int32_t y,
                            hit_lists& lists) {
    lists.clear();
    const offset_table& offsets = *frame.offsets;
    const std::int32_t dy = first_row - y;
    const std::int32_t half =
        half_chord(frame.form, window.largest_reach,
                   std::max({0, -(dy + rows - 1), dy - (TILE_ROWS - 1)}));
    // a reach with a fraction may end a column beyond its kernel, and the table
    const std::int32_t first_dx =
        std::max({-half & -TILE_COLUMNS, -offsets.columns, window.first_column - x});
    const std::int32_t last_dx = std::min(half, window.last_column - x - 1);
    if (half < 0 || first_dx > last_dx) return;
    find_groups(frame, window, first_dx, last_dx, dy, x, lists);
    if (lists.mixed.count == 0) return;

    for (std::int32_t row = 0; row < rows; ++row) {
        row_hits& hits = lists.rows[row];
        hits.source = block.source + row * block.row_stride + x;
        hits.window = window.at(row, 0) - window.first_column + x;
        hits.row_factors =
            window.row_factors + row * window.row_factor_stride - window.first_column + x;
        hits.column_factors = window.column_factors + row * window.column_factor_stride +
                              (x - window.macro_column);
        hits.offset = offsets.index(0, dy + row);
    }
    for (std::int32_t i = 0; i < lists.mixed.count; ++i) {
        const std::int32_t dx = code_dx(lists.mixed.codes.get()[i]);
        for (std::int32_t row = 0; row < rows; ++row) {
            find_group_hits(frame, window.part_stride, dx, row, lists);
        }
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
    for (std::int32_t i = 0; i < lists.partial.count; ++i) {
        const std::int32_t code = lists.partial.codes.get()[i];
        const row_hits& hits = lists.rows[code_row(code)];
        const std::int32_t dx = code_dx(code);
        const float* at = hits.source + column + dx;
        const auto source = rule.load(hits, column, dx, plane);
        const vector weight = hn::LoadU(tag, at + plane * source_planes::WEIGHT);
        const vector red = hn::LoadU(tag, at + plane * source_planes::RED);
        const vector green = hn::LoadU(tag, at + plane * source_planes::GREEN);
        const vector blue = hn::LoadU(tag, at + plane * source_planes::BLUE);
        const vector alpha = hn::LoadU(tag, at + plane * source_planes::ALPHA);
        for (std::int32_t row = 0; row < SUM_ROWS; ++row) {
            const vector value = rule.weight(source, hits, column, dx, first_row + row);
            sum[row][SUM_WEIGHT] = hn::MulAdd(value, weight, sum[row][SUM_WEIGHT]);
            sum[row][SUM_RED] = hn::MulAdd(value, red, sum[row][SUM_RED]);
            sum[row][SUM_GREEN] = hn::MulAdd(value, green, sum[row][SUM_GREEN]);
            sum[row][SUM_BLUE] = hn::MulAdd(value, blue, sum[row][SUM_BLUE]);
            sum[row][SUM_ALPHA] = hn::MulAdd(value, alpha, sum[row][SUM_ALPHA]);
        }
    }
    for (std::int32_t row = 0; row < SUM_ROWS; ++row) {
        for (std::int32_t q = 0; q < SUMS; ++q) {
            hn::Store(sum[row][q], tag, sums.rows[first_row + row][q] + column);
        }
    }
}

// Adds what stands at the listed offsets to all rows of the tile alike: `base` is at dx 0
// of the block's first row, the quantities lie `stride` apart.
HWY_INLINE void add_columns(const offset_list& list, const float* base,
                            std::ptrdiff_t row_stride, std::ptrdiff_t stride,
                            vector* sum) {
    const vector_tag tag;
    for (std::int32_t i = 0; i < list.count; ++i) {
        const std::int32_t code = list.codes.get()[i];
        const float* at = base + code_row(code) * row_stride + code_dx(code);
        for (std::int32_t q = 0; q < SUMS; ++q) {
            sum[q] = hn::Add(sum[q], hn::LoadU(tag, at + q * stride));
        }
    }
}

HWY_NOINLINE void add_full_hits(const block_view& block, const source_window& window,
                                const hit_lists& lists, std::int32_t x, tile_sums& sums) {
    const vector_tag tag;
    for (std::int32_t column = 0; column < TILE_COLUMNS; column += LANES) {
        vector sum[SUMS];
        for (std::int32_t q = 0; q < SUMS; ++q) {
            sum[q] = hn::Load(tag, sums.common[q] + column);
        }
        const std::ptrdiff_t first = x + column;
        const auto add_sums = [&](const offset_list& list, std::int32_t row,
                                  std::int32_t part) HWY_ATTR {
            add_columns(list, window.at(row, part) - window.first_column + first,
                        window.row_stride, window.part_stride, sum);
        };
        add_sums(lists.whole, BLOCK_ROWS, source_window::SUM_16);
        add_sums(lists.sixteen, 0, source_window::SUM_16);
        add_sums(lists.four, 0, source_window::SUM_4);
        add_columns(lists.single,
                    block.source + source_planes::WEIGHT * block.plane_stride + first,
                    block.row_stride, block.plane_stride, sum);
        for (std::int32_t q = 0; q < SUMS; ++q) {
            hn::Store(sum[q], tag, sums.common[q] + column);
        }
    }
}

template <class Rule>
HWY_INLINE void add_partial_hits(const Rule& rule, const block_view& block,
                                 const hit_lists& lists, tile_sums& sums) {
    if (lists.partial.count == 0) return;
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
        fill_block(frame, rows, window);
        if (has_factors(frame.form)) fill_column_factors(frame, block, rows, window);

        tile_sums* tile = sums;
        for (std::int32_t ty = y; ty < y + MACRO_ROWS; ty += TILE_ROWS) {
            if (has_factors(frame.form)) {
                fill_row_factors(frame, block, window, first_row - ty, rows);
            }
            for (std::int32_t tx = x; tx < x + MACRO_COLUMNS;
                 tx += TILE_COLUMNS, ++tile) {
                find_hits(frame, block, window, first_row, rows, tx, ty, lists);
                add_full_hits(block, window, lists, tx, *tile);
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
