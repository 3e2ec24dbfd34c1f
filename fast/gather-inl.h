// The gather, included once for each kind of vectors. No lasting include guard.

#if defined(FOCUSFALL_FAST_GATHER_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef FOCUSFALL_FAST_GATHER_INL_H_
#undef FOCUSFALL_FAST_GATHER_INL_H_
#else
#define FOCUSFALL_FAST_GATHER_INL_H_
#endif

#include <algorithm>
#include <memory>

#include <hwy/highway.h>

#include "fast/gather.h"

HWY_BEFORE_NAMESPACE();
namespace HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;
// as many lanes as a tile has columns, or a part of that
using vector_tag = hn::CappedTag<float, TILE_COLUMNS>;
using vector = hn::Vec<vector_tag>;

constexpr std::int32_t LANES = static_cast<std::int32_t>(hn::MaxLanes(vector_tag()));
// rows whose sums fit the registers: 32 with 512-bit vectors, else 16
constexpr std::int32_t SUM_ROWS = LANES == TILE_COLUMNS ? TILE_ROWS : 2;

// A source vector and an offset that contribute to a tile.
struct hit {
    std::int32_t source;  // from the first plane of the block of rows
    std::int32_t window;  // from the window's first float
    std::int32_t offset;  // in the offset table
};

// Where the planes lie from one another, and the block's first source.
struct block_view {
    const float* source;  // column 0 of the first row's first plane
    std::ptrdiff_t plane_stride;
    std::ptrdiff_t row_stride;
};

// What is worked out for a block of source rows and the columns that matter to the macro
// tile, row by row.
struct source_window {
    enum parts : std::int32_t {
        MAX_REACH,  // over 16 pixels from here on, as all that follow
        MIN_REACH,
        SUM_4,  // of the quantities, over 4 pixels
        SUM_16 = SUM_4 + SUMS,
        PARTS = SUM_16 + SUMS,
    };
    std::int32_t first_column;
    std::int32_t last_column;  // beyond the last
    std::ptrdiff_t part_stride;
    std::ptrdiff_t row_stride;
    float* data;

    float* at(std::int32_t row, std::int32_t part) const {
        return data + row * row_stride + part * part_stride;
    }
};

constexpr source_planes::plane PLANE_OF_SUM[] = {source_planes::WEIGHT, source_planes::RED,
                                                 source_planes::GREEN, source_planes::BLUE,
                                                 source_planes::ALPHA};

// `to` = the larger (or smaller) of `from` here and `step` columns on, `count` columns.
template <class Pick>
HWY_INLINE void pick_along(const float* from, float* to, std::int32_t step,
                           std::int32_t count, Pick pick) {
    const vector_tag tag;
    for (std::int32_t i = 0; i < count; i += LANES) {
        hn::StoreU(pick(hn::LoadU(tag, from + i), hn::LoadU(tag, from + i + step)), tag,
                   to + i);
    }
}

template <class Pick>
HWY_INLINE void pick_over_16(const float* from, float* to, std::int32_t count, Pick pick) {
    // the steps overwrite what lies behind them only
    pick_along(from, to, 1, count + 14, pick);
    pick_along(to, to, 2, count + 12, pick);
    pick_along(to, to, 4, count + 8, pick);
    pick_along(to, to, 8, count, pick);
}

// Sums of four entries `step` apart, each two by two.
HWY_INLINE void sum_along(const float* from, float* to, std::int32_t step,
                          std::int32_t count) {
    const vector_tag tag;
    for (std::int32_t i = 0; i < count; i += LANES) {
        const vector first =
            hn::Add(hn::LoadU(tag, from + i), hn::LoadU(tag, from + i + step));
        const vector second = hn::Add(hn::LoadU(tag, from + i + 2 * step),
                                      hn::LoadU(tag, from + i + 3 * step));
        hn::StoreU(hn::Add(first, second), tag, to + i);
    }
}

