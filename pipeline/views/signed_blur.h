#pragma once
// The blur of a depth, and on which side of the focus it lies.

#include <vector>

#include "host/api/forecast.h"

namespace focusfall {

// Diameter of the blur of `depth` in pixels, below 0 in front of the focus. The forecast
// must be that of a tool that blurs by depth. [any thread, as all here]
inline float signed_blur(const FrameForecast& forecast, float depth) {
    const float diameter = forecast.blur_of(depth);
    const bool in_front =
        forecast.distance_of && forecast.distance_of(depth) < forecast.focus_distance;
    return in_front && diameter > 0.0F ? -diameter : diameter;
}

// The same for every pixel of a depth image, row by row. Throws std::bad_alloc.
inline std::vector<float> signed_blurs(const FrameForecast& forecast,
                                       const Image& depth) {
    std::vector<float> diameters;
    diameters.reserve(static_cast<std::size_t>(depth.Width()) *
                      static_cast<std::size_t>(depth.Height()));
    for (std::int32_t y = 0; y < depth.Height(); ++y) {
        for (std::int32_t x = 0; x < depth.Width(); ++x) {
            diameters.push_back(signed_blur(forecast, depth.Pixel(x, y)[forecast.depth]));
        }
    }
    return diameters;
}

}  // namespace focusfall
