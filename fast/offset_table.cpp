#include "fast/offset_table.h"

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

}  // namespace

offset_table::offset_table(const focusfall_interface& params, closed_form form,
                           std::int32_t largest_reach)
    : reach(largest_reach),
      columns((largest_reach + TILE_COLUMNS - 1) / TILE_COLUMNS * TILE_COLUMNS),
      rows(largest_reach + 2 * TILE_ROWS),
      stride(2 * columns + TILE_COLUMNS) {
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

    // the nearest and the farthest of the rows of a tile
    miss = own_miss;
    full = own_full;
    for (std::size_t i = static_cast<std::size_t>((TILE_ROWS - 1) * stride); i < size;
         ++i) {
        for (std::int32_t row = 1; row < TILE_ROWS; ++row) {
            const std::size_t other = i - static_cast<std::size_t>(row * stride);
            miss[i] = std::min(miss[i], own_miss[other]);
            full[i] = std::max(full[i], own_full[other]);
        }
    }
}
