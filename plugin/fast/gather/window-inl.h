// What the gather works out for a block of source rows before it looks at tiles; included
// once for each kind of vectors.

#if defined(FOCUSFALL_FAST_WINDOW_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef FOCUSFALL_FAST_WINDOW_INL_H_
#undef FOCUSFALL_FAST_WINDOW_INL_H_
#else
#define FOCUSFALL_FAST_WINDOW_INL_H_
#endif

#include <algorithm>
#include <cstdlib>
#include <memory>

#include <hwy/highway.h>

#include "plugin/fast/gather/gather.h"

HWY_BEFORE_NAMESPACE();
namespace HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;
// as many lanes as a tile has columns, or a part of that
using vector_tag = hn::CappedTag<float, TILE_COLUMNS>;
using vector = hn::Vec<vector_tag>;
constexpr std::int32_t LANES = static_cast<std::int32_t>(hn::MaxLanes(vector_tag()));

// The sources of a block and a layer that matter to the macro tile, and what is worked
// out for them, part by part and in each part row by row; row BLOCK_ROWS is about all
// rows at once.
struct source_window {
    enum parts : std::int32_t {
        // the planes of the sources stand first, in their order
        MAX_REACH = source_planes::PLANES,  // over 16 pixels from here on
        MIN_REACH,
        SUM_4,  // of the quantities, over 4 pixels from here on
        SUM_16 = SUM_4 + SUMS,
        // GAUSSIAN, LAPLACIAN: what the weights are products of, for a tile's rows
        ROW_FACTORS = SUM_16 + SUMS,
        SECOND_ROW_FACTORS = ROW_FACTORS + TILE_ROWS,
        PARTS = SECOND_ROW_FACTORS + TILE_ROWS,
    };
    std::int32_t macro_column;  // the macro tile's first
    std::int32_t first_column;
    std::int32_t last_column;  // beyond the last
    std::int32_t first_row;    // the block's
    std::int32_t rows;         // at most BLOCK_ROWS
    std::int32_t part_stride;
    std::int32_t row_stride;  // the offset table's too
    float* data;
    float row_reach[BLOCK_ROWS];  // the largest of a row
    float largest_reach;
    bool with_groups;  // MIN_REACH of all rows and SUM_16 are filled

    // By dx and, in the macro tile, by column of the output.
    float* column_factors;  // of dx 0
    std::ptrdiff_t second_column_factors;

    // The part with that plane of the sources.
    static constexpr std::int32_t source(source_planes::plane p) { return p; }
    std::int32_t columns() const { return last_column - first_column; }
    // Where a row of a part lies, as a number of floats.
    std::int32_t place(std::int32_t row, std::int32_t part) const {
        return row * row_stride + part * part_stride;
    }
    float* at(std::int32_t row, std::int32_t part) const {
        return data + place(row, part);
    }
};

constexpr source_planes::plane PLANE_OF_SUM[] = {
    source_planes::WEIGHT, source_planes::RED, source_planes::GREEN, source_planes::BLUE,
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
HWY_INLINE void pick_over_16(const float* from, float* to, std::int32_t count,
                             Pick pick) {
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
        const vector second =
            hn::Add(hn::LoadU(tag, from + i + std::ptrdiff_t{2} * step),
                    hn::LoadU(tag, from + i + std::ptrdiff_t{3} * step));
        hn::StoreU(hn::Add(first, second), tag, to + i);
    }
}

// The largest of `count` entries, a multiple of TILE_COLUMNS.
HWY_INLINE float largest(const float* entries, std::int32_t count) {
    const vector_tag tag;
    vector most = hn::LoadU(tag, entries);
    for (std::int32_t i = LANES; i < count; i += LANES) {
        most = hn::Max(most, hn::LoadU(tag, entries + i));
    }
    return hn::GetLane(hn::MaxOfLanes(tag, most));
}