HWY_INLINE void fill_window(const gather_frame& frame, const block_view& block,
                            std::int32_t rows, const source_window& window) {
    const bool edged =
        frame.form == closed_form::FLAT || frame.form == closed_form::RIM;
    const auto reach_plane = edged ? source_planes::SHAPE : source_planes::SECOND;
    const std::int32_t count = window.last_column - window.first_column;
    for (std::int32_t row = 0; row < rows; ++row) {
        const float* source = block.source + row * block.row_stride + window.first_column;
        const float* reach = source + reach_plane * block.plane_stride;
        pick_over_16(reach, window.at(row, source_window::MAX_REACH), count,
                     [](vector a, vector b) HWY_ATTR { return hn::Max(a, b); });
        if (frame.form != closed_form::FLAT) continue;
        pick_over_16(reach, window.at(row, source_window::MIN_REACH), count,
                     [](vector a, vector b) HWY_ATTR { return hn::Min(a, b); });
        for (std::int32_t q = 0; q < SUMS; ++q) {
            const float* plane = source + PLANE_OF_SUM[q] * block.plane_stride;
            float* four = window.at(row, source_window::SUM_4 + q);
            sum_along(plane, four, 1, count + 12);
            sum_along(four, window.at(row, source_window::SUM_16 + q), 4, count);
        }
    }
}

// The lists of one register tile and one block of source rows.
struct hit_lists {
    std::unique_ptr<hit[]> partial;  // weighted each for itself
    std::unique_ptr<hit[]> single;   // weight 1 everywhere
    std::unique_ptr<hit[]> four;     // the same for it and the three columns on its right
    std::unique_ptr<hit[]> sixteen;
    std::int32_t partials;
    std::int32_t singles;
    std::int32_t fours;
    std::int32_t sixteens;

    explicit hit_lists(std::int32_t most)
        : partial(new hit[static_cast<std::size_t>(most)]),
          single(new hit[static_cast<std::size_t>(most)]),
          four(new hit[static_cast<std::size_t>(most / 4)]),
          sixteen(new hit[static_cast<std::size_t>(most / 16)]) {}
};

// Bit i tells whether compare(a, b) holds for entry i of 16.
template <class Compare>
HWY_INLINE std::uint32_t bits_of(const float* a, const float* b, Compare compare) {
    const vector_tag tag;
    std::uint32_t bits = 0;
    for (std::int32_t i = 0; i < TILE_COLUMNS; i += LANES) {
        std::uint8_t bytes[8] = {};
        hn::StoreMaskBits(tag, compare(hn::LoadU(tag, a + i), hn::LoadU(tag, b + i)),
                          bytes);
        bits |= static_cast<std::uint32_t>(bytes[0] | bytes[1] << 8) << i;
    }
    return bits;
}

HWY_INLINE std::int32_t lowest_bit(std::uint32_t bits) {
    return static_cast<std::int32_t>(hwy::Num0BitsBelowLS1Bit_Nonzero32(bits));
}

HWY_INLINE void add_full_hits(std::uint32_t full, const hit& first, hit_lists& lists) {
    const auto moved = [&first](std::int32_t by) {
        return hit{first.source + by, first.window + by, first.offset + by};
    };
    if (full == 0xFFFF) {
        lists.sixteen[lists.sixteens++] = first;
        return;
    }
    for (std::int32_t i = 0; i < TILE_COLUMNS; i += 4) {
        const std::uint32_t part = full >> i & 0xF;
        if (part == 0xF) {
            lists.four[lists.fours++] = moved(i);
            continue;
        }
        for (std::uint32_t rest = part; rest != 0; rest &= rest - 1) {
            lists.single[lists.singles++] = moved(i + lowest_bit(rest));
        }
    }
}

// Finds the sources that matter to the tile at (x, y) among `rows` rows from `first_row`.
HWY_INLINE void find_hits(const gather_frame& frame, const block_view& block,
                          const source_window& window, std::int32_t first_row,
                          std::int32_t rows, std::int32_t x, std::int32_t y,
                          hit_lists& lists) {
    lists.partials = lists.singles = lists.fours = lists.sixteens = 0;
    const offset_table& offsets = *frame.offsets;
    const std::int32_t first_dx =
        std::max(-offsets.columns, window.first_column - x);
    const std::int32_t last_dx = std::min(offsets.columns, window.last_column - x - 1);
    for (std::int32_t row = 0; row < rows; ++row) {
        const std::int32_t dy = first_row + row - y;
        if (dy < -offsets.reach || dy > offsets.reach + TILE_ROWS - 1) continue;
        const float* most = window.at(row, source_window::MAX_REACH) - window.first_column + x;
        const float* least = window.at(row, source_window::MIN_REACH) - window.first_column + x;
        for (std::int32_t dx = first_dx; dx <= last_dx; dx += TILE_COLUMNS) {
            const std::ptrdiff_t offset = offsets.index(dx, dy);
            std::uint32_t hits =
                bits_of(most + dx, offsets.miss.data() + offset,
                        [](vector a, vector b) HWY_ATTR { return hn::Gt(a, b); });
            if (hits == 0) continue;
            const hit first = {
                static_cast<std::int32_t>(row * block.row_stride) + x + dx,
                static_cast<std::int32_t>(row * window.row_stride) + x + dx - window.first_column,
                static_cast<std::int32_t>(offset)};
            if (frame.form == closed_form::FLAT) {
                const std::uint32_t full =
                    bits_of(least + dx, offsets.full.data() + offset,
                            [](vector a, vector b) HWY_ATTR { return hn::Ge(a, b); });
                if (full != 0) add_full_hits(full, first, lists);
                hits &= ~full;
            }
            for (; hits != 0; hits &= hits - 1) {
                const std::int32_t i = lowest_bit(hits);
                lists.partial[lists.partials++] = {first.source + i, first.window + i,
                                                   first.offset + i};
            }
        }
    }
}

