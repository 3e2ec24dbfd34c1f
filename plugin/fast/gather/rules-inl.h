// How much a source weighs at an offset, one rule a closed form; included once for each
// kind of vectors. Here too is how the gather sees a block of sources.
//
// A rule has load, for what is the same in all rows of a tile, and weight.

#if defined(FOCUSFALL_FAST_RULES_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef FOCUSFALL_FAST_RULES_INL_H_
#undef FOCUSFALL_FAST_RULES_INL_H_
#else
#define FOCUSFALL_FAST_RULES_INL_H_
#endif

#include <cstdlib>
#include <iterator>

#include <hwy/highway.h>

#include "plugin/fast/gather/gather.h"
#include "plugin/fast/gather/window-inl.h"

HWY_BEFORE_NAMESPACE();
namespace HWY_NAMESPACE {
namespace {

// A source beside a register tile.
struct hit {
    std::int32_t code;    // its row in the block * the window's row stride + its dx
    std::int32_t column;  // of the output pixel in the tile
};

// A block of source rows as a register tile sees it: where the data for dx 0, the block's
// first row and the tile's first column and row lie.
struct tile_view {
    const float* window;          // first part
    const float* column_factors;  // MACRO_COLUMNS from dx to dx
    std::ptrdiff_t offset;        // in the offset table
    std::ptrdiff_t part_stride;   // of the window

    HWY_INLINE vector load(std::int32_t part, const hit& h) const {
        return hn::LoadU(vector_tag(), window + part * part_stride + h.code + h.column);
    }
    HWY_INLINE const float* at_column_factor(const hit& h) const {
        return column_factors + std::ptrdiff_t{h.code} * MACRO_COLUMNS + h.column;
    }
    // In the table, seen from a row of the tile.
    HWY_INLINE std::ptrdiff_t at_offset(const hit& h, const offset_table& offsets,
                                        std::int32_t row) const {
        return offset + h.code - row * std::ptrdiff_t{offsets.stride};
    }
};

// What needs SHAPE alone, and the offset.
struct shape_rule {
    const offset_table& offsets;

    using source = vector;
    HWY_INLINE source load(const tile_view& view, const hit& h) const {
        return view.load(source_window::source(source_planes::SHAPE), h);
    }
};

// Disk and Polygon.
struct flat_rule : shape_rule {
    HWY_INLINE vector weight(source radius, const tile_view& view, const hit& h,
                             std::int32_t row) const {
        const vector_tag tag;
        const std::ptrdiff_t i = view.at_offset(h, offsets, row);
        const vector value = hn::MulAdd(radius, hn::Set(tag, offsets.factor.data()[i]),
                                        hn::Set(tag, offsets.start.data()[i]));
        return hn::Min(hn::Max(value, hn::Zero(tag)), hn::Set(tag, 1.0F));
    }
};

// The same, brighter towards the rim.
struct rim_rule {
    flat_rule flat;
    float rim;

    struct source {
        flat_rule::source flat;
        vector fourth_power;  // of 1 / radius
    };
    HWY_INLINE source load(const tile_view& view, const hit& h) const {
        return {flat.load(view, h),
                view.load(source_window::source(source_planes::SECOND), h)};
    }
    HWY_INLINE vector weight(const source& s, const tile_view& view, const hit& h,
                             std::int32_t row) const {
        const vector_tag tag;
        const std::ptrdiff_t i = view.at_offset(h, flat.offsets, row);
        const vector coverage = flat.weight(s.flat, view, h, row);
        const vector distance =
            hn::Mul(s.fourth_power, hn::Set(tag, flat.offsets.fourth.data()[i]));
        const vector boost =
            hn::Mul(hn::Min(distance, hn::Set(tag, 1.0F)), hn::Set(tag, rim));
        return hn::MulAdd(coverage, boost, coverage);
    }
};

// A product of a factor of the column and one of the row.
struct gaussian_rule {
    struct source {
        vector column_factor;
    };
    HWY_INLINE source load(const tile_view& view, const hit& h) const {
        const float* factor = view.at_column_factor(h);
        return {hn::LoadU(vector_tag(), factor)};
    }
    HWY_INLINE vector weight(const source& s, const tile_view& view, const hit& h,
                             std::int32_t row) const {
        return hn::Mul(s.column_factor, view.load(source_window::ROW_FACTORS + row, h));
    }
};

// 2^-(tx + ty) * (1 - (tx + ty) * ln 2) as a sum of two such products. The second factors
// lie behind all the first ones.
struct laplacian_rule {
    std::ptrdiff_t second_column_factors;

    struct source {
        vector column_factor;
        vector scaled_factor;
    };
    HWY_INLINE source load(const tile_view& view, const hit& h) const {
        const float* factor = view.at_column_factor(h);
        return {hn::LoadU(vector_tag(), factor),
                hn::LoadU(vector_tag(), factor + second_column_factors)};
    }
    HWY_INLINE vector weight(const source& s, const tile_view& view, const hit& h,
                             std::int32_t row) const {
        return hn::MulAdd(s.column_factor, view.load(source_window::ROW_FACTORS + row, h),
                          hn::Mul(s.scaled_factor,
                                  view.load(source_window::SECOND_ROW_FACTORS + row, h)));
    }
};

// The squared polynomial; beyond its end, where it is 0, it is not followed.
struct airy_rule : shape_rule {
    HWY_INLINE vector weight(source shape, const tile_view& view, const hit& h,
                             std::int32_t row) const {
        const vector_tag tag;
        const std::ptrdiff_t i = view.at_offset(h, offsets, row);
        const vector one = hn::Set(tag, 1.0F);
        const vector t =
            hn::Min(hn::MulSub(shape, hn::Set(tag, offsets.factor.data()[i]), one), one);
        vector value = hn::Set(tag, static_cast<float>(AIRY_PATTERN[0]));
        for (std::size_t power = 1; power < std::size(AIRY_PATTERN); ++power) {
            const auto coefficient = static_cast<float>(AIRY_PATTERN[power]);
            value = hn::MulAdd(value, t, hn::Set(tag, coefficient));
        }
        return hn::Mul(value, value);
    }
};

}  // namespace
}  // namespace HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