// `to` = `from` where `reach` tells of a source, else 0.
HWY_INLINE void copy_where_reach(const float* reach, const float* from, float* to,
                                 std::int32_t count) {
    const vector_tag tag;
    for (std::int32_t i = 0; i < count; i += LANES) {
        const auto source = hn::Gt(hn::LoadU(tag, reach + i), hn::Set(tag, NO_REACH));
        hn::StoreU(hn::IfThenElseZero(source, hn::LoadU(tag, from + i)), tag, to + i);
    }
}

// `to` = the reaches in `from` that are of the layer, else NO_REACH.
HWY_INLINE void copy_layer(const reach_layers& layers, std::int32_t layer,
                           const float* from, float* to, std::int32_t count) {
    const vector_tag tag;
    const vector least = hn::Set(tag, layers.from(layer));
    const vector end = hn::Set(tag, layers.to(layer));
    for (std::int32_t i = 0; i < count; i += LANES) {
        const vector reach = hn::LoadU(tag, from + i);
        const auto inside = hn::And(hn::Ge(reach, least), hn::Lt(reach, end));
        hn::StoreU(hn::IfThenElse(inside, reach, hn::Set(tag, NO_REACH)), tag, to + i);
    }
}

// Copies the block's sources; of several layers those of one alone.
template <std::int32_t QUANTITIES>
HWY_NOINLINE void copy_sources(const gather_frame& frame, std::int32_t layer,
                               const source_window& window) {
    const reach_layers& layers = frame.blocks->layers;
    // what vectors read beside the columns too
    const std::int32_t count = window.columns() + 2 * TILE_COLUMNS;
    for (std::int32_t row = 0; row < window.rows; ++row) {
        const auto plane = [&](source_planes::plane p) {
            return frame.planes->row(window.first_row + row, p) + window.first_column;
        };
        const auto copy = [&](source_planes::plane p) {
            return window.at(row, source_window::source(p));
        };
        float* const shape = copy(source_planes::SHAPE);
        if (layers.count > 1) {
            copy_layer(layers, layer, plane(source_planes::SHAPE), shape, count);
            for (std::int32_t q = 0; q < QUANTITIES; ++q) {
                copy_where_reach(shape, plane(PLANE_OF_SUM[q]), copy(PLANE_OF_SUM[q]),
                                 count);
            }
            continue;
        }
        std::copy_n(plane(source_planes::SHAPE), count, shape);
        if (frame.form != closed_form::FLAT) {
            std::copy_n(plane(source_planes::SECOND), count, copy(source_planes::SECOND));
        }
        for (std::int32_t q = 0; q < QUANTITIES; ++q) {
            std::copy_n(plane(PLANE_OF_SUM[q]), count, copy(PLANE_OF_SUM[q]));
        }
    }
}

template <std::int32_t QUANTITIES>
HWY_NOINLINE void fill_window(const gather_frame& frame, source_window& window) {
    const auto reach_plane =
        is_edged(frame.form) ? source_planes::SHAPE : source_planes::SECOND;
    const std::int32_t count = window.columns();
    window.largest_reach = NO_REACH;
    for (std::int32_t row = 0; row < window.rows; ++row) {
        const float* reach = window.at(row, source_window::source(reach_plane));
        pick_over_16(reach, window.at(row, source_window::MAX_REACH), count,
                     [](vector a, vector b) HWY_ATTR { return hn::Max(a, b); });
        window.row_reach[row] = largest(window.at(row, source_window::MAX_REACH), count);
        window.largest_reach = std::max(window.largest_reach, window.row_reach[row]);
        if (!frame.with_sums) continue;
        // NO_REACH is no obstacle: such a source adds 0 everywhere
        pick_over_16(reach, window.at(row, source_window::MIN_REACH), count,
                     [](vector a, vector b)
                         HWY_ATTR { return hn::Min(hn::Abs(a), hn::Abs(b)); });
        for (std::int32_t q = 0; q < QUANTITIES; ++q) {
            sum_along(window.at(row, source_window::source(PLANE_OF_SUM[q])),
                      window.at(row, source_window::SUM_4 + q), 1, count + 12);
        }
    }
    // offsets of a group go from a multiple of TILE_COLUMNS to before the next one
    constexpr float GROUP_REACH = TILE_COLUMNS - 1;
    window.with_groups = frame.with_sums && window.largest_reach >= GROUP_REACH;
    if (!window.with_groups) return;
    for (std::int32_t row = 0; row < window.rows; ++row) {
        for (std::int32_t q = 0; q < QUANTITIES; ++q) {
            sum_along(window.at(row, source_window::SUM_4 + q),
                      window.at(row, source_window::SUM_16 + q), 4, count);
        }
    }
}

