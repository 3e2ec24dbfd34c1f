// Adds rows of sources to a slab; included once for each kind of vectors.
//
// For each group of a row's sources, in the order of their radii, largest first:
// `add_sources` adds them at the heights of the nodes, and from each height down to the
// next smaller radius `add_height` adds what follows from the nodes to the two rows of
// pixels at that height. So no source is added beyond its end.
//
// It is longer than a header should be: the steps from a row to its sums are read
// together.

#if defined(FOCUSFALL_GATHER_SLAB_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef FOCUSFALL_GATHER_SLAB_INL_H_
#undef FOCUSFALL_GATHER_SLAB_INL_H_
#else
#define FOCUSFALL_GATHER_SLAB_INL_H_
#endif

#include <algorithm>
#include <memory>
#include <span>

#include <hwy/highway.h>

#include "plugin/fast/gather/power_of_2-inl.h"
#include "plugin/fast/gather/row_sources.h"
#include "plugin/fast/gather/slab.h"
#include "plugin/fast/gather/vectors-inl.h"
#include "plugin/fast/gather/window_fill-inl.h"

HWY_BEFORE_NAMESPACE();
namespace gather {
namespace HWY_NAMESPACE {
namespace {

constexpr std::int32_t NODES = profile_group::NODES;

// Sources that are prepared together.
constexpr std::int32_t BATCH = 64;

// What one thread needs beside the sums. The weights are sums of products, one for
// GAUSSIAN and two for LAPLACIAN (`terms`), of a factor of the source's distance along
// its row and one of the height.
template <std::int32_t COUNT>
struct alignas(64) slab_work {
    // of the batch's sources: the factors of the columns of the slab, and the quantities
    // times the factors of the heights of the nodes
    float column_factors[2][BATCH][SLAB_COLUMNS];
    float node_quantities[2][COUNT][NODES][BATCH];
    // what the sources of the group so far add to the slab at the heights of the nodes
    float profiles[COUNT][NODES][SLAB_COLUMNS];
};

// A slab with the row of sources that is added to it.
struct slab {
    const gather_frame& frame;
    std::int32_t x;  // first column
    tile_sums* sums;
    std::int32_t y;  // of the sources

