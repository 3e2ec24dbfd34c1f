#include "plugin/fast/gather/offset_table.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "plugin/fast/gather/tiling.h"

namespace gather {

namespace {

constexpr float NEVER = std::numeric_limits<float>::infinity();

// Tiles by which a row is longer than the macro tile and the reach on both sides. A
// window may begin and end up to a tile further out, and vectors read two tiles past its
// end; the rest makes rows an odd number of cache lines long, so that they spread over
// all sets of the cache.
constexpr std::int32_t PADDING_TILES = 7;
static_assert((MACRO_COLUMNS / TILE_COLUMNS + PADDING_TILES) % 2 == 1);

struct table_entry {
    float edge_factor = 1.0F;
    float edge_start = 0.0F;
    float fourth_power = 0.0F;
    float distance = 0.0F;
    float squared_distance = 0.0F;
    float miss = 0.0F;   // a source with a reach up to this has no weight here
    float full = NEVER;  // one with at least this reach has weight 1
};

// The values for one output pixel and a source at (dx, dy) from it.
table_entry entry_for(const edge_shape& edge, closed_form form, std::int32_t dx,
                      std::int32_t dy) {
    const double square = static_cast<double>(dx) * dx + static_cast<double>(dy) * dy;
    const double d = std::sqrt(square);
    if (form == closed_form::AIRY) {
        return {.distance = static_cast<float>(d),
                .squared_distance = static_cast<float>(square),
                .miss = static_cast<float>(d)};
    }
    if (!is_edged(form)) {
        // kernels that fill their square
        return {.miss = static_cast<float>(std::max(std::abs(dx), std::abs(dy)))};
    }
    // (dx, dy) leads to the source; the kernel needs the direction from it to the pixel
    const double e = gather::edge_factor(edge, -dx, -dy);
    table_entry entry = {.edge_factor = static_cast<float>(e),
                         .edge_start = static_cast<float>(1.0 - d),
                         .miss = static_cast<float>((d - 1.0) / e)};
    if (form == closed_form::EDGE) {
        entry.full = static_cast<float>(d / e);
    } else {
        entry.fourth_power = static_cast<float>(std::pow(d / e, 4.0));
    }
    return entry;
}

// result[i] = pick over entries[i], entries[i + step], ... (`count` of them, those
// outside the table left out).
template <class Pick>
aligned_floats over_rows(const aligned_floats& entries, std::ptrdiff_t step,
                         std::int32_t count, Pick pick) {
    const auto size = static_cast<std::ptrdiff_t>(entries.size());
    aligned_floats result(entries.size(), 0.0F);
    std::copy_n(entries.data(), entries.size(), result.data());
    for (std::int32_t row = 1; row < count; ++row) {
        const std::ptrdiff_t shift = row * step;
        for (std::ptrdiff_t i = std::max<std::ptrdiff_t>(0, -shift);
             i < std::min(size, size - shift); ++i) {
            result.data()[i] = pick(result.data()[i], entries.data()[i + shift]);
        }
    }
    return result;
}

}  // namespace

offset_table::offset_table(const edge_shape& edge, closed_form form,
                           std::int32_t largest_reach)
    : reach(largest_reach),
      columns(pieces(largest_reach, TILE_COLUMNS) * TILE_COLUMNS),
      rows(largest_reach + 2 * (TILE_ROWS + BLOCK_ROWS)),
      stride(MACRO_COLUMNS + 2 * columns + PADDING_TILES * TILE_COLUMNS) {
    const auto size =
        static_cast<std::size_t>(stride) * static_cast<std::size_t>(2 * rows + 1);
    const bool edged = is_edged(form);
    const bool rim = form == closed_form::EDGE_WITH_RIM;
    const bool airy = form == closed_form::AIRY;
    edge_factor = aligned_floats(edged ? size : 0, 0.0F);
    edge_start = aligned_floats(edged ? size : 0, 0.0F);
    fourth_power = aligned_floats(rim ? size : 0, 0.0F);
    distance = aligned_floats(airy ? size : 0, 0.0F);
    squared_distance = aligned_floats(airy ? size : 0, 0.0F);
    aligned_floats entry_miss(size, 0.0F);
    aligned_floats entry_full(size, NEVER);
    for (std::int32_t dy = -rows; dy <= rows; ++dy) {
        for (std::int32_t dx = -columns; dx < columns + TILE_COLUMNS; ++dx) {
            const table_entry entry = entry_for(edge, form, dx, dy);
            const auto i = static_cast<std::size_t>(index(dx, dy));
            if (edged) {
                edge_factor[i] = entry.edge_factor;
                edge_start[i] = entry.edge_start;
            }
            if (rim) fourth_power[i] = entry.fourth_power;
            if (airy) {
                distance[i] = entry.distance;
                squared_distance[i] = entry.squared_distance;
            }
            entry_miss[i] = entry.miss;
            entry_full[i] = entry.full;
        }
    }

    // the bounds of single pixels, widened to the rows of a tile, then of a block too
    miss = over_rows(entry_miss, -stride, TILE_ROWS, std::ranges::min);
    full = over_rows(entry_full, -stride, TILE_ROWS, std::ranges::max);
    block_miss = over_rows(miss, stride, BLOCK_ROWS, std::ranges::min);
    block_full = over_rows(full, stride, BLOCK_ROWS, std::ranges::max);
}

}  // namespace gather