// All rows of a part at once: the largest, the smallest or the sum of what stands there.
template <class Join>
HWY_INLINE void join_rows(const source_window& window, std::int32_t part, Join join) {
    const vector_tag tag;
    for (std::int32_t i = 0; i < window.columns(); i += LANES) {
        vector value = hn::LoadU(tag, window.at(0, part) + i);
        for (std::int32_t row = 1; row < window.rows; ++row) {
            value = join(value, hn::LoadU(tag, window.at(row, part) + i));
        }
        hn::StoreU(value, tag, window.at(BLOCK_ROWS, part) + i);
    }
}

template <std::int32_t QUANTITIES>
HWY_NOINLINE void fill_block(const source_window& window) {
    join_rows(window, source_window::MAX_REACH,
              [](vector a, vector b) HWY_ATTR { return hn::Max(a, b); });
    if (!window.with_groups) return;
    join_rows(window, source_window::MIN_REACH,
              [](vector a, vector b) HWY_ATTR { return hn::Min(a, b); });
    for (std::int32_t q = 0; q < QUANTITIES; ++q) {
        join_rows(window, source_window::SUM_16 + q,
                  [](vector a, vector b) HWY_ATTR { return hn::Add(a, b); });
    }
}

constexpr bool has_factors(closed_form form) {
    return form == closed_form::GAUSSIAN || form == closed_form::LAPLACIAN;
}

constexpr float LN_2 = 0.693147181F;

// 2^x for x from -63 to 0, 0 below that: such weights are lost in any sum. A minimax
// polynomial, its largest relative error 2e-9, for the part beside whole powers.
HWY_INLINE vector power_of_2(vector x) {
    const vector_tag tag;
    const auto whole = hn::NearestInt(x);
    const vector rest = hn::Sub(x, hn::ConvertTo(tag, whole));
    vector value = hn::Set(tag, 0.000154614447F);
    for (const float coefficient : {0.001340042818F, 0.009618056679F, 0.05550327227F,
                                    0.2402265092F, 0.6931472067F, 1.0F}) {
        value = hn::MulAdd(value, rest, hn::Set(tag, coefficient));
    }
    const hn::RebindToSigned<vector_tag> integer_tag;
    const vector scaled = hn::BitCast(
        tag, hn::Add(hn::BitCast(integer_tag, value), hn::ShiftLeft<23>(whole)));
    return hn::IfThenElseZero(hn::Ge(x, hn::Set(tag, -63.0F)), scaled);
}

// The factor of a row or column at `distance`, 0 beyond the reach; `scaled` is the
// exponent without its sign.
HWY_INLINE vector falloff(const float* shape, const float* reach, std::int32_t distance,
                          vector& scaled) {
    const vector_tag tag;
    const auto square = static_cast<float>(distance * distance);
    scaled = hn::Mul(hn::LoadU(tag, shape), hn::Set(tag, square));
    const auto inside = hn::Gt(hn::LoadU(tag, reach),
                               hn::Set(tag, static_cast<float>(std::abs(distance))));
    return hn::IfThenElseZero(inside, power_of_2(hn::Neg(scaled)));
}