// Disk and Polygon.
struct flat_rule {
    const float* factor;
    const float* start;
    std::ptrdiff_t stride;

    struct source {
        vector radius;
    };
    HWY_INLINE source load(const float* at, std::ptrdiff_t /*plane_stride*/) const {
        const vector_tag tag;
        return {hn::LoadU(tag, at)};
    }
    HWY_INLINE vector weight(const source& s, const hit& h, std::int32_t row) const {
        const vector_tag tag;
        const std::ptrdiff_t i = h.offset - row * stride;
        const vector value =
            hn::MulAdd(s.radius, hn::Set(tag, factor[i]), hn::Set(tag, start[i]));
        return hn::Min(hn::Max(value, hn::Zero(tag)), hn::Set(tag, 1.0F));
    }
};

// Adds the hits to SUM_ROWS rows of LANES columns, all sums in registers. A function of
// its own, since only so the compiler keeps them there.
template <class Rule>
HWY_NOINLINE void add_weighted_hits(const Rule& rule, const block_view& block,
                                    const hit* hits, std::int32_t count,
                                    std::int32_t first_row, std::int32_t column,
                                    tile_sums& sums) {
    const vector_tag tag;
    const std::ptrdiff_t plane = block.plane_stride;
    vector sum[SUM_ROWS][SUMS];
    for (std::int32_t row = 0; row < SUM_ROWS; ++row) {
        for (std::int32_t q = 0; q < SUMS; ++q) {
            sum[row][q] = hn::Load(tag, sums.rows[first_row + row][q] + column);
        }
    }
    for (const hit* h = hits; h != hits + count; ++h) {
        const float* at = block.source + h->source + column;
        const auto source = rule.load(at, plane);
        const vector weight = hn::LoadU(tag, at + plane * source_planes::WEIGHT);
        const vector red = hn::LoadU(tag, at + plane * source_planes::RED);
        const vector green = hn::LoadU(tag, at + plane * source_planes::GREEN);
        const vector blue = hn::LoadU(tag, at + plane * source_planes::BLUE);
        const vector alpha = hn::LoadU(tag, at + plane * source_planes::ALPHA);
        for (std::int32_t row = 0; row < SUM_ROWS; ++row) {
            const vector value = rule.weight(source, *h, first_row + row);
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

// Adds entries of the planes, or of the sums over several columns, to all rows alike.
HWY_INLINE void add_full_hits_of(const float* base, std::ptrdiff_t stride, const hit* hits,
                                 std::int32_t count, std::int32_t hit::*where,
                                 std::int32_t column, vector* sum) {
    const vector_tag tag;
    for (const hit* h = hits; h != hits + count; ++h) {
        const float* at = base + h->*where + column;
        for (std::int32_t q = 0; q < SUMS; ++q) {
            sum[q] = hn::Add(sum[q], hn::LoadU(tag, at + q * stride));
        }
    }
}

HWY_NOINLINE void add_full_lists(const block_view& block, const source_window& window,
                                 const hit_lists& lists, tile_sums& sums) {
    const vector_tag tag;
    for (std::int32_t column = 0; column < TILE_COLUMNS; column += LANES) {
        vector sum[SUMS];
        for (std::int32_t q = 0; q < SUMS; ++q) {
            sum[q] = hn::Load(tag, sums.common[q] + column);
        }
        add_full_hits_of(window.at(0, source_window::SUM_16), window.part_stride,
                         lists.sixteen.get(), lists.sixteens, &hit::window, column, sum);
        add_full_hits_of(window.at(0, source_window::SUM_4), window.part_stride,
                         lists.four.get(), lists.fours, &hit::window, column, sum);
        add_full_hits_of(block.source + block.plane_stride * source_planes::WEIGHT,
                         block.plane_stride, lists.single.get(), lists.singles,
                         &hit::source, column, sum);
        for (std::int32_t q = 0; q < SUMS; ++q) {
            hn::Store(sum[q], tag, sums.common[q] + column);
        }
    }
}

template <class Rule>
HWY_INLINE void add_partial_list(const Rule& rule, const block_view& block,
                                 const hit_lists& lists, tile_sums& sums) {
    for (std::int32_t row = 0; row < TILE_ROWS; row += SUM_ROWS) {
        for (std::int32_t column = 0; column < TILE_COLUMNS; column += LANES) {
            add_weighted_hits(rule, block, lists.partial.get(), lists.partials, row,
                              column, sums);
        }
    }
}

// The columns of blocks in block row `row` that may reach the macro tile, as a range of
// columns of pixels; empty when none does.
struct column_range {
    std::int32_t first;
    std::int32_t last;  // beyond the last
};
column_range columns_that_reach(const gather_frame& frame, std::int32_t block_row,
                                std::int32_t x, std::int32_t y) {
    const auto gap = [](std::int32_t a, std::int32_t a_size, std::int32_t b,
                        std::int32_t b_size) {
        return std::max({0, b - (a + a_size - 1), a - (b + b_size - 1)});
    };
    column_range range = {0, 0};
    const std::int32_t dy = gap(y, MACRO_ROWS, block_row * BLOCK_ROWS, BLOCK_ROWS);
    for (std::int32_t block = 0; block < frame.maxima->columns; ++block) {
        const std::int32_t dx =
            gap(x, MACRO_COLUMNS, block * BLOCK_COLUMNS, BLOCK_COLUMNS);
        const auto distance = static_cast<float>(std::max(dx, dy));
        if (!(distance < frame.maxima->at(block, block_row) + 1.0F)) continue;
        if (range.last == 0) range.first = block * BLOCK_COLUMNS;
        range.last = (block + 1) * BLOCK_COLUMNS;
    }
    return range;
}

void gather(const gather_frame& frame, std::int32_t x, std::int32_t y, tile_sums* sums) {
    const source_planes& planes = *frame.planes;
    const offset_table& offsets = *frame.offsets;
    // the widest window, and what vectors touch beyond it
    const std::int32_t most_columns =
        MACRO_COLUMNS + 2 * offsets.columns + 2 * BLOCK_COLUMNS + 4 * TILE_COLUMNS;
    source_window window{};
    window.part_stride = most_columns + TILE_COLUMNS;
    window.row_stride = source_window::PARTS * window.part_stride;
    const std::unique_ptr<float[]> storage(
        new float[static_cast<std::size_t>(BLOCK_ROWS * window.row_stride)]);
    window.data = storage.get();
    hit_lists lists(BLOCK_ROWS * (2 * offsets.columns + TILE_COLUMNS));

    for (std::int32_t block_row = 0; block_row < frame.maxima->rows; ++block_row) {
        const column_range range = columns_that_reach(frame, block_row, x, y);
        if (range.last <= range.first) continue;
        const std::int32_t first_row = block_row * BLOCK_ROWS;
        const std::int32_t rows = std::min(BLOCK_ROWS, planes.height() - first_row);
        const block_view block = {planes.row(first_row, source_planes::SHAPE),
                                  planes.plane_stride(), planes.row_stride()};
        window.first_column = std::max(range.first - TILE_COLUMNS, x - offsets.columns);
        window.last_column =
            std::min(range.last, x + MACRO_COLUMNS + offsets.columns + TILE_COLUMNS);
        fill_window(frame, block, rows, window);

        tile_sums* tile = sums;
        for (std::int32_t ty = y; ty < y + MACRO_ROWS; ty += TILE_ROWS) {
            for (std::int32_t tx = x; tx < x + MACRO_COLUMNS; tx += TILE_COLUMNS, ++tile) {
                find_hits(frame, block, window, first_row, rows, tx, ty, lists);
                add_full_lists(block, window, lists, *tile);
                const flat_rule rule = {offsets.factor.data(), offsets.start.data(),
                                        offsets.stride};
                add_partial_list(rule, block, lists, *tile);
            }
        }
    }
}

}  // namespace
}  // namespace HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
