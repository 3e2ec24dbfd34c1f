// The gather of one macro tile: all groups of all rows of blocks; included once for each
// kind of vectors.

#if defined(FOCUSFALL_GATHER_GATHER_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef FOCUSFALL_GATHER_GATHER_INL_H_
#undef FOCUSFALL_GATHER_GATHER_INL_H_
#else
#define FOCUSFALL_GATHER_GATHER_INL_H_
#endif

#include <algorithm>

#include <hwy/highway.h>

#include "plugin/fast/gather/gather.h"
#include "plugin/fast/gather/macro_tile-inl.h"

HWY_BEFORE_NAMESPACE();
namespace gather {
namespace HWY_NAMESPACE {
namespace {

// Sets the window to the sources of a group in a row of blocks that may reach the macro
// tile, and prepares what all register tiles need of them; false when there are none.
template <std::int32_t COUNT>
HWY_INLINE bool open_window(const gather_frame& frame, const macro_tile& tile,
                            std::int32_t block_row, std::int32_t group,
                            source_window& window) {
    const pixel_area area = {.x = tile.x, .y = tile.y};
    const column_range range =
        columns_that_reach(frame, block_row, group, frame.blocks->groups.to(group), area);
    if (range.empty()) return false;
    place_window(frame, area, block_row, range, frame.offsets->columns, window);
    copy_sources<COUNT>(frame, group, window);
    fill_derived<COUNT>(frame, window);
    return true;
}

// Adds all sources to the macro tile, window by window.
template <std::int32_t COUNT, class Rule>
void gather_with(const Rule& rule, const gather_frame& frame, source_window& window,
                 macro_tile& tile) {
    const index_range near = block_rows_near(frame, {.x = tile.x, .y = tile.y});
    for (std::int32_t row = near.first; row < near.last; ++row) {
        for (std::int32_t group = 0; group < frame.blocks->groups.count; ++group) {
            if (open_window<COUNT>(frame, tile, row, group, window))
                add_window<COUNT>(rule, frame, window, tile);
        }
    }
}

// Adds the first COUNT quantities of all sources, by the rule of the closed form.
template <std::int32_t COUNT>
void gather_count(const gather_frame& frame, std::int32_t x, std::int32_t y,
                  tile_sums* sums) {
    const window_storage storage(frame, x);
    source_window window = storage.window();
    macro_tile tile = {
        .x = x, .y = y, .sums = sums, .covered = covered_offsets(frame.offsets->columns)};
    with_rule(frame, [&](const auto& rule)
                         HWY_ATTR { gather_with<COUNT>(rule, frame, window, tile); });
}

// Whether all sources that may reach the macro tile are opaque.
bool is_opaque(const gather_frame& frame, std::int32_t x, std::int32_t y) {
    bool opaque = true;
    const pixel_area area = {.x = x, .y = y};
    const index_range near = block_rows_near(frame, area);
    for (std::int32_t row = near.first; row < near.last; ++row) {
        for (std::int32_t group = 0; group < frame.blocks->groups.count; ++group) {
            const float reach = frame.blocks->groups.to(group);
            opaque = opaque && columns_that_reach(frame, row, group, reach, area).opaque;
        }
    }
    return opaque;
}

// Does what gather_macro_tile promises.
void gather_quantities(const gather_frame& frame, std::int32_t x, std::int32_t y,
                       tile_sums* sums) {
    if (!is_opaque(frame, x, y)) return gather_count<QUANTITIES>(frame, x, y, sums);
    gather_count<WITHOUT_ALPHA>(frame, x, y, sums);
    for (std::int32_t i = 0; i < MACRO_TILES; ++i) {
        for (auto& row : sums[i].rows) {
            std::copy_n(row[WEIGHT], TILE_COLUMNS, row[ALPHA]);
        }
        std::copy_n(sums[i].common[WEIGHT], TILE_COLUMNS, sums[i].common[ALPHA]);
    }
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace gather
HWY_AFTER_NAMESPACE();

#endif