// Of all dx that the rows' sources reach.
HWY_NOINLINE void fill_column_factors(const gather_frame& frame,
                                      const source_window& window) {
    const vector_tag tag;
    for (std::int32_t row = 0; row < window.rows; ++row) {
        // no number of columns stands for a row without sources
        if (window.row_reach[row] < 0.0F) continue;
        const float* shape = window.at(row, source_window::source(source_planes::SHAPE));
        const float* reach = window.at(row, source_window::source(source_planes::SECOND));
        const auto half = static_cast<std::int32_t>(window.row_reach[row]);
        for (std::int32_t dx = -half; dx <= half; ++dx) {
            float* factor = window.column_factors +
                            std::ptrdiff_t{row * window.row_stride + dx} * MACRO_COLUMNS;
            for (std::int32_t x = 0; x < MACRO_COLUMNS; x += LANES) {
                const std::int32_t at =
                    window.macro_column - window.first_column + x + dx;
                if (at < 0 || at >= window.columns() + TILE_COLUMNS) continue;
                vector scaled;
                const vector value = falloff(shape + at, reach + at, dx, scaled);
                hn::StoreU(value, tag, factor + x);
                if (frame.form == closed_form::GAUSSIAN) continue;
                const vector natural = hn::Mul(scaled, hn::Set(tag, LN_2));
                hn::StoreU(hn::Mul(value, natural), tag,
                           factor + window.second_column_factors + x);
            }
        }
    }
}

// Of the rows of tiles that begin `dy` rows before the block.
HWY_NOINLINE void fill_row_factors(const gather_frame& frame, const source_window& window,
                                   std::int32_t dy) {
    const vector_tag tag;
    const std::int32_t count = window.columns() + TILE_COLUMNS;
    for (std::int32_t row = 0; row < window.rows; ++row) {
        // the nearest row of the tiles
        const std::int32_t gap = std::max({0, -dy - row, dy + row - (TILE_ROWS - 1)});
        if (static_cast<float>(gap) > window.row_reach[row]) continue;
        const float* shape = window.at(row, source_window::source(source_planes::SHAPE));
        const float* reach = window.at(row, source_window::source(source_planes::SECOND));
        for (std::int32_t j = 0; j < TILE_ROWS; ++j) {
            float* factor = window.at(row, source_window::ROW_FACTORS + j);
            float* second = window.at(row, source_window::SECOND_ROW_FACTORS + j);
            for (std::int32_t x = 0; x < count; x += LANES) {
                vector scaled;
                const vector value = falloff(shape + x, reach + x, dy + row - j, scaled);
                if (frame.form == closed_form::GAUSSIAN) {
                    hn::StoreU(value, tag, factor + x);
                    continue;
                }
                const vector slope =
                    hn::NegMulAdd(scaled, hn::Set(tag, LN_2), hn::Set(tag, 1.0F));
                hn::StoreU(hn::Mul(value, slope), tag, factor + x);
                hn::StoreU(hn::Neg(value), tag, second + x);
            }
        }
    }
}

// The memory of the window of one macro tile.
class window_storage {
  public:
    window_storage(const gather_frame& frame, std::int32_t macro_column) {
        const bool factors = has_factors(frame.form);
        window_.macro_column = macro_column;
        window_.row_stride = frame.offsets->stride;
        window_.part_stride = (BLOCK_ROWS + 1) * window_.row_stride;
        window_.second_column_factors =
            factors ? std::ptrdiff_t{BLOCK_ROWS} * window_.row_stride * MACRO_COLUMNS : 0;

        const std::ptrdiff_t parts =
            std::ptrdiff_t{source_window::PARTS} * window_.part_stride;
        const std::ptrdiff_t all = parts + 2 * window_.second_column_factors;
        // not initialised: most frames touch a part only
        memory_.reset(new float[static_cast<std::size_t>(all)]);
        window_.data = memory_.get();
        window_.column_factors = memory_.get() + parts +
                                 std::ptrdiff_t{frame.offsets->columns} * MACRO_COLUMNS;
    }
    const source_window& window() const { return window_; }

  private:
    source_window window_{};
    std::unique_ptr<float[]> memory_;
};

}  // namespace
}  // namespace HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
