#pragma once
// The colours of the views, in light.

#include "host/api/image.h"

namespace focusfall {

struct view_color {
    float red = 0.0F;
    float green = 0.0F;
    float blue = 0.0F;
};

// `part` of the way from one to the other.
inline view_color mixed(const view_color& a, const view_color& b, float part) {
    return {a.red + (b.red - a.red) * part, a.green + (b.green - a.green) * part,
            a.blue + (b.blue - a.blue) * part};
}

// Makes a pixel opaque, of that colour.
inline void paint(float* pixel, const view_color& color) {
    pixel[Image::RED] = color.red;
    pixel[Image::GREEN] = color.green;
    pixel[Image::BLUE] = color.blue;
    pixel[Image::ALPHA] = 1.0F;
}

inline constexpr view_color SHARP{0.08F, 0.85F, 0.15F};
inline constexpr view_color IN_FRONT{1.0F, 0.42F, 0.03F};
inline constexpr view_color BEHIND{0.05F, 0.3F, 1.0F};
inline constexpr view_color EMPTY{0.05F, 0.05F, 0.05F};
inline constexpr view_color GROUND{0.01F, 0.01F, 0.01F};
inline constexpr view_color INK{0.8F, 0.8F, 0.8F};

// From near, 0, which is bright and warm, to far, 1, which is dark and cold; the
// brightness falls all the way, so that the view reads in grey too. `part` must be
// within.
view_color depth_color(float part);
// From -1, the largest blur in front of the focus, over 0, black, to 1, the largest
// behind it.
view_color diameter_color(float part);

}  // namespace focusfall
