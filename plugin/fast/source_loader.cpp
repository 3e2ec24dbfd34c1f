#include "plugin/fast/source_loader.h"

#include <algorithm>
#include <cstring>

// kinds that the others here cover as well
#define HWY_DISABLED_TARGETS (HWY_SSSE3 | HWY_AVX3_DL)
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "plugin/fast/source_loader.cpp"  // compiled once for each kind
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;
using vector_tag = hn::CappedTag<float, TILE_COLUMNS>;
using vector = hn::Vec<vector_tag>;
using integer_tag = hn::RebindToSigned<vector_tag>;
using integers = hn::Vec<integer_tag>;
constexpr std::int32_t LANES = static_cast<std::int32_t>(hn::MaxLanes(vector_tag()));

// As kernel_index does it, operation by operation.
HWY_INLINE integers kernel_indices(const source_loader& loader, vector distance) {
    const vector_tag tag;
    const vector max_coc = hn::Set(tag, loader.max_coc);
    const vector from_focus =
        hn::Abs(hn::Sub(distance, hn::Set(tag, loader.focus_depth)));
    const vector blur = hn::Div(hn::Mul(from_focus, max_coc), distance);
    const vector diameter = hn::IfThenElse(hn::Gt(max_coc, blur), blur, max_coc);
    const vector step = hn::Div(diameter, hn::Set(tag, loader.kernel_step));
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

// Of the pixels from number `first` of the run on; its last stands for those beyond.
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
    // what is not finite becomes not-a-number, and the sum with it
    const vector zero = hn::Zero(vector_tag());
    return hn::Eq(hn::Add(hn::Add(hn::Mul(c.red, zero), hn::Mul(c.green, zero)),
                          hn::Add(hn::Mul(c.blue, zero), hn::Mul(c.alpha, zero))),
                  zero);
}

// Stores the sources that the mask tells of, and none for the others, from `row` on and
// as far as a vector goes: behind the picture is a margin without sources anyway. Adds
// what is to be known of them to the block.
HWY_INLINE void store_sources(const source_loader& loader, hn::Mask<vector_tag> source,
                              const colors& c, vector distance, float* row,
                              block_grid::block& block) {
    const vector_tag tag;
    const kernel_terms none = no_source(loader.form);
    const integers term =
        hn::Mul(kernel_indices(loader, distance),
                hn::Set(integer_tag(), sizeof(kernel_terms) / sizeof(float)));
    const auto store = [&](source_planes::plane to, vector value) HWY_ATTR {
        hn::StoreU(value, tag, row + to * loader.planes->plane_stride());
    };
    const auto pick = [&](const float& of_first, float otherwise) HWY_ATTR {
        return hn::IfThenElse(source, hn::GatherIndex(tag, &of_first, term),
                              hn::Set(tag, otherwise));
    };
    const vector shape = pick(loader.terms->shape, none.shape);
    const vector weight = pick(loader.terms->weight, none.weight);
    store(source_planes::SHAPE, shape);
    store(source_planes::WEIGHT, weight);
    vector reach = shape;
    if (loader.form != closed_form::FLAT) {
        const vector second = pick(loader.terms->second, none.second);
        store(source_planes::SECOND, second);
        if (!is_edged(loader.form)) reach = second;
    }
    const auto weighted = [&](vector color) HWY_ATTR {
        // 0 for a weight of 0, whatever the colour
        return hn::IfThenElseZero(hn::Gt(weight, hn::Zero(tag)), hn::Mul(color, weight));
    };
    store(source_planes::RED, weighted(c.red));
    store(source_planes::GREEN, weighted(c.green));
    store(source_planes::BLUE, weighted(c.blue));
    store(source_planes::ALPHA, weighted(c.alpha));

    block.reach = std::max(block.reach, hn::GetLane(hn::MaxOfLanes(tag, reach)));
    block.opaque = block.opaque && hn::AllTrue(tag, hn::Eq(weighted(c.alpha), weight));
    for (std::int32_t layer = 0; layer < loader.layers.count; ++layer) {
        const auto inside =
            hn::And(hn::Ge(reach, hn::Set(tag, loader.layers.from(layer))),
                    hn::Lt(reach, hn::Set(tag, loader.layers.to(layer))));
        if (!hn::AllFalse(tag, inside)) block.layers |= 1U << layer;
    }
}

std::uint64_t load(const source_loader& loader, const source_run& run,
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
        std::uint8_t bytes[8] = {};
        hn::StoreMaskBits(tag, hn::AndNot(finite, source), bytes);
        std::uint64_t bits = 0;
        std::memcpy(&bits, bytes, sizeof bits);
        not_finite |= bits << i;
        store_sources(loader, hn::And(source, finite), c,
                      hn::LoadU(tag, run.distances + i),
                      loader.planes->row(run.y, source_planes::SHAPE) + run.x + i, block);
    }
    return not_finite;
}

}  // namespace
}  // namespace HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace {

HWY_EXPORT(load);

}  // namespace

std::uint64_t source_loader::load(const source_run& run, block_grid::block& block) const {
    return HWY_DYNAMIC_DISPATCH(load)(*this, run, block);
}

#endif  // HWY_ONCE
