// Fills a window with sources, and with what is derived from them once for all register
// tiles; included once for each kind of vectors.
//
// It is longer than a header should be: a third of it is loops over columns that nothing
// else uses.

#if defined(FOCUSFALL_GATHER_WINDOW_FILL_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef FOCUSFALL_GATHER_WINDOW_FILL_INL_H_
#undef FOCUSFALL_GATHER_WINDOW_FILL_INL_H_
#else
#define FOCUSFALL_GATHER_WINDOW_FILL_INL_H_
#endif

#include <algorithm>

#include <hwy/highway.h>

#include "plugin/fast/gather/gather.h"
#include "plugin/fast/gather/vectors-inl.h"
#include "plugin/fast/gather/window-inl.h"

HWY_BEFORE_NAMESPACE();
namespace gather {
namespace HWY_NAMESPACE {
namespace {

// The plane of the sources that a quantity is summed from.
constexpr source_planes::plane plane_of(std::int32_t quantity) {
    return static_cast<source_planes::plane>(source_planes::WEIGHT + quantity);
}
static_assert(plane_of(RED) == source_planes::RED &&
              plane_of(GREEN) == source_planes::GREEN &&
              plane_of(BLUE) == source_planes::BLUE &&
              plane_of(ALPHA) == source_planes::ALPHA);

// The loops below run over `count` columns, rounded up to whole vectors; rows are long
// enough for that.

// to[i] = pick(from[i], from[i + step])
template <class Pick>
HWY_INLINE void pick_along(const float* from, float* to, std::int32_t step,
                           std::int32_t count, Pick pick) {
    const vector_tag tag;
    for (std::int32_t i = 0; i < count; i += LANES) {
        hn::StoreU(pick(hn::LoadU(tag, from + i), hn::LoadU(tag, from + i + step)), tag,
                   to + i);
    }
}

// to[i] = pick over from[i] .. from[i + 15]
template <class Pick>
HWY_INLINE void pick_over_16(const float* from, float* to, std::int32_t count,
                             Pick pick) {
    // in place: each step only overwrites what it has already read
    pick_along(from, to, 1, count + 14, pick);
    pick_along(to, to, 2, count + 12, pick);
    pick_along(to, to, 4, count + 8, pick);
    pick_along(to, to, 8, count, pick);
}

// to[i] = the sum of the four entries from[i + 0 .. 3 * step], added in pairs
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
    vector max = hn::LoadU(tag, entries);
    for (std::int32_t i = LANES; i < count; i += LANES) {
        max = hn::Max(max, hn::LoadU(tag, entries + i));
    }
    return hn::GetLane(hn::MaxOfLanes(tag, max));
}

// to[i] = from[i] where reach[i] is that of a source, else 0
HWY_INLINE void copy_where_reach(const float* reach, const float* from, float* to,
                                 std::int32_t count) {
    const vector_tag tag;
    for (std::int32_t i = 0; i < count; i += LANES) {
        const auto source = hn::Gt(hn::LoadU(tag, reach + i), hn::Set(tag, NO_REACH));
        hn::StoreU(hn::IfThenElseZero(source, hn::LoadU(tag, from + i)), tag, to + i);
    }
}

// to[i] = from[i] where that is a reach of the group, else NO_REACH
HWY_INLINE void copy_group(const reach_groups& groups, std::int32_t group,
                           const float* from, float* to, std::int32_t count) {
    const vector_tag tag;
    const vector min = hn::Set(tag, groups.from(group));
    const vector end = hn::Set(tag, groups.to(group));
    for (std::int32_t i = 0; i < count; i += LANES) {
        const vector reach = hn::LoadU(tag, from + i);
        const auto inside = hn::And(hn::Ge(reach, min), hn::Lt(reach, end));
        hn::StoreU(hn::IfThenElse(inside, reach, hn::Set(tag, NO_REACH)), tag, to + i);
    }
}

// Copies the sources of the window from the planes, with the first COUNT quantities. With
// several groups, which only EDGE has, sources of other groups become no-source.
template <std::int32_t COUNT>
HWY_NOINLINE void copy_sources(const gather_frame& frame, std::int32_t group,
                               const source_window& window) {
    const reach_groups& groups = frame.blocks->groups;
    // vectors that begin in the last columns read two tiles past them
    const std::int32_t count = window.columns() + 2 * TILE_COLUMNS;
    for (std::int32_t row = 0; row < window.rows; ++row) {
        const auto original = [&](source_planes::plane p) {
            return frame.planes->row(window.first_row + row, p) + window.first_column;
        };
        float* const shape = window.at(row, source_planes::SHAPE);
        if (groups.count > 1) {
            copy_group(groups, group, original(source_planes::SHAPE), shape, count);
            for (std::int32_t q = 0; q < COUNT; ++q) {
                copy_where_reach(shape, original(plane_of(q)),
                                 window.at(row, plane_of(q)), count);
            }
            continue;
        }
        std::copy_n(original(source_planes::SHAPE), count, shape);
        if (frame.form != closed_form::EDGE) {
            // with a rim, this plane is INVERSE_FOURTH
            std::copy_n(original(source_planes::REACH), count,
                        window.at(row, source_planes::REACH));
        }
        for (std::int32_t q = 0; q < COUNT; ++q) {
            std::copy_n(original(plane_of(q)), count, window.at(row, plane_of(q)));
        }
    }
}

// Fills the derived parts of the single rows, and the reaches of the window. Needs the
// copies.
template <std::int32_t COUNT>
HWY_NOINLINE void fill_rows(const gather_frame& frame, source_window& window) {
    const auto reach_plane =
        is_edged(frame.form) ? source_planes::SHAPE : source_planes::REACH;
    const std::int32_t count = window.columns();
    window.largest_reach = NO_REACH;
    for (std::int32_t row = 0; row < window.rows; ++row) {
        const float* reach = window.at(row, reach_plane);
        float* const max_reach = window.at(row, source_window::MAX_REACH);
        pick_over_16(reach, max_reach, count, larger());
        window.row_reach[row] = largest(max_reach, count);
        window.largest_reach = std::max(window.largest_reach, window.row_reach[row]);
        if (!frame.with_sums) continue;
        // the magnitude of NO_REACH is larger than any: pixels without a source, which
        // add 0, do not keep their neighbours from being fully covered
        pick_over_16(reach, window.at(row, source_window::MIN_REACH), count,
                     [](vector a, vector b)
                         HWY_ATTR { return hn::Min(hn::Abs(a), hn::Abs(b)); });
        for (std::int32_t q = 0; q < COUNT; ++q) {
            sum_along(window.at(row, plane_of(q)),
                      window.at(row, source_window::SUM_4 + q), 1, count + 12);
        }
    }
    // a strip can only be fully covered by sources that reach from one of its ends to
    // the other
    constexpr float STRIP_REACH = TILE_COLUMNS - 1;
    window.with_strips = frame.with_sums && window.largest_reach >= STRIP_REACH;
    if (!window.with_strips) return;
    for (std::int32_t row = 0; row < window.rows; ++row) {
        for (std::int32_t q = 0; q < COUNT; ++q) {
            sum_along(window.at(row, source_window::SUM_4 + q),
                      window.at(row, source_window::SUM_16 + q), 4, count);
        }
    }
}

// Combines the rows of a part into its row BLOCK_ROWS.
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

// Fills the rows that combine all others. Needs the single rows.
template <std::int32_t COUNT>
HWY_NOINLINE void join_all_rows(const source_window& window) {
    join_rows(window, source_window::MAX_REACH, larger());
    if (!window.with_strips) return;
    join_rows(window, source_window::MIN_REACH, smaller());
    for (std::int32_t q = 0; q < COUNT; ++q) {
        join_rows(window, source_window::SUM_16 + q, sum());
    }
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace gather
HWY_AFTER_NAMESPACE();

#endif
