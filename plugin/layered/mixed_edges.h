#pragma once
// Finds pixels at depth edges that hold some of the colour of the surface beside them.

#include <cstdint>
#include <vector>

#include "plugin/layered/depth_layers.h"
#include "plugin/layered/visible_picture.h"

namespace layered {

// A pixel of a deeper surface whose colour is a mean of that surface's and of one's
// before it, since colours are smoothed where depth is not: hair, and the rim of a
// subject. Blurred with the deeper surface, a sharp subject's part would be lost, and
// that of a blurred one left as a thin line.
struct mixed_pixel {
    std::int32_t x;
    std::int32_t y;
    float diameter;  // of the nearer surface, signed
    float part;      // that this has of the pixel, 0 .. 1
    // red, green and blue: of the nearer surface, times `part`, and of the deeper one
    float front[3];
    float deeper[3];
};

// A pixel of a nearer surface that holds some of a light behind its edge, which is far
// brighter than the surface. In the nearer layer it would be a bright dot of its own.
struct lit_pixel {
    std::int32_t x;
    std::int32_t y;
    float part;      // that the nearer surface has of the pixel, 0 .. 1
    float front[3];  // red, green and blue of that surface, times `part`
};

// The pixels of the row that are lit, from left to right. Throws std::bad_alloc. [any
// thread]
void find_lit(const visible_picture& picture, std::int32_t y,
              std::vector<lit_pixel>& found);

// The pixels of the row that are mixed, from left to right. Throws std::bad_alloc. [any
// thread]
void find_mixed(const visible_picture& picture, const depth_layers& layers,
                std::int32_t y, std::vector<mixed_pixel>& found);

}  // namespace layered
