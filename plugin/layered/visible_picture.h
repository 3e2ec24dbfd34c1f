#pragma once
// What is to be seen of a frame, by pixels.

#include <algorithm>
#include <cmath>

#include "host/api/image.h"
#include "plugin/layered/diameter_map.h"

namespace layered {

// Borrowed, and constant meanwhile.
struct visible_picture {
    const Image* colors;
    const diameter_map* diameters;
    float largest;    // blur diameter, pixels
    float tolerance;  // pixels of diameter that are no depth edge

    // How far two signed diameters are apart at a depth edge, at least: it grows with the
    // blur.
    float gap(float a, float b) const {
        return std::max(tolerance, 0.1F * std::max(std::abs(a), std::abs(b)));
    }
};

// Whether a pixel neither hides nor shows anything, and whether it is a colour at all:
// the same whatever place red and blue have.
inline bool is_empty(const float* pixel) {
    return !(pixel[Image::ALPHA] > 0.0F) && pixel[Image::RED] == 0.0F &&
           pixel[Image::GREEN] == 0.0F && pixel[Image::BLUE] == 0.0F;
}
inline bool is_finite(const float* pixel) {
    return std::isfinite(pixel[Image::RED] + pixel[Image::BLUE] + pixel[Image::GREEN] +
                         pixel[Image::ALPHA]);
}

}  // namespace layered
