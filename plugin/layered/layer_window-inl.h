// Fills a window with the sources of one layer; included once for each kind of vectors.
//
// It is longer than a header should be: how visible and hidden sources are copied is read
// together.

#if defined(FOCUSFALL_LAYERED_LAYER_WINDOW_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef FOCUSFALL_LAYERED_LAYER_WINDOW_INL_H_
#undef FOCUSFALL_LAYERED_LAYER_WINDOW_INL_H_
#else
#define FOCUSFALL_LAYERED_LAYER_WINDOW_INL_H_
#endif

#include <algorithm>

#include <hwy/highway.h>

#include "plugin/fast/gather/macro_tile-inl.h"
#include "plugin/layered/layer_gather.h"

HWY_BEFORE_NAMESPACE();
namespace layered {
namespace HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;
namespace vectors = gather::HWY_NAMESPACE;
using gather::source_planes;
using vectors::LANES;
using vectors::vector;
using vectors::vector_tag;

// How much of sources is of the layers from one on, and of one layer, by their signed
// diameters: depth_layers::part_from and part_of.
HWY_INLINE vector part_from_layer(const depth_layers& layers, std::int32_t layer,
                                  vector diameter) {
    const vector_tag tag;
    const vector ramp =
        hn::MulAdd(hn::Sub(diameter, hn::Set(tag, layers.limits[layer])),
                   hn::Set(tag, layers.steepness[layer]), hn::Set(tag, 0.5F));
    return hn::Min(hn::Max(ramp, hn::Zero(tag)), hn::Set(tag, 1.0F));
}
HWY_INLINE vector part_of_layer(const depth_layers& layers, std::int32_t layer,
                                const float* diameters) {
    const vector diameter = hn::LoadU(vector_tag(), diameters);
    return hn::Min(part_from_layer(layers, layer, diameter),
                   hn::Sub(hn::Set(vector_tag(), 1.0F),
                           part_from_layer(layers, layer + 1, diameter)));
}

// Calls `use(plane, value)` for each plane that the form and the first COUNT quantities
// need, with the value of no source.
template <std::int32_t COUNT, class Use>
HWY_INLINE void for_each_plane(gather::closed_form form, const Use& use) {
    const gather::kernel_terms none = gather::no_source(form);
    use(source_planes::SHAPE, none.shape);
    // INVERSE_FOURTH for a rim
    if (form != gather::closed_form::EDGE) use(source_planes::REACH, none.reach);
    for (std::int32_t q = 0; q < COUNT; ++q) use(vectors::plane_of(q), 0.0F);
}

// Copies the parts of `count` sources, a multiple of LANES, that are of the layer, by
// their signed diameters. Sources without a part become none, or with KEEP leave what is
// there. `from` and `to` give the first float of a plane.
template <std::int32_t COUNT, bool KEEP, class From, class To>
HWY_INLINE void copy_parts(const layered_frame& frame, gather::closed_form form,
                           std::int32_t layer, const float* diameters, std::int32_t count,
                           const From& from, const To& to) {
    const vector_tag tag;
    alignas(64) float parts[gather::BLOCK_COLUMNS];
    for (std::int32_t i = 0; i < count; i += LANES)
        hn::Store(part_of_layer(*frame.layers, layer, diameters + i), tag, parts + i);
    for_each_plane<COUNT>(form, [&](std::int32_t plane, float none) HWY_ATTR {
        const float* const source = from(plane);
        float* const copy = to(plane);
        for (std::int32_t i = 0; i < count; i += LANES) {
            const vector part = hn::Load(tag, parts + i);
            vector value = hn::LoadU(tag, source + i);
            // the terms of the kernel stay what they are
            if (plane >= source_planes::WEIGHT) value = hn::Mul(part, value);
            const vector otherwise = KEEP ? hn::LoadU(tag, copy + i) : hn::Set(tag, none);
            hn::StoreU(hn::IfThenElse(hn::Gt(part, hn::Zero(tag)), value, otherwise), tag,
                       copy + i);
        }
    });
}

// Copies the hidden sources of the layer over the visible ones, which are not of it where
// they are.
template <std::int32_t COUNT>
HWY_NOINLINE void copy_hidden(const layered_frame& frame,
                              const gather::gather_frame& sources, std::int32_t layer,
                              const vectors::source_window& window, std::int32_t end) {
    const std::int32_t first_block =
        std::max(window.first_column, 0) / gather::BLOCK_COLUMNS;
    const std::int32_t last_block = std::min(gather::pieces(end, gather::BLOCK_COLUMNS),
                                             frame.sources.blocks->columns);
    for (std::int32_t block = first_block; block < last_block; ++block) {
        const std::int32_t x = block * gather::BLOCK_COLUMNS;
        const std::int32_t first = std::max(0, window.first_column - x);
        const std::int32_t count = std::min(gather::BLOCK_COLUMNS, end - x) - first;
        if (!frame.hidden->has(layer, block, window.first_row)) continue;
        for (std::int32_t row = 0; row < window.rows; ++row) {
            const hidden_run* run = frame.hidden->run_at(block, window.first_row + row);
            if (!run || (run->layers >> layer & 1U) == 0) continue;
            const auto from = [&](std::int32_t plane) {
                return run->planes[plane] + first;
            };
            const auto to = [&](std::int32_t plane) {
                return window.at(row, plane) + x + first - window.first_column;
            };
            copy_parts<COUNT, true>(frame, sources.form, layer,
                                    from(hidden_run::POSITION), count, from, to);
        }
    }
}

// Copies `count` sources of a row, which are of one run, from column `first` of the
// window on.
template <std::int32_t COUNT>
HWY_INLINE void copy_run(const layered_frame& frame, const gather::gather_frame& sources,
                         std::int32_t layer, const vectors::source_window& window,
                         std::int32_t row, std::int32_t first, std::int32_t count) {
    const std::int32_t x = window.first_column + first;
    const std::int32_t y = window.first_row + row;
    const float* const original = sources.planes->row(y, source_planes::SHAPE) + x;
    const std::ptrdiff_t stride = sources.planes->plane_stride();
    const auto from = [=](std::int32_t plane) { return original + plane * stride; };
    const auto to = [&](std::int32_t plane) { return window.at(row, plane) + first; };

    // outside the picture are no sources
    const bool inside = x >= 0 && x < frame.diameters->width();
    const std::uint32_t layers =
        inside ? frame.diameters->layers(x / gather::BLOCK_COLUMNS, y) : 0;
    if ((layers >> layer & 1U) == 0) {
        for_each_plane<COUNT>(sources.form, [&](std::int32_t plane, float none) {
            std::fill_n(to(plane), count, none);
        });
    } else if (layers == 1U << layer) {
        for_each_plane<COUNT>(sources.form, [&](std::int32_t plane, float /*none*/) {
            std::copy_n(from(plane), count, to(plane));
        });
    } else {
        copy_parts<COUNT, false>(frame, sources.form, layer, frame.diameters->row(y) + x,
                                 count, from, to);
    }
}

// Copies the sources of the layer that the window is about, with the first COUNT
// quantities.
template <std::int32_t COUNT>
HWY_NOINLINE void copy_layer(const layered_frame& frame,
                             const gather::gather_frame& sources, std::int32_t layer,
                             const vectors::source_window& window) {
    // vectors that begin in the last columns read two tiles past them
    const std::int32_t count = window.columns() + 2 * gather::TILE_COLUMNS;
    for (std::int32_t row = 0; row < window.rows; ++row) {
        for (std::int32_t i = 0; i < count;) {
            // up to the end of the run
            const std::int32_t x = window.first_column + i;
            const std::int32_t left = x & (gather::BLOCK_COLUMNS - 1);
            const std::int32_t columns =
                std::min(gather::BLOCK_COLUMNS - left, count - i);
            copy_run<COUNT>(frame, sources, layer, window, row, i, columns);
            i += columns;
        }
    }
    if (frame.hidden) {
        copy_hidden<COUNT>(frame, sources, layer, window, window.first_column + count);
    }
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace layered
HWY_AFTER_NAMESPACE();

#endif
