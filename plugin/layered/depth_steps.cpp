#include "plugin/layered/depth_steps.h"

#include <algorithm>

// older kinds of vectors that add nothing to the ones kept here
#define HWY_DISABLED_TARGETS (HWY_SSSE3 | HWY_AVX3_DL)
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE \
    "plugin/layered/depth_steps.cpp"  // compiled once for each kind of vectors
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "plugin/fast/gather/vectors-inl.h"

HWY_BEFORE_NAMESPACE();
namespace layered {
namespace HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;
namespace vectors = gather::HWY_NAMESPACE;
using vectors::LANES;
using vectors::vector;
using vectors::vector_tag;

// The rows around a run, at its first pixel; those outside the picture are the outermost.
struct rows_around {
    rows_around(const diameter_map& map, std::int32_t x, std::int32_t y) {
        for (std::int32_t i = -2; i <= 2; ++i)
            rows[i + 2] = map.row(std::clamp(y + i, 0, map.height() - 1)) + x;
    }
    // The diameters of LANES pixels from column i on, so many rows below and columns
    // further.
    HWY_INLINE vector at(std::int32_t i, std::int32_t below, std::int32_t further) const {
        return hn::LoadU(vector_tag(), rows[below + 2] + i + further);
    }

    const float* rows[5];
};

// The bits of a run whose pixels pass a test, of which there is one for LANES pixels.
template <class Test>
HWY_INLINE run_bits bits_of_run(const diameter_map& map, std::int32_t x,
                                const Test& test) {
    run_bits bits = 0;
    for (std::int32_t i = 0; i < gather::BLOCK_COLUMNS; i += LANES) {
        bits |= run_bits{vectors::bits_of_mask(test(i))} << i;
    }
    const std::int32_t outside = x + gather::BLOCK_COLUMNS - map.width();
    return outside > 0 ? bits << outside >> outside : bits;
}

// The outermost of the four neighbours' diameters.
template <class Pick>
HWY_INLINE vector pick_neighbour(const rows_around& rows, std::int32_t i, Pick pick) {
    return pick(pick(rows.at(i, 0, -1), rows.at(i, 0, 1)),
                pick(rows.at(i, -1, 0), rows.at(i, 1, 0)));
}

run_bits find_deeper_beside(const diameter_map& map, std::int32_t x, std::int32_t y,
                            float least) {
    const rows_around rows(map, x, y);
    const auto is_deeper = [&](std::int32_t i) HWY_ATTR {
        const vector deepest = pick_neighbour(rows, i, vectors::larger());
        return hn::Ge(hn::Sub(deepest, rows.at(i, 0, 0)), hn::Set(vector_tag(), least));
    };
    return bits_of_run(map, x, is_deeper);
}

run_bits find_nearer_beside(const diameter_map& map, std::int32_t x, std::int32_t y,
                            float least) {
    const rows_around rows(map, x, y);
    const auto is_nearer = [&](std::int32_t i) HWY_ATTR {
        const vector nearest = pick_neighbour(rows, i, vectors::smaller());
        return hn::Gt(hn::Sub(rows.at(i, 0, 0), nearest), hn::Set(vector_tag(), least));
    };
    return bits_of_run(map, x, is_nearer);
}

HWY_INLINE vector difference(vector a, vector b) { return hn::Abs(hn::Sub(a, b)); }

bool find_steps_along_lines(const diameter_map& map, std::int32_t x, std::int32_t y,
                            float least, run_bits (&lines)[LINE_COUNT]) {
    const vector_tag tag;
    const rows_around rows(map, x, y);
    const vector lowest = hn::Set(tag, least);
    // across and down first, since most runs have no steps
    const auto is_step = [&](std::int32_t i) HWY_ATTR {
        const vector across = difference(rows.at(i, 0, 2), rows.at(i, 0, -2));
        const vector down = difference(rows.at(i, 2, 0), rows.at(i, -2, 0));
        return hn::Ge(hn::Max(across, down), lowest);
    };
    if (bits_of_run(map, x, is_step) == 0) return false;
    for (std::int32_t l = 0; l < LINE_COUNT; ++l) {
        const auto is_on_step = [&](std::int32_t i) HWY_ATTR {
            const auto at = [&](std::int32_t count) HWY_ATTR {
                return rows.at(i, count * LINES[l].y, count * LINES[l].x);
            };
            const vector own = at(0);
            const vector a_goes_on = difference(at(-1), at(-2));
            const vector b_goes_on = difference(at(1), at(2));
            const auto is_step_of = [&](vector height, vector uneven) HWY_ATTR {
                return hn::And(hn::Ge(height, lowest),
                               hn::Le(uneven, hn::Mul(hn::Set(tag, EVEN), height)));
            };
            // between its neighbours, on a step that goes on evenly on one side
            const vector rise = hn::Mul(hn::Sub(own, at(-1)), hn::Sub(at(1), own));
            const auto on_step = hn::And(
                hn::Gt(rise, hn::Zero(tag)),
                is_step_of(difference(at(2), at(-2)), hn::Min(a_goes_on, b_goes_on)));
            // between surfaces next to it or one further, as far as these pixels tell
            const auto near =
                is_step_of(difference(at(1), at(-1)), hn::Max(a_goes_on, b_goes_on));
            const auto far_b = is_step_of(difference(at(2), at(-1)), a_goes_on);
            const auto far_a = is_step_of(difference(at(1), at(-2)), b_goes_on);
            return hn::And(on_step, hn::Or(near, hn::Or(far_a, far_b)));
        };
        lines[l] = bits_of_run(map, x, is_on_step);
    }
    return true;
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace layered
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace layered {

namespace {

HWY_EXPORT(find_deeper_beside);
HWY_EXPORT(find_nearer_beside);
HWY_EXPORT(find_steps_along_lines);

}  // namespace

run_bits deeper_beside(const diameter_map& map, std::int32_t x, std::int32_t y,
                       float least) {
    return HWY_DYNAMIC_DISPATCH(find_deeper_beside)(map, x, y, least);
}

run_bits nearer_beside(const diameter_map& map, std::int32_t x, std::int32_t y,
                       float least) {
    return HWY_DYNAMIC_DISPATCH(find_nearer_beside)(map, x, y, least);
}

bool steps_along_lines(const diameter_map& map, std::int32_t x, std::int32_t y,
                       float least, run_bits (&lines)[LINE_COUNT]) {
    return HWY_DYNAMIC_DISPATCH(find_steps_along_lines)(map, x, y, least, lines);
}

}  // namespace layered

#endif  // HWY_ONCE
