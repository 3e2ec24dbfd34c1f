#pragma once
// How much of a blur lies in the picture, near the picture's edges.

#include <array>
#include <cstdint>
#include <vector>

#include "plugin/layered/depth_layers.h"
#include "plugin/record/focusfall_interface.h"

namespace layered {

// A kernel as sums over its corner, so that the sum over any rectangle follows from four
// of them.
struct border_part {
    std::int32_t radius = 0;  // pixels
    // The sum of the weights left of and above column x and row y, 0 .. 2 * radius + 1.
    std::vector<float> sums;

    // The part of the kernel within these columns and rows from its centre, the last ones
    // included.
    float within(std::int32_t left, std::int32_t right, std::int32_t above,
                 std::int32_t below) const {
        const std::int32_t side = 2 * radius + 2;
        const float* const top = sums.data() + std::ptrdiff_t{radius + above} * side;
        const float* const bottom =
            sums.data() + std::ptrdiff_t{radius + below + 1} * side;
        return bottom[radius + right + 1] - top[radius + right + 1] -
               bottom[radius + left] + top[radius + left];
    }
};

// One for each layer: that of the kernel of its mean diameter.
using border_parts = std::array<border_part, depth_layers::COUNT>;

// Makes that of a layer for a blur of so many pixels, in that style or with a picture as
// its shape; `turned` is it around its centre. Throws what making an image throws. [one
// thread a layer]
void make_border_part(const focusfall_interface& params, std::int32_t style,
                      const Image* custom, float diameter, bool turned,
                      border_part& part);

}  // namespace layered
