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

// How much of sources is of the layer, by their signed diameters: depth_layers::part_of.
HWY_INLINE vector part_of_layer(const depth_layers& layers, std::int32_t layer,
                                const float* diameters) {
    const vector_tag tag;
    const vector one = hn::Set(tag, 1.0F);
    const vector diameter = hn::LoadU(tag, diameters);
    const auto part_from = [&](std::int32_t l) HWY_ATTR {
        const vector ramp =
            hn::MulAdd(hn::Sub(diameter, hn::Set(tag, layers.limits[l])),
                       hn::Set(tag, layers.steepness[l]), hn::Set(tag, 0.5F));
        return hn::Min(hn::Max(ramp, hn::Zero(tag)), one);
    };
    return hn::Min(part_from(layer), hn::Sub(one, part_from(layer + 1)));
}

// Copies `from[i]` of the first COUNT quantities, with what the form needs of the shape,
// to column `i` of a row of the window, for LANES sources. Each is multiplied by its
// part; sources without a part become none, or with KEEP leave what is there.
template <std::int32_t COUNT, bool KEEP, class Plane>
HWY_INLINE void copy_part(const gather::gather_frame& frame,
                          const vectors::source_window& window, std::int32_t row,
                          std::int32_t column, vector part, const Plane& from) {
    const vector_tag tag;
    const auto some = hn::Gt(part, hn::Zero(tag));
    const auto store = [&](std::int32_t plane, vector value, vector otherwise) HWY_ATTR {
        float* const to = window.at(row, plane) + column;
        hn::StoreU(hn::IfThenElse(some, value, KEEP ? hn::LoadU(tag, to) : otherwise),
                   tag, to);
    };
    const auto load = [&](std::int32_t plane)
                          HWY_ATTR { return hn::LoadU(tag, from(plane)); };
    const gather::kernel_terms none = gather::no_source(frame.form);
    store(source_planes::SHAPE, load(source_planes::SHAPE), hn::Set(tag, none.shape));
    if (frame.form != gather::closed_form::EDGE) {
        // INVERSE_FOURTH for a rim
        store(source_planes::REACH, load(source_planes::REACH),
              hn::Set(tag, gather::is_edged(frame.form) ? 0.0F : none.reach));
    }
    for (std::int32_t q = 0; q < COUNT; ++q) {
        const std::int32_t plane = vectors::plane_of(q);
        store(plane, hn::Mul(part, load(plane)), hn::Zero(tag));
    }
}

// Copies the hidden sources of the layer over the visible ones, which are not of it where
// they are.
template <std::int32_t COUNT>
HWY_NOINLINE void copy_hidden(const layered_frame& frame,
                              const gather::gather_frame& sources, std::int32_t layer,
                              const vectors::source_window& window, std::int32_t end) {
    const std::int32_t blocks = frame.sources.blocks->columns;
    const std::int32_t first_block =
        std::max(window.first_column, 0) / gather::BLOCK_COLUMNS;
    for (std::int32_t row = 0; row < window.rows; ++row) {
        for (std::int32_t block = first_block;
             block < blocks && block * gather::BLOCK_COLUMNS < end; ++block) {
            const hidden_run* run = frame.hidden->run_at(block, window.first_row + row);
            if (!run || (run->layers >> layer & 1U) == 0) continue;
            const std::int32_t x = block * gather::BLOCK_COLUMNS;
            const std::int32_t from = std::max(0, window.first_column - x);
            const std::int32_t to = std::min(gather::BLOCK_COLUMNS, end - x);
            for (std::int32_t i = from; i < to; i += LANES) {
                const vector part = part_of_layer(*frame.layers, layer,
                                                  run->planes[hidden_run::POSITION] + i);
                const auto plane = [run, i](std::int32_t p) {
                    return run->planes[p] + i;
                };
                copy_part<COUNT, true>(sources, window, row, x + i - window.first_column,
                                       part, plane);
            }
        }
    }
}

// How the sources of a layer get into a window.
enum class copied { NONE, ALL, PARTS };

// Copies `count` columns from column `first` of a row of the window on, which are of one
// block.
template <std::int32_t COUNT>
HWY_INLINE void copy_columns(const layered_frame& frame,
                             const gather::gather_frame& sources, std::int32_t layer,
                             const vectors::source_window& window, std::int32_t row,
                             std::int32_t first, std::int32_t count, copied how) {
    const vector_tag tag;
    const std::int32_t x = window.first_column + first;
    const std::int32_t y = window.first_row + row;
    const float* const from = sources.planes->row(y, source_planes::SHAPE) + x;
    const float* const diameters = frame.diameters->row(y) + x;
    for (std::int32_t i = 0; i < count; i += LANES) {
        const auto plane = [&](std::int32_t p) {
            return from + p * sources.planes->plane_stride() + i;
        };
        vector part = hn::Set(tag, how == copied::ALL ? 1.0F : 0.0F);
        if (how == copied::PARTS)
            part = part_of_layer(*frame.layers, layer, diameters + i);
        copy_part<COUNT, false>(sources, window, row, first + i, part, plane);
    }
}

// How the columns of a window that are of one block are copied.
inline copied how_to_copy(const gather::block_grid& grid, std::int32_t block_row,
                          std::int32_t block, std::int32_t layer) {
    if (block < 0 || block >= grid.columns) return copied::NONE;
    const std::uint32_t layers = grid.row(block_row)[block].groups;
    if ((layers >> layer & 1U) == 0) return copied::NONE;
    return layers == 1U << layer ? copied::ALL : copied::PARTS;
}

// Copies the sources of the layer that the window is about, with the first COUNT
// quantities.
template <std::int32_t COUNT>
HWY_NOINLINE void copy_layer(const layered_frame& frame,
                             const gather::gather_frame& sources, std::int32_t layer,
                             const vectors::source_window& window) {
    // vectors that begin in the last columns read two tiles past them
    const std::int32_t count = window.columns() + 2 * gather::TILE_COLUMNS;
    const std::int32_t block_row = window.first_row / gather::BLOCK_ROWS;
    for (std::int32_t row = 0; row < window.rows; ++row) {
        for (std::int32_t i = 0; i < count;) {
            const std::int32_t x = window.first_column + i;
            // some columns lie left of the first block
            const std::int32_t block = x < 0 ? -1 : x / gather::BLOCK_COLUMNS;
            const std::int32_t columns =
                std::min((block + 1) * gather::BLOCK_COLUMNS - x, count - i);
            const auto copy = [&](copied how) HWY_ATTR {
                copy_columns<COUNT>(frame, sources, layer, window, row, i, columns, how);
            };
            switch (how_to_copy(*sources.blocks, block_row, block, layer)) {
                case copied::NONE: copy(copied::NONE); break;
                case copied::ALL: copy(copied::ALL); break;
                case copied::PARTS: copy(copied::PARTS); break;
            }
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
