// Adds the covered sources of a window to the sums of a register tile; included once for
// each kind of vectors. Nearly all time of a frame is spent here.

#if defined(FOCUSFALL_GATHER_SUMS_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef FOCUSFALL_GATHER_SUMS_INL_H_
#undef FOCUSFALL_GATHER_SUMS_INL_H_
#else
#define FOCUSFALL_GATHER_SUMS_INL_H_
#endif

#include <hwy/highway.h>

#include "plugin/fast/gather/covered_offsets-inl.h"
#include "plugin/fast/gather/gather.h"
#include "plugin/fast/gather/vectors-inl.h"
#include "plugin/fast/gather/window-inl.h"
#include "plugin/fast/gather/window_fill-inl.h"

HWY_BEFORE_NAMESPACE();
namespace gather {
namespace HWY_NAMESPACE {
namespace {

// Rows whose sums fit the registers, of which there are 32 with 512-bit vectors, else 16.
constexpr std::int32_t SUM_ROWS = LANES == TILE_COLUMNS ? TILE_ROWS : 2;

// Adds the listed sources, weighted by the rule, to SUM_ROWS rows of LANES columns, with
// all sums in registers. A function of its own, since the compiler keeps them there only
// so.
template <std::int32_t COUNT, class Rule>
HWY_NOINLINE void add_weighted(const Rule& rule, const tile_view& view,
                               const offset_list& offsets, std::int32_t first_row,
                               std::int32_t column, tile_sums& sums) {
    const vector_tag tag;
    vector sum[SUM_ROWS][COUNT];
    for (std::int32_t row = 0; row < SUM_ROWS; ++row) {
        for (std::int32_t q = 0; q < COUNT; ++q) {
            sum[row][q] = hn::Load(tag, sums.rows[first_row + row][q] + column);
        }
    }
    for (const source_offset offset : offsets) {
        const lane_step step = {offset, column};
        const auto source = rule.load(view, step);
        vector quantity[COUNT];
        for (std::int32_t q = 0; q < COUNT; ++q) {
            quantity[q] = view.load(plane_of(q), step);
        }
        for (std::int32_t row = 0; row < SUM_ROWS; ++row) {
            const vector weight = rule.weight(source, view, step, first_row + row);
            for (std::int32_t q = 0; q < COUNT; ++q) {
                sum[row][q] = hn::MulAdd(weight, quantity[q], sum[row][q]);
            }
        }
    }
    for (std::int32_t row = 0; row < SUM_ROWS; ++row) {
        for (std::int32_t q = 0; q < COUNT; ++q) {
            hn::Store(sum[row][q], tag, sums.rows[first_row + row][q] + column);
        }
    }
}

// Adds the partly covered sources to the tile.
template <std::int32_t COUNT, class Rule>
HWY_INLINE void add_partly_covered(const Rule& rule, const tile_view& view,
                                   const offset_list& offsets, tile_sums& sums) {
    if (offsets.empty()) return;
    for (std::int32_t row = 0; row < TILE_ROWS; row += SUM_ROWS) {
        for (std::int32_t column = 0; column < TILE_COLUMNS; column += LANES) {
            add_weighted<COUNT>(rule, view, offsets, row, column, sums);
        }
    }
}

// Adds the sources, or sums of sources, at the listed places to all rows of the tile.
template <std::int32_t COUNT>
HWY_NOINLINE void add_fully_covered(const tile_view& view, const offset_list& places,
                                    tile_sums& sums) {
    const vector_tag tag;
    if (places.empty()) return;
    for (std::int32_t column = 0; column < TILE_COLUMNS; column += LANES) {
        vector sum[COUNT];
        for (std::int32_t q = 0; q < COUNT; ++q) {
            sum[q] = hn::Load(tag, sums.common[q] + column);
        }
        for (const std::int32_t place : places) {
            for (std::int32_t q = 0; q < COUNT; ++q) {
                // a place is that of the first quantity; the others follow part by part
                sum[q] = hn::Add(sum[q], view.load(q, {place, column}));
            }
        }
        for (std::int32_t q = 0; q < COUNT; ++q) {
            hn::Store(sum[q], tag, sums.common[q] + column);
        }
    }
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace gather
HWY_AFTER_NAMESPACE();

#endif
