#include "plugin/fast/gather/slab.h"

#include <algorithm>

// older kinds of vectors that add nothing to the ones kept here
#define HWY_DISABLED_TARGETS (HWY_SSSE3 | HWY_AVX3_DL)
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE \
    "plugin/fast/gather/slab.cpp"  // compiled once for each kind of vectors
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "plugin/fast/gather/slab-inl.h"

#if HWY_ONCE

namespace gather {

namespace {

HWY_EXPORT(gather_rows);

// Whether all sources that may reach the slab are opaque.
bool is_opaque(const gather_frame& frame, std::int32_t x) {
    const std::int32_t reach = frame.offsets->reach;
    const std::int32_t first = std::max(0, x - reach) / BLOCK_COLUMNS;
    const std::int32_t last =
        std::min(frame.blocks->columns, pieces(x + SLAB_COLUMNS + reach, BLOCK_COLUMNS));
    for (std::int32_t row = 0; row < frame.blocks->rows; ++row) {
        const block_grid::block* const blocks = frame.blocks->row(row);
        for (std::int32_t i = first; i < last; ++i) {
            if (!blocks[i].opaque) return false;
        }
    }
    return true;
}

}  // namespace

void gather_slab(const gather_frame& frame, std::span<const profile_group> groups,
                 std::int32_t x, std::span<tile_sums> sums) {
    const bool opaque = is_opaque(frame, x);
    HWY_DYNAMIC_DISPATCH(gather_rows)(frame, groups, opaque, x, sums.data());
    if (!opaque) return;
    for (tile_sums& tile : sums) {
        for (auto& row : tile.rows) std::copy_n(row[WEIGHT], TILE_COLUMNS, row[ALPHA]);
    }
}

}  // namespace gather

#endif  // HWY_ONCE
