#include "plugin/fast/gather/source_loader.h"

#include <algorithm>

#include "host/api/image.h"

// older kinds of vectors that add nothing to the ones kept here
#define HWY_DISABLED_TARGETS (HWY_SSSE3 | HWY_AVX3_DL)
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE \
    "plugin/fast/gather/source_loader.cpp"  // compiled once for each kind of vectors
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "plugin/fast/gather/vectors-inl.h"

HWY_BEFORE_NAMESPACE();
namespace gather {
namespace HWY_NAMESPACE {
namespace {

// What lens::limited_blur_diameter and kernel_index do, operation by operation, so that
// both choose the same kernel.
HWY_INLINE vector blur_diameters(const source_loader& loader, vector distance) {
    const vector_tag tag;
    const vector max_coc = hn::Set(tag, loader.max_coc);
    const vector focus = hn::Set(tag, loader.focus_depth);
    const vector from_focus = hn::Abs(hn::Sub(distance, focus));
    const vector blur = hn::Div(hn::Mul(from_focus, max_coc), distance);
    const vector limit =
        hn::IfThenElse(hn::Lt(distance, focus), hn::Set(tag, loader.near_limit), max_coc);
    return hn::IfThenElse(hn::Gt(limit, blur), blur, limit);
}
HWY_INLINE integers kernel_indices(const source_loader& loader, vector diameter) {
    const vector_tag tag;
    const vector step = hn::Div(diameter, hn::Set(tag, loader.kernel_step));
    // bounded before it is truncated: an infinite step has no whole number
    const vector last = hn::Set(tag, static_cast<float>(loader.last));
    const vector bounded =
        hn::IfThenElseZero(hn::Ge(step, hn::Set(tag, 1.0F)), hn::Min(step, last));
    return hn::Min(hn::ConvertTo(integer_tag(), bounded),
                   hn::Set(integer_tag(), loader.last));
}

struct colors {
    vector red;
    vector green;
    vector blue;
    vector alpha;
};

// Colours of LANES pixels from `first` on; lanes past the end repeat the last pixel.
HWY_INLINE colors gather_colors(const source_run& run, std::int32_t first) {
    const vector_tag tag;
    const integer_tag whole;
    const integers number =
        hn::Min(hn::Iota(whole, first), hn::Set(whole, run.columns - 1));
    const integers at =
        hn::Mul(number, hn::Set(whole, static_cast<std::int32_t>(run.stride)));
    return {hn::GatherIndex(tag, run.pixels + Image::RED, at),
            hn::GatherIndex(tag, run.pixels + Image::GREEN, at),
            hn::GatherIndex(tag, run.pixels + Image::BLUE, at),
            hn::GatherIndex(tag, run.pixels + Image::ALPHA, at)};
}

HWY_INLINE hn::Mask<vector_tag> are_finite(const colors& c) {
    // 0 times a value that is not finite is not-a-number, and so is the sum
    const vector zero = hn::Zero(vector_tag());
    return hn::Eq(hn::Add(hn::Add(hn::Mul(c.red, zero), hn::Mul(c.green, zero)),
                          hn::Add(hn::Mul(c.blue, zero), hn::Mul(c.alpha, zero))),
                  zero);
}

// The terms of the kernels of LANES sources.
struct kernels {
    vector shape;
    vector reach;           // for edges the shape
    vector inverse_fourth;  // EDGE_WITH_RIM only
    vector weight;
};

// The kernels for these diameters, in pixels; those of no source for lanes outside
// `source`.
HWY_INLINE kernels kernels_of(const source_loader& loader, hn::Mask<vector_tag> source,
                              vector diameter) {
    const vector_tag tag;
    const kernel_terms none = no_source(loader.form);
    // in floats from the first kernel's terms on
    const integers index =
        hn::Mul(kernel_indices(loader, diameter),
                hn::Set(integer_tag(), sizeof(kernel_terms) / sizeof(float)));
    const auto term = [&](const float& of_first, float otherwise) HWY_ATTR {
        return hn::IfThenElse(source, hn::GatherIndex(tag, &of_first, index),
                              hn::Set(tag, otherwise));
    };
    kernels k;
    k.shape = term(loader.terms->shape, none.shape);
    k.weight = term(loader.terms->weight, none.weight);
    k.reach = is_edged(loader.form) ? k.shape : term(loader.terms->reach, none.reach);
    k.inverse_fourth = loader.form == closed_form::EDGE_WITH_RIM
                           ? term(loader.terms->inverse_fourth, none.inverse_fourth)
                           : hn::Zero(tag);
    return k;
}

// Widens what is known of the block by LANES of its sources, whose alphas are weighted.
HWY_INLINE void add_to_block(const source_loader& loader, const kernels& k, vector alpha,
                             block_grid::block& block) {
    const vector_tag tag;
    block.reach = std::max(block.reach, hn::GetLane(hn::MaxOfLanes(tag, k.reach)));
    block.opaque = block.opaque && hn::AllTrue(tag, hn::Eq(alpha, k.weight));
    for (std::int32_t group = 0; group < loader.groups.count; ++group) {
        const auto inside =
            hn::And(hn::Ge(k.reach, hn::Set(tag, loader.groups.from(group))),
                    hn::Lt(k.reach, hn::Set(tag, loader.groups.to(group))));
        if (!hn::AllFalse(tag, inside)) block.groups |= 1U << group;
    }
}

// Stores one vector of sources at `row`; lanes outside `source` become no-source. A store
// past the last column lands in the margin, which holds no sources anyway.
HWY_INLINE void store_sources(const source_loader& loader, hn::Mask<vector_tag> source,
                              const colors& c, vector diameter, float* row,
                              block_grid::block& block) {
    const vector_tag tag;
    const kernels k = kernels_of(loader, source, diameter);
    const auto store = [&](source_planes::plane to, vector value) HWY_ATTR {
        hn::StoreU(value, tag, row + to * loader.planes->plane_stride());
    };
    // divided by the kernel's sum here, once, instead of at each output pixel
    const auto weighted = [&](vector color) HWY_ATTR {
        // 0 for a weight of 0, whatever the colour
        return hn::IfThenElseZero(hn::Gt(k.weight, hn::Zero(tag)),
                                  hn::Mul(color, k.weight));
    };
    store(source_planes::SHAPE, k.shape);
    if (loader.form == closed_form::EDGE_WITH_RIM) {
        store(source_planes::INVERSE_FOURTH, k.inverse_fourth);
    } else if (!is_edged(loader.form)) {
        store(source_planes::REACH, k.reach);
    }
    store(source_planes::WEIGHT, k.weight);
    store(source_planes::RED, weighted(c.red));
    store(source_planes::GREEN, weighted(c.green));
    store(source_planes::BLUE, weighted(c.blue));
    store(source_planes::ALPHA, weighted(c.alpha));
    add_to_block(loader, k, weighted(c.alpha), block);
}

// Stores diameters with their sign, none larger than the largest kernel.
HWY_INLINE void store_signed(const source_loader& loader, vector distance,
                             vector diameter, float* to) {
    const vector_tag tag;
    const float largest = static_cast<float>(loader.last) * loader.kernel_step;
    const vector bounded = hn::Min(diameter, hn::Set(tag, largest));
    const auto in_front = hn::Lt(distance, hn::Set(tag, loader.focus_depth));
    hn::StoreU(hn::IfThenElse(in_front, hn::Neg(bounded), bounded), tag, to);
}

// Does what source_loader::load promises.
std::uint64_t load_vectors(const source_loader& loader, const source_run& run,
                           block_grid::block& block) {
    const vector_tag tag;
    const integer_tag whole;
    std::uint64_t not_finite = 0;
    for (std::int32_t i = 0; i < run.columns; i += LANES) {
        const colors c = gather_colors(run, i);
        auto source =
            hn::RebindMask(tag, hn::Lt(hn::Iota(whole, i), hn::Set(whole, run.columns)));
        if (!loader.keep_transparent) {
            source = hn::And(source, hn::Gt(c.alpha, hn::Zero(tag)));
        }
        const auto finite = are_finite(c);
        not_finite |= std::uint64_t{bits_of_mask(hn::AndNot(finite, source))} << i;
        const vector distance = hn::LoadU(tag, run.distances + i);
        const vector diameter = blur_diameters(loader, distance);
        if (run.diameters) store_signed(loader, distance, diameter, run.diameters + i);
        store_sources(loader, hn::And(source, finite), c, diameter,
                      loader.planes->row(run.y, source_planes::SHAPE) + run.x + i, block);
    }
    return not_finite;
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace gather
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace gather {

namespace {

HWY_EXPORT(load_vectors);

}  // namespace

std::uint64_t source_loader::load(const source_run& run, block_grid::block& block) const {
    return HWY_DYNAMIC_DISPATCH(load_vectors)(*this, run, block);
}

}  // namespace gather

#endif  // HWY_ONCE
