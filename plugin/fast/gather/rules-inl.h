// How much a source weighs at an offset, one rule for each closed form; included once for
// each kind of vectors.
//
// A rule has `load`, for what is the same in all rows of a tile, and `weight`, which
// gives the weights of LANES sources in one row of the tile before they are divided by
// the sum of their kernels.

#if defined(FOCUSFALL_GATHER_RULES_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef FOCUSFALL_GATHER_RULES_INL_H_
#undef FOCUSFALL_GATHER_RULES_INL_H_
#else
#define FOCUSFALL_GATHER_RULES_INL_H_
#endif

#include <cstddef>
#include <cstdint>
#include <iterator>

#include <hwy/highway.h>

#include "plugin/fast/gather/gather.h"
#include "plugin/fast/gather/vectors-inl.h"
#include "plugin/fast/gather/window-inl.h"

HWY_BEFORE_NAMESPACE();
namespace gather {
namespace HWY_NAMESPACE {
namespace {

// Disk and Polygon: 1 up to the edge, then a ramp one pixel wide.
struct edge_rule {
    const offset_table& offsets;

    using source = vector;  // radius, pixels
    HWY_INLINE source load(const tile_view& view, const lane_step& step) const {
        return view.load(source_planes::SHAPE, step);
    }
    HWY_INLINE vector weight(source radius, const tile_view& view, const lane_step& step,
                             std::int32_t row) const {
        const vector_tag tag;
        const std::ptrdiff_t i = view.at_table(step, offsets, row);
        const vector value =
            hn::MulAdd(radius, hn::Set(tag, offsets.edge_factor.data()[i]),
                       hn::Set(tag, offsets.edge_start.data()[i]));
        return hn::Min(hn::Max(value, hn::Zero(tag)), hn::Set(tag, 1.0F));
    }
};

// The same with "Bad Bokeh": brighter towards the edge, where it is 1 + rim.
struct edge_with_rim_rule {
    edge_rule edge;
    float rim;

    struct source {
        edge_rule::source radius;
        vector inverse_fourth;  // 1 / radius^4
    };
    HWY_INLINE source load(const tile_view& view, const lane_step& step) const {
        return {edge.load(view, step), view.load(source_planes::INVERSE_FOURTH, step)};
    }
    HWY_INLINE vector weight(const source& s, const tile_view& view,
                             const lane_step& step, std::int32_t row) const {
        const vector_tag tag;
        const std::ptrdiff_t i = view.at_table(step, edge.offsets, row);
        const vector coverage = edge.weight(s.radius, view, step, row);
        // (d / (radius * e))^4, 1 at the edge
        const vector fourth =
            hn::Mul(s.inverse_fourth, hn::Set(tag, edge.offsets.fourth_power.data()[i]));
        const vector boost =
            hn::Mul(hn::Min(fourth, hn::Set(tag, 1.0F)), hn::Set(tag, rim));
        return hn::MulAdd(coverage, boost, coverage);
    }
};

// A product of a column factor and a row factor: 2^-tx * 2^-ty, as in falloff-inl.h.
struct gaussian_rule {
    using source = vector;  // column factor
    HWY_INLINE source load(const tile_view& view, const lane_step& step) const {
        return hn::LoadU(vector_tag(), view.at_column_factor(step));
    }
    HWY_INLINE vector weight(source factor, const tile_view& view, const lane_step& step,
                             std::int32_t row) const {
        return hn::Mul(factor, view.load(source_window::ROW_FACTORS + row, step));
    }
};

// 2^-(tx + ty) * (1 - (tx + ty) * ln 2), as a sum of two products of a column factor and
// a row factor: 2^-tx * (2^-ty * (1 - ty * ln 2)) + (2^-tx * tx * ln 2) * -2^-ty.
struct laplacian_rule {
    std::ptrdiff_t second_column_factors;  // floats from the first ones

    struct source {
        vector factor;
        vector second_factor;
    };
    HWY_INLINE source load(const tile_view& view, const lane_step& step) const {
        const float* factor = view.at_column_factor(step);
        return {hn::LoadU(vector_tag(), factor),
                hn::LoadU(vector_tag(), factor + second_column_factors)};
    }
    HWY_INLINE vector weight(const source& s, const tile_view& view,
                             const lane_step& step, std::int32_t row) const {
        return hn::MulAdd(
            s.factor, view.load(source_window::ROW_FACTORS + row, step),
            hn::Mul(s.second_factor,
                    view.load(source_window::SECOND_ROW_FACTORS + row, step)));
    }
};

// The squared pattern as a polynomial, which holds up to the third dark ring. From there
// on the weight is exactly 0: near a very bright source even a tiny weight would show.
struct airy_rule {
    const offset_table& offsets;

    struct source {
        vector shape;
        vector reach;  // pixels to the third dark ring
    };
    HWY_INLINE source load(const tile_view& view, const lane_step& step) const {
        return {view.load(source_planes::SHAPE, step),
                view.load(source_planes::REACH, step)};
    }
    HWY_INLINE vector weight(const source& s, const tile_view& view,
                             const lane_step& step, std::int32_t row) const {
        const vector_tag tag;
        const std::ptrdiff_t i = view.at_table(step, offsets, row);
        // -1 at the centre, 1 at the ring
        const vector t =
            hn::MulSub(s.shape, hn::Set(tag, offsets.squared_distance.data()[i]),
                       hn::Set(tag, 1.0F));
        vector value = hn::Set(tag, static_cast<float>(AIRY_PATTERN[0]));
        for (std::size_t power = 1; power < std::size(AIRY_PATTERN); ++power) {
            const auto coefficient = static_cast<float>(AIRY_PATTERN[power]);
            value = hn::MulAdd(value, t, hn::Set(tag, coefficient));
        }
        const auto inside = hn::Gt(s.reach, hn::Set(tag, offsets.distance.data()[i]));
        return hn::IfThenElseZero(inside, hn::Mul(value, value));
    }
};

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace gather
HWY_AFTER_NAMESPACE();

#endif
