#include "plugin/layered/layer_gather.h"

// older kinds of vectors that add nothing to the ones kept here
#define HWY_DISABLED_TARGETS (HWY_SSSE3 | HWY_AVX3_DL)
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE \
    "plugin/layered/layer_gather.cpp"  // compiled once for each kind of vectors
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "plugin/layered/layer_gather-inl.h"

#if HWY_ONCE

#include <algorithm>

namespace layered {

namespace {

HWY_EXPORT(compose_layers_with_vectors);

}  // namespace

void begin_composing(const layered_frame& frame, std::int32_t x, std::int32_t y,
                     composed_tile* composed) {
    std::fill_n(composed, gather::MACRO_TILES, composed_tile{});
    for (std::int32_t i = 0; i < gather::MACRO_TILES; ++i) {
        for (std::int32_t row = 0; row < gather::TILE_ROWS; ++row) {
            const std::int32_t left = x + i % gather::TILES_ACROSS * gather::TILE_COLUMNS;
            const std::int32_t top = y + i / gather::TILES_ACROSS * gather::TILE_ROWS;
            const bool above_end = top + row < frame.diameters->height();
            // beyond the picture nothing is to be seen
            const std::int32_t inside =
                above_end
                    ? std::clamp(frame.diameters->width() - left, 0, gather::TILE_COLUMNS)
                    : 0;
            float* const opacity = composed[i].rows[row][OPACITY];
            std::fill(opacity + inside, opacity + gather::TILE_COLUMNS, 1.0F);
        }
    }
}

void compose_layers(const layered_frame& frame, const layer_range& range, std::int32_t x,
                    std::int32_t y, gather::tile_sums* sums, composed_tile* composed) {
    HWY_DYNAMIC_DISPATCH(compose_layers_with_vectors)
    (frame, range, x, y, sums, composed);
}

void finish_composing(const composed_tile* composed, gather::tile_sums* sums) {
    for (std::int32_t i = 0; i < gather::MACRO_TILES; ++i) {
        for (std::int32_t row = 0; row < gather::TILE_ROWS; ++row) {
            const auto& from = composed[i].rows[row];
            auto& to = sums[i].rows[row];
            std::copy_n(from[RED], gather::TILE_COLUMNS, to[gather::RED]);
            std::copy_n(from[GREEN], gather::TILE_COLUMNS, to[gather::GREEN]);
            std::copy_n(from[BLUE], gather::TILE_COLUMNS, to[gather::BLUE]);
            std::copy_n(from[OPACITY], gather::TILE_COLUMNS, to[gather::ALPHA]);
            for (std::int32_t x = 0; x < gather::TILE_COLUMNS; ++x) {
                to[gather::WEIGHT][x] =
                    from[OPACITY][x] +
                    std::min(1.0F - from[OPACITY][x], from[EMPTINESS][x]);
            }
        }
    }
}

}  // namespace layered

#endif  // HWY_ONCE
