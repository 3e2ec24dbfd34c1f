// The factors whose products are the weights of GAUSSIAN and LAPLACIAN; included once for
// each kind of vectors.
//
// Both follow from 2^-t with t = SHAPE * (dx^2 + dy^2), which is 2^-tx * 2^-ty with
// tx = SHAPE * dx^2 and ty = SHAPE * dy^2. The factors of dx are made once for the
// columns of a macro tile, those of dy once for a row of its register tiles.

#if defined(FOCUSFALL_GATHER_FALLOFF_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef FOCUSFALL_GATHER_FALLOFF_INL_H_
#undef FOCUSFALL_GATHER_FALLOFF_INL_H_
#else
#define FOCUSFALL_GATHER_FALLOFF_INL_H_
#endif

#include <algorithm>
#include <cstdlib>

#include <hwy/highway.h>

#include "plugin/fast/gather/gather.h"
#include "plugin/fast/gather/power_of_2-inl.h"
#include "plugin/fast/gather/vectors-inl.h"
#include "plugin/fast/gather/window-inl.h"

HWY_BEFORE_NAMESPACE();
namespace gather {
namespace HWY_NAMESPACE {
namespace {

// 2^-t with t = shape * distance^2 for LANES sources; 0 where the magnitude of
// `distance`, in pixels along one axis, is not below the source's reach. Also gives `t`.
HWY_INLINE vector falloff(const float* shape, const float* reach, std::int32_t distance,
                          vector& t) {
    const vector_tag tag;
    const auto square = static_cast<float>(distance * distance);
    t = hn::Mul(hn::LoadU(tag, shape), hn::Set(tag, square));
    const auto inside = hn::Gt(hn::LoadU(tag, reach),
                               hn::Set(tag, static_cast<float>(std::abs(distance))));
    return hn::IfThenElseZero(inside, power_of_2(hn::Neg(t)));
}

// Fills the column factors of one row of the window at offset `dx`, one for each column
// of the macro tile: 2^-tx, and for LAPLACIAN, behind all of those, 2^-tx * tx * ln 2.
HWY_INLINE void fill_column_factors_at(const gather_frame& frame,
                                       const source_window& window, std::int32_t row,
                                       std::int32_t dx) {
    const vector_tag tag;
    const float* shape = window.at(row, source_planes::SHAPE);
    const float* reach = window.at(row, source_planes::REACH);
    const source_offset offset = row * window.row_stride + dx;
    float* factor = window.column_factors + std::ptrdiff_t{offset} * MACRO_COLUMNS;
    for (std::int32_t x = 0; x < MACRO_COLUMNS; x += LANES) {
        const std::int32_t source = window.macro_column - window.first_column + x + dx;
        if (source < 0 || source >= window.columns() + TILE_COLUMNS) continue;
        vector t;
        const vector value = falloff(shape + source, reach + source, dx, t);
        hn::StoreU(value, tag, factor + x);
        if (frame.form == closed_form::GAUSSIAN) continue;
        const vector natural = hn::Mul(t, hn::Set(tag, LN_2));
        hn::StoreU(hn::Mul(value, natural), tag,
                   factor + window.second_column_factors + x);
    }
}

// Fills the column factors of the window, for all dx that its sources reach.
HWY_NOINLINE void fill_column_factors(const gather_frame& frame,
                                      const source_window& window) {
    for (std::int32_t row = 0; row < window.rows; ++row) {
        // NO_REACH: the row has no sources
        if (window.row_reach[row] < 0.0F) continue;
        const auto half = static_cast<std::int32_t>(window.row_reach[row]);
        for (std::int32_t dx = -half; dx <= half; ++dx) {
            fill_column_factors_at(frame, window, row, dx);
        }
    }
}

// Fills the row factors of the window for the register tiles that begin `dy` rows above
// it: 2^-ty, or for LAPLACIAN 2^-ty * (1 - ty * ln 2) and -2^-ty, with ty of each of a
// tile's rows.
HWY_NOINLINE void fill_row_factors(const gather_frame& frame, const source_window& window,
                                   std::int32_t dy) {
    const vector_tag tag;
    const std::int32_t count = window.columns() + TILE_COLUMNS;
    for (std::int32_t row = 0; row < window.rows; ++row) {
        // rows from this one to the nearest of the tiles
        const std::int32_t gap = std::max({0, -dy - row, dy + row - (TILE_ROWS - 1)});
        if (static_cast<float>(gap) > window.row_reach[row]) continue;
        const float* shape = window.at(row, source_planes::SHAPE);
        const float* reach = window.at(row, source_planes::REACH);
        for (std::int32_t j = 0; j < TILE_ROWS; ++j) {
            float* factor = window.at(row, source_window::ROW_FACTORS + j);
            float* second = window.at(row, source_window::SECOND_ROW_FACTORS + j);
            for (std::int32_t x = 0; x < count; x += LANES) {
                vector t;
                const vector value = falloff(shape + x, reach + x, dy + row - j, t);
                if (frame.form == closed_form::GAUSSIAN) {
                    hn::StoreU(value, tag, factor + x);
                    continue;
                }
                const vector slope =
                    hn::NegMulAdd(t, hn::Set(tag, LN_2), hn::Set(tag, 1.0F));
                hn::StoreU(hn::Mul(value, slope), tag, factor + x);
                hn::StoreU(hn::Neg(value), tag, second + x);
            }
        }
    }
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace gather
HWY_AFTER_NAMESPACE();

#endif
