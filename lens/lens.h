#pragma once
// The camera: from a depth map's values to distances, and from distances to the diameters
// of circles of confusion. All in single precision, operation by operation, for frames
// depend on every rounding. Nothing here throws; all is callable from any thread.

#include <cmath>
#include <cstdint>

namespace lens {

// How the values of a depth map are meant. Lists and switches are compared with values
// half-way between their items, never for equality. By default 0 is 1 mm away, 1 is 2 mm.
struct depth_map {
    float type = 1.0F;    // above 0.5: from near to far; else the values are distances
    float units = 0.0F;   // millimetres, above 0.5 metres, 1.5 inches, 2.5 feet
    float invert = 0.0F;  // above 0.5: 1 is near; only where the type is near to far
    float near_distance = 1.0F;  // of the value 0, in `units`
    float far_distance = 2.0F;   // of the value 1
};

// Distance in millimetres for a value of the map, which must not be negative.
inline float distance(const depth_map& map, float value) {
    constexpr float MM_PER_METER = 1000.0F;
    constexpr float MM_PER_INCH = 25.4F;
    constexpr float INCHES_PER_FOOT = 12.0F;
    float d = value;
    if (map.type > 0.5F) {
        const float t = map.invert > 0.5F ? std::abs(1.0F - value) : value;
        d = std::abs(map.far_distance - map.near_distance) * t + map.near_distance;
    }
    if (map.units > 2.5F) return std::abs(d * INCHES_PER_FOOT * MM_PER_INCH);
    if (map.units > 1.5F) return std::abs(d * MM_PER_INCH);
    if (map.units > 0.5F) return std::abs(d * MM_PER_METER);
    return std::abs(d);
}

// What the controls of depth and lens say for a frame.
struct settings {
    bool depth_enabled = true;    // false: nothing is blurred
    float type = 0.0F;            // above 0.5: advanced, a lens; else `max_blur_size`
    float max_blur_size = 0.0F;   // percent of the image width
    float focus_position = 0.0F;  // as a value of the depth map; its sign does not count
    float focal_length = 0.0F;    // millimetres, like the film's width
    float f_stop = 0.0F;
    float filmback_width = 0.0F;
    depth_map map;  // simple settings take only `invert` from it
};

// What a frame's blur follows from.
struct focus {
    depth_map map;
    float distance = 0.0F;  // in focus, millimetres
    float max_coc = 0.0F;   // blur diameter at infinity and largest of all, pixels
};

// The focus for an image `width` pixels wide. With a lens, `max_coc` is infinite or
// not-a-number where the focus is at the focal length, and negative where it is nearer.
focus focus_of(const settings& s, std::int32_t width);

// Blur diameter in pixels of what is `distance` away, at most `max_coc`. Both infinity
// and not-a-number, which a distance of 0 gives, mean the largest.
inline float blur_diameter(float distance, float focus_distance, float max_coc) {
    const float from_focus = std::abs(distance - focus_distance);
    const float blur = from_focus * max_coc / distance;
    return max_coc > blur ? blur : max_coc;
}

// The float next to `value`; beyond the finite ones, the last of them.
float narrowed(double value);

// Whether the diameter is what focal length and f-stop make it, but for rounding.
bool is_aperture(double diameter, double focal_length, double f_stop);

}  // namespace lens
