// Puts a layer behind what lies before it; included once for each kind of vectors.

#if defined(FOCUSFALL_LAYERED_PUT_BEHIND_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef FOCUSFALL_LAYERED_PUT_BEHIND_INL_H_
#undef FOCUSFALL_LAYERED_PUT_BEHIND_INL_H_
#else
#define FOCUSFALL_LAYERED_PUT_BEHIND_INL_H_
#endif

#include <algorithm>

#include <hwy/highway.h>

#include "plugin/layered/layer_window-inl.h"

HWY_BEFORE_NAMESPACE();
namespace layered {
namespace HWY_NAMESPACE {
namespace {

// What is nearly covered is: rounding, and neighbours that are blurred differently, leave
// gaps that belong to nothing further back. Below a gap of .12 they become smaller, by
// degrees so that nothing jumps, and from .02 on none is left.
HWY_INLINE vector without_gaps(vector coverage) {
    const vector_tag tag;
    const vector one = hn::Set(tag, 1.0F);
    const vector gap = hn::Sub(one, coverage);
    // a cubic with the values 0 and .12, and the slopes 0 and 1, at the ends
    const vector t =
        hn::Max(hn::MulAdd(gap, hn::Set(tag, 10.0F), hn::Set(tag, -0.2F)), hn::Zero(tag));
    const vector closed =
        hn::Mul(hn::Mul(t, t), hn::MulAdd(t, hn::Set(tag, -0.14F), hn::Set(tag, 0.26F)));
    return hn::IfThenElse(hn::Lt(t, one), hn::Sub(one, closed), coverage);
}

// What a pixel holds on to of what is before it. Blurred by little more than a pixel, a
// hair no longer covers its pixels, and a light behind it would light up at once. So in
// the layers behind the nearest source of a pixel, the gap that its blur leaves opens by
// degrees.
struct hold {
    vector closed;  // the part of the gap that is closed, 0 .. 1
    vector clear;   // the part of the pixel that the source leaves clear, blurred or not
};

// Blurred up to the first diameter, in pixels, a source closes gaps wholly, and from the
// second on no longer. Up to a pixel it leaves none.
constexpr float HOLDS = 1.0F;
constexpr float HOLDS_NO_MORE = 3.0F;

// That of LANES pixels from (x, y) on, behind a layer.
HWY_INLINE hold hold_at(const layered_frame& frame, std::int32_t layer, std::int32_t x,
                        std::int32_t y) {
    const vector_tag tag;
    const vector one = hn::Set(tag, 1.0F);
    const vector zero = hn::Zero(tag);
    hold result = {.closed = zero, .clear = zero};
    const bool inside = x < frame.diameters->width() && y < frame.diameters->height();
    if (!inside || frame.layers->end_of(layer) < -HOLDS_NO_MORE) return result;

    // the visible source, or the part of a mixed pixel that lies before it
    const vector visible = hn::LoadU(tag, frame.diameters->row(y) + x);
    vector nearest = visible;
    const std::int32_t i = x % gather::BLOCK_COLUMNS;
    const hidden_run* const run =
        frame.hidden ? frame.hidden->run_at(x / gather::BLOCK_COLUMNS, y) : nullptr;
    if (run) {
        nearest = hn::Min(visible, hn::LoadU(tag, run->planes[hidden_run::POSITION] + i));
    }
    const vector diameter = hn::Max(one, hn::Abs(nearest));
    // most are blurred more
    if (hn::AllTrue(tag, hn::Ge(diameter, hn::Set(tag, HOLDS_NO_MORE)))) return result;

    vector weight = one;
    if (frame.has_sources) {
        weight = hn::LoadU(tag, frame.sources.planes->row(y, source_planes::WEIGHT) + x);
    }
    if (run) {
        const vector of_part = hn::LoadU(tag, run->planes[source_planes::WEIGHT] + i);
        weight = hn::IfThenElse(hn::Lt(nearest, visible), of_part, weight);
    }
    const vector ramp = hn::Mul(hn::Sub(hn::Set(tag, HOLDS_NO_MORE), diameter),
                                hn::Set(tag, 1.0F / (HOLDS_NO_MORE - HOLDS)));
    const vector passed =
        hn::Sub(one, part_from_layer(*frame.layers, layer + 1, nearest));
    result.closed = hn::Mul(hn::Max(zero, ramp), passed);
    // a source that is whole weighs about 1 / diameter^2, or more
    result.clear =
        hn::Max(zero, hn::Sub(one, hn::Mul(weight, hn::Mul(diameter, diameter))));
    return result;
}

// The part of the layer's kernel that lies in the picture, for the pixels of a row of a
// register tile; false where all of it does.
HWY_INLINE bool border_parts_at(const layered_frame& frame, std::int32_t layer,
                                std::int32_t x, std::int32_t y, float* parts) {
    constexpr float LEAST = 0.02F;  // kernels may be 0 where the picture is
    if (!frame.borders) return false;
    const border_part& border = (*frame.borders)[static_cast<std::size_t>(layer)];
    const std::int32_t radius = border.radius;
    const std::int32_t width = frame.diameters->width();
    const std::int32_t height = frame.diameters->height();
    if (x >= radius && x + gather::TILE_COLUMNS + radius <= width && y >= radius &&
        y + radius < height) {
        return false;
    }
    const std::int32_t above = std::max(-radius, -y);
    const std::int32_t below = std::clamp(height - 1 - y, -radius, radius);
    for (std::int32_t i = 0; i < gather::TILE_COLUMNS; ++i) {
        const std::int32_t left = std::max(-radius, -(x + i));
        const std::int32_t right = std::clamp(width - 1 - (x + i), -radius, radius);
        parts[i] = std::max(LEAST, border.within(left, right, above, below));
    }
    return true;
}

// Adds a layer to what LANES pixels are covered by, and gives how opaque that makes them.
// `weight` and `alpha` are the layer's sums; `scale` is 1 / the part of the kernel in the
// picture; `held()` is what they hold on to.
template <std::int32_t COUNT, class Held>
HWY_INLINE vector cover_pixels(vector weight, vector alpha, vector scale,
                               const Held& held, std::int32_t row, std::int32_t column,
                               composed_tile& to) {
    const vector_tag tag;
    const vector one = hn::Set(tag, 1.0F);
    const vector zero = hn::Zero(tag);
    float* const coverages = to.rows[row][COVERAGE] + column;
    float* const emptinesses = to.rows[row][EMPTINESS] + column;

    // what the lens sees of the layer adds up with what it sees of those before it: parts
    // of one surface, or of surfaces side by side, do not hide one another
    vector coverage = hn::Load(tag, coverages);
    coverage = hn::Min(one, hn::MulAdd(hn::Max(zero, alpha), scale, coverage));
    vector emptiness = hn::Load(tag, emptinesses);
    if constexpr (COUNT > gather::ALPHA) {
        const vector empty = hn::Max(zero, hn::Sub(weight, hn::Max(zero, alpha)));
        emptiness = hn::MulAdd(empty, scale, emptiness);
        hn::Store(emptiness, tag, emptinesses);
    }
    hn::Store(coverage, tag, coverages);

    // gaps are closed between what is there, whether opaque or not
    const vector filled = hn::Min(one, hn::Add(coverage, emptiness));
    if (hn::AllTrue(tag, hn::Ge(filled, one))) return coverage;
    const vector opaque_part =
        hn::Div(coverage, hn::IfThenElse(hn::Gt(filled, zero), filled, one));
    const hold kept = held();
    const vector left_by_blur = hn::Max(zero, hn::Sub(hn::Sub(one, filled), kept.clear));
    const vector closed = without_gaps(hn::MulAdd(kept.closed, left_by_blur, filled));
    return hn::MulAdd(hn::Sub(closed, filled), opaque_part, coverage);
}

// Puts LANES pixels of a layer behind the composed ones. With STAMPED, sums may not be
// finite: they count where they show, and not as coverage.
template <std::int32_t COUNT, bool STAMPED, class Held>
HWY_INLINE void put_pixels_behind(const gather::tile_sums& from, std::int32_t row,
                                  std::int32_t column, vector scale, const Held& held,
                                  composed_tile& to) {
    const vector_tag tag;
    const vector one = hn::Set(tag, 1.0F);
    const vector zero = hn::Zero(tag);
    const auto layer = [&](gather::quantity q) HWY_ATTR {
        return hn::Add(hn::Load(tag, from.rows[row][q] + column),
                       hn::Load(tag, from.common[q] + column));
    };
    const auto composed = [&](composed_quantity q) { return to.rows[row][q] + column; };

    const vector weight = layer(gather::WEIGHT);
    vector alpha = COUNT > gather::ALPHA ? layer(gather::ALPHA) : weight;
    if constexpr (STAMPED) {
        const auto finite = hn::Eq(hn::Sub(alpha, alpha), zero);
        alpha = hn::IfThenElse(finite, alpha, weight);
    }
    const auto some = hn::Gt(alpha, zero);

    const vector opacity =
        cover_pixels<COUNT>(weight, alpha, scale, held, row, column, to);
    // only what has a colour takes room
    const vector before = hn::Load(tag, composed(OPACITY));
    const vector after =
        hn::IfThenElse(some, hn::Max(before, hn::Min(one, opacity)), before);
    const vector taken = hn::Sub(after, before);
    hn::Store(after, tag, composed(OPACITY));

    // without an alpha colours are light that hides nothing
    const vector glow = hn::Mul(hn::Sub(one, before), scale);
    const vector factor =
        hn::IfThenElse(some, hn::Div(taken, hn::IfThenElse(some, alpha, one)), glow);
    const auto add = [&](gather::quantity q, composed_quantity sum) HWY_ATTR {
        vector light = hn::Mul(layer(q), factor);
        if constexpr (STAMPED) {
            light = hn::IfThenElseZero(hn::Gt(factor, zero), light);
        }
        hn::Store(hn::Add(hn::Load(tag, composed(sum)), light), tag, composed(sum));
    };
    add(gather::RED, RED);
    add(gather::GREEN, GREEN);
    add(gather::BLUE, BLUE);
}

// Puts a register tile whose first pixel is (x, y) behind; true when nothing can be seen
// behind it any more.
template <std::int32_t COUNT, bool STAMPED>
HWY_NOINLINE bool put_tile_behind(const layered_frame& frame, std::int32_t layer,
                                  std::int32_t x, std::int32_t y,
                                  const gather::tile_sums& from, composed_tile& to) {
    const vector_tag tag;
    const vector one = hn::Set(tag, 1.0F);
    bool covered = true;
    for (std::int32_t row = 0; row < gather::TILE_ROWS; ++row) {
        alignas(64) float parts[gather::TILE_COLUMNS];
        const bool at_border = border_parts_at(frame, layer, x, y + row, parts);
        for (std::int32_t column = 0; column < gather::TILE_COLUMNS; column += LANES) {
            const vector scale =
                at_border ? hn::Div(one, hn::Load(tag, parts + column)) : one;
            const auto held = [&]() HWY_ATTR {
                return hold_at(frame, layer, x + column, y + row);
            };
            put_pixels_behind<COUNT, STAMPED>(from, row, column, scale, held, to);
            const vector opacity = hn::Load(tag, to.rows[row][OPACITY] + column);
            covered = covered && hn::AllTrue(tag, hn::Ge(opacity, one));
        }
    }
    return covered;
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace layered
HWY_AFTER_NAMESPACE();

#endif
