#include "plugin/fast/gather/offset_table.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

// The reach from which on a source at that offset matters.
float nearest_reach(closed_form form, double d, double e, std::int32_t dx,
                    std::int32_t dy) {
    if (is_edged(form)) return static_cast<float>((d - 1.0) / e);
    if (form == closed_form::AIRY) return static_cast<float>(d);
    return static_cast<float>(std::max(std::abs(dx), std::abs(dy)));
}

// Each entry with those that lie `step` apart from there on, `count` in all, as far as
// there are so many.
template <class Pick>
aligned_floats over_rows(const aligned_floats& entries, std::ptrdiff_t step,
                         std::int32_t count, Pick pick) {
    const auto size = static_cast<std::ptrdiff_t>(entries.size());
    aligned_floats result = entries;
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

offset_table::offset_table(const focusfall_interface& params, closed_form form,
                           std::int32_t largest_reach)
    : reach(largest_reach),
      columns((largest_reach + TILE_COLUMNS - 1) / TILE_COLUMNS * TILE_COLUMNS),
      rows(largest_reach + 2 * (TILE_ROWS + BLOCK_ROWS)),
      // what vectors touch beside the columns too; an odd number of cache lines
      stride(MACRO_COLUMNS + 2 * columns + 7 * TILE_COLUMNS) {
    const auto size =
        static_cast<std::size_t>(stride) * static_cast<std::size_t>(2 * rows + 1);
    factor.resize(size);
    start.resize(size);
    fourth.resize(form == closed_form::RIM ? size : 0);
    aligned_floats own_miss(size);
    aligned_floats own_full(size, std::numeric_limits<float>::infinity());
    for (std::int32_t dy = -rows; dy <= rows; ++dy) {
        for (std::int32_t dx = -columns; dx < columns + TILE_COLUMNS; ++dx) {
            const auto i = static_cast<std::size_t>(index(dx, dy));
            const double square =
                static_cast<double>(dx) * dx + static_cast<double>(dy) * dy;
            const double d = std::sqrt(square);
            // the kernel lies around the source: it is seen the other way
            const double e = is_edged(form) ? edge_factor(params, -dx, -dy) : 1.0;
            factor[i] = static_cast<float>(is_edged(form) ? e : square);
            start[i] = static_cast<float>(1.0 - d);
            own_miss[i] = nearest_reach(form, d, e, dx, dy);
            if (form == closed_form::FLAT) own_full[i] = static_cast<float>(d / e);
            if (form == closed_form::RIM)
                fourth[i] = static_cast<float>(std::pow(d / e, 4.0));
        }
    }

    // the nearest and the farthest of the rows of a tile, then of those of a block too
    miss = over_rows(own_miss, -stride, TILE_ROWS, std::ranges::min);
    full = over_rows(own_full, -stride, TILE_ROWS, std::ranges::max);
    block_miss = over_rows(miss, stride, BLOCK_ROWS, std::ranges::min);
    block_full = over_rows(full, stride, BLOCK_ROWS, std::ranges::max);
}