    HWY_INLINE float* row(std::int32_t number, std::int32_t quantity,
                          std::int32_t column) const {
        const std::int32_t tile =
            number / TILE_ROWS * SLAB_TILES_ACROSS + column / TILE_COLUMNS;
        return sums[tile].rows[number % TILE_ROWS][quantity] + column % TILE_COLUMNS;
    }
};

// Fills the column factors of `count` sources from `first` on.
template <std::int32_t TERMS, std::int32_t COUNT>
HWY_NOINLINE void fill_columns(const slab& to, const row_sources& sources,
                               std::int32_t first, std::int32_t count,
                               slab_work<COUNT>& work) {
    const vector_tag tag;
    for (std::int32_t i = 0; i < count; ++i) {
        const vector shape = hn::Set(tag, sources.plane(source_planes::SHAPE)[first + i]);
        const vector reach = hn::Set(tag, sources.plane(source_planes::REACH)[first + i]);
        const auto start = static_cast<float>(to.x - sources.column(first + i));
        for (std::int32_t column = 0; column < SLAB_COLUMNS; column += LANES) {
            const vector distance = hn::Iota(tag, start + static_cast<float>(column));
            const vector t = hn::Mul(shape, hn::Mul(distance, distance));
            const auto inside = hn::Gt(reach, hn::Abs(distance));
            const vector value = hn::IfThenElseZero(inside, power_of_2(hn::Neg(t)));
            hn::Store(value, tag, work.column_factors[0][i] + column);
            if constexpr (TERMS == 2) {
                hn::Store(hn::Mul(value, hn::Mul(t, hn::Set(tag, LN_2))), tag,
                          work.column_factors[1][i] + column);
            }
        }
    }
}

// Fills the node quantities of `count` sources from `first` on, and some behind them.
template <std::int32_t TERMS, std::int32_t COUNT>
HWY_NOINLINE void fill_nodes(const profile_group& group, const row_sources& sources,
                             std::int32_t first, std::int32_t count,
                             slab_work<COUNT>& work) {
    const vector_tag tag;
    const auto load = [&](std::int32_t plane, std::int32_t i)
                          HWY_ATTR { return hn::LoadU(tag, sources.plane(plane) + i); };
    for (std::int32_t i = 0; i < count; i += LANES) {
        const vector shape = load(source_planes::SHAPE, first + i);
        for (std::int32_t node = 0; node < NODES; ++node) {
            const vector t = hn::Mul(shape, hn::Set(tag, group.square_of_height[node]));
            const vector value = power_of_2(hn::Neg(t));
            const vector slope = hn::NegMulAdd(t, hn::Set(tag, LN_2), hn::Set(tag, 1.0F));
            const vector factor = TERMS == 2 ? hn::Mul(value, slope) : value;
            for (std::int32_t q = 0; q < COUNT; ++q) {
                const vector quantity = load(plane_of(q), first + i);
                hn::Store(hn::Mul(quantity, factor), tag,
                          work.node_quantities[0][q][node] + i);
                if constexpr (TERMS == 2) {
                    hn::Store(hn::Mul(quantity, hn::Neg(value)), tag,
                              work.node_quantities[1][q][node] + i);
                }
            }
        }
    }
}

// Adds sources first .. last - 1 of the batch at the heights of the nodes. A function of
// its own, so that the compiler keeps the sums in registers.
template <std::int32_t TERMS, std::int32_t COUNT>
HWY_NOINLINE void add_sources(std::int32_t first, std::int32_t last,
                              slab_work<COUNT>& work) {
    const vector_tag tag;
    for (std::int32_t column = 0; column < SLAB_COLUMNS; column += LANES) {
        for (std::int32_t q = 0; q < COUNT; ++q) {
            vector sum[NODES];
            for (std::int32_t node = 0; node < NODES; ++node)
                sum[node] = hn::Load(tag, work.profiles[q][node] + column);
            for (std::int32_t i = first; i < last; ++i) {
                for (std::int32_t term = 0; term < TERMS; ++term) {
                    const vector factor =
                        hn::Load(tag, work.column_factors[term][i] + column);
                    for (std::int32_t node = 0; node < NODES; ++node) {
                        const float quantity = work.node_quantities[term][q][node][i];
                        sum[node] = hn::MulAdd(factor, hn::Set(tag, quantity), sum[node]);
                    }
                }
            }
            for (std::int32_t node = 0; node < NODES; ++node)
                hn::Store(sum[node], tag, work.profiles[q][node] + column);
        }
    }
}

// Adds what the sources so far add to the rows of pixels at that height above and below.
template <std::int32_t COUNT>
HWY_NOINLINE void add_height(const profile_group& group, std::int32_t height,
                             const slab_work<COUNT>& work, const slab& to) {
    const vector_tag tag;
    const bool above = to.y - height >= 0;
    // at height 0 both are one row
    const bool below = height > 0 && to.y + height < to.frame.planes->height();
    if (!above && !below) return;
    const float* const factors = group.factors(height);
    for (std::int32_t column = 0; column < SLAB_COLUMNS; column += LANES) {
        for (std::int32_t q = 0; q < COUNT; ++q) {
            vector value = hn::Zero(tag);
            for (std::int32_t node = 0; node < NODES; ++node) {
                value = hn::MulAdd(hn::Set(tag, factors[node]),
                                   hn::Load(tag, work.profiles[q][node] + column), value);
            }
            const auto add_to = [&](std::int32_t row) HWY_ATTR {
                float* const sum = to.row(row, q, column);
                hn::Store(hn::Add(hn::Load(tag, sum), value), tag, sum);
            };
            if (above) add_to(to.y - height);
            if (below) add_to(to.y + height);
        }
    }
}

// Adds sources first .. last - 1 of a row, which are all of a group.
template <std::int32_t TERMS, std::int32_t COUNT>
HWY_INLINE void add_group(const profile_group& group, const row_sources& sources,
                          std::int32_t first, std::int32_t last, slab_work<COUNT>& work,
                          const slab& to) {
    std::fill_n(&work.profiles[0][0][0], COUNT * NODES * SLAB_COLUMNS, 0.0F);
    std::int32_t height = sources.radius(first);
    for (std::int32_t start = first; start < last; start += BATCH) {
        const std::int32_t end = std::min(start + BATCH, last);
        fill_columns<TERMS>(to, sources, start, end - start, work);
        fill_nodes<TERMS>(group, sources, start, end - start, work);
        for (std::int32_t i = start; i < end;) {
            const std::int32_t radius = sources.radius(i);
            for (; height > radius; --height) add_height(group, height, work, to);
            const std::int32_t of_radius = i;
            while (i < end && sources.radius(i) == radius) ++i;
            add_sources<TERMS>(of_radius - start, i - start, work);
        }
    }
    for (; height >= 0; --height) add_height(group, height, work, to);
}

// Adds the first COUNT quantities of all sources.
template <std::int32_t TERMS, std::int32_t COUNT>
void gather_terms(std::span<const profile_group> groups, slab to) {
    const auto work = std::make_unique<slab_work<COUNT>>();
    row_sources sources(to.frame);
    for (to.y = 0; to.y < to.frame.planes->height(); ++to.y) {
        sources.take(to.x, to.y);
        std::int32_t first = 0;
        // the groups too go from large radii to small ones
        for (std::size_t g = 0; first < sources.count(); ++g) {
            const std::int32_t below = g + 1 < groups.size() ? groups[g + 1].radius : -1;
            std::int32_t last = first;
            while (last < sources.count() && sources.radius(last) > below) ++last;
            if (last > first)
                add_group<TERMS>(groups[g], sources, first, last, *work, to);
            first = last;
        }
    }
}

// Does what gather_slab promises, for all quantities but the alpha of opaque sources.
void gather_rows(const gather_frame& frame, std::span<const profile_group> groups,
                 bool opaque, std::int32_t x, tile_sums* sums) {
    const slab to = {.frame = frame, .x = x, .sums = sums, .y = 0};
    if (frame.form == closed_form::GAUSSIAN) {
        if (opaque) return gather_terms<1, WITHOUT_ALPHA>(groups, to);
        return gather_terms<1, QUANTITIES>(groups, to);
    }
    if (opaque) return gather_terms<2, WITHOUT_ALPHA>(groups, to);
    gather_terms<2, QUANTITIES>(groups, to);
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace gather
HWY_AFTER_NAMESPACE();

#endif
