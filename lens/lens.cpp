#include "lens/lens.h"

#include <algorithm>
#include <limits>

#include "lens/kernel_sizes.h"

namespace lens {

// Thin lens: the circle of confusion of a point at infinity is f * f / (N * (S - f)) on
// the film, and the image is as wide as the filmback (Potmesil and Chakravarty, "A lens
// and aperture camera model for synthetic image generation", 1981).
focus focus_of(const settings& s, std::int32_t width) {
    const bool is_lens = s.depth_enabled && s.type > 0.5F;
    focus result;
    result.map.invert = s.map.invert;
    if (is_lens) {
        result.map = s.map;
        result.map.near_distance = std::abs(s.map.near_distance);
        result.map.far_distance = std::abs(s.map.far_distance);
    }
    result.distance = distance(result.map, std::abs(s.focus_position));

    const auto image_width = static_cast<float>(width);
    if (!s.depth_enabled) {
        result.max_coc = KERNEL_STEP_FLOAT;
    } else if (is_lens) {
        // focus at the focal length makes this infinite; kernels have a limit of their
        // own
        result.max_coc =
            (image_width * (s.focal_length * s.focal_length)) /
            ((result.distance - s.focal_length) * (s.filmback_width * s.f_stop));
    } else {
        result.max_coc = image_width * s.max_blur_size / 100.0F;
    }
    return result;
}

float narrowed(double value) {
    constexpr double LAST = std::numeric_limits<float>::max();
    return static_cast<float>(std::clamp(value, -LAST, LAST));
}

bool is_aperture(double diameter, double focal_length, double f_stop) {
    constexpr double ROUNDING = 1e-4;  // values that an artist typed have a few digits
    return std::abs(diameter * f_stop - focal_length) <= ROUNDING * focal_length;
}

}  // namespace lens
