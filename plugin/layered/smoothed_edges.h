#pragma once
// Finds depths that a renderer's smoothing made: at an edge they lie between those of the
// two surfaces, where there is nothing.

#include <cstdint>
#include <vector>

#include "plugin/layered/visible_picture.h"

namespace layered {

// A pixel whose depth is that of another one. A depth that was smoothed is a mean of the
// two surfaces', by how much of the pixel each covers; the pixel is taken for the one
// that covers more of it.
struct smoothed_pixel {
    std::int32_t x;
    std::int32_t y;
    std::int32_t from_x;
    std::int32_t from_y;
};

// The pixels of the row that have such depths, from left to right. Along a line, a row, a
// column or a diagonal, they lie between two pixels, next to them or one further, which
// belong to surfaces: beyond each its depth goes on, other than between them. So slopes
// stay as they are, however steep. A pixel brighter than both surfaces is a light by
// itself. `max_coc` is the blur diameter at infinity, pixels. Throws std::bad_alloc. [any
// thread]
void find_smoothed(const visible_picture& picture, float max_coc, std::int32_t y,
                   std::vector<smoothed_pixel>& found);

}  // namespace layered
