#pragma once
// A kernel added to the accumulators at one place.

#include <algorithm>

#include "plugin/record/focusfall_interface.h"
#include "plugin/splat/add_weighted.h"

// A kernel and where its centre goes, which may be outside the picture.
struct stamp {
    const float* weights;  // row by row
    std::int32_t radius;   // pixels; the side is 2 * radius + 1
    std::int32_t x;
    std::int32_t y;
    float weight;  // of the whole stamp
};

// Adds to both accumulators the part of the stamp in rows first_row .. last_row, which
// must be rows of the picture; `color` is four floats r, g, b, a. `guard_row(row)` is
// called before a row is written, and what it returns is kept until the row is done: a
// lock, where other threads write these rows too. Throws only what `guard_row` throws.
template <class Guard>
void add_stamp(const focusfall_interface& record, const stamp& kernel, const float* color,
               std::int32_t first_row, std::int32_t last_row, const Guard& guard_row) {
    const std::int32_t top = std::max(first_row, kernel.y - kernel.radius);
    const std::int32_t bottom = std::min(last_row, kernel.y + kernel.radius);
    const std::int32_t left = std::max(0, kernel.x - kernel.radius);
    const std::int32_t right =
        std::min(record.color_accumulator.width - 1, kernel.x + kernel.radius);
    if (left > right) return;

    const std::int32_t side = 2 * kernel.radius + 1;
    for (std::int32_t row = top; row <= bottom; ++row) {
        const std::ptrdiff_t first =
            std::ptrdiff_t{row - kernel.y + kernel.radius} * side +
            (left - kernel.x + kernel.radius);
        [[maybe_unused]] const auto guard = guard_row(row);
        add_run(color_row(record, row) + left, weight_row(record, row) + left,
                kernel.weights + first, color, kernel.weight, right - left + 1);
    }
}
