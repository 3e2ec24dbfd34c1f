#pragma once
// The camera: from a depth map's values to distances, and from distances to the diameters
// of circles of confusion. Both are computed in single precision, operation by operation,
// because the picture depends on every rounding. Nothing here throws; all is callable
// from any thread.

#include <cmath>
#include <cstdint>

namespace lens {

// What the values of a depth map mean. Lists (an item by its index) and switches (0 or 1)
// are floats, and are compared with values half-way between their items, never for
// equality. By default the value 0 is 1 mm away and the value 1 is 2 mm away.
struct depth_map {
    float type = 1.0F;    // above 0.5: from near to far; else the values are distances
    float units = 0.0F;   // 0 millimetres; above 0.5 metres, 1.5 inches, 2.5 feet
    float invert = 0.0F;  // above 0.5: 1 is near; only where the type is near to far
    float near_distance = 1.0F;  // distance of the value 0, in `units`
    float far_distance = 2.0F;   // distance of the value 1, in `units`
};

// Distance from the camera, in millimetres, for a value of the map, which must not be
// negative. A non-finite value gives a non-finite distance.
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

// The depth and lens controls of one frame.
struct settings {
    bool depth_enabled = true;    // false: nothing is blurred
    float type = 0.0F;            // above 0.5: advanced, a lens; else `max_blur_size`
    float max_blur_size = 0.0F;   // percent of the image width
    float focus_position = 0.0F;  // as a value of the depth map; its sign does not count
    float focal_length = 0.0F;    // millimetres
    float f_stop = 0.0F;          // focal length / diameter of the aperture
    float filmback_width = 0.0F;  // width of the film or sensor, millimetres
    depth_map map;                // simple settings take only `invert` from it
};

// All that the blur diameter of a depth depends on in one frame.
struct focus {
    depth_map map;          // with simple settings only `invert` is the artist's
    float distance = 0.0F;  // the distance in focus, millimetres
    float max_coc = 0.0F;   // blur diameter at infinity and largest of all, pixels
};

// The focus for an image `width` pixels wide. With a lens, `max_coc` is infinite or
// not-a-number where the focus is at the focal length, and negative where it is nearer.
// With depth disabled, `max_coc` is one step of the kernel table, which blurs nothing.
focus focus_of(const settings& s, std::int32_t width);

// Blur diameter in pixels of what is `distance` away, at most `limit`; `max_coc` is that
// of what is infinitely far. Both infinity and not-a-number, which a distance of 0 gives,
// mean the largest.
inline float limited_blur_diameter(float distance, float focus_distance, float max_coc,
                                   float limit) {
    const float from_focus = std::abs(distance - focus_distance);
    const float blur = from_focus * max_coc / distance;
    return limit > blur ? blur : limit;
}

// The same where the limit is `max_coc` itself, on both sides of the focus.
inline float blur_diameter(float distance, float focus_distance, float max_coc) {
    return limited_blur_diameter(distance, focus_distance, max_coc, max_coc);
}

// `value` as the nearest float; infinity and what no finite float holds become the
// largest finite float of that sign.
float narrowed(double value);

// Whether an aperture's diameter is focal_length / f_stop, up to the rounding of numbers
// that were typed. Diameter and focal length in millimetres.
bool is_aperture(double diameter, double focal_length, double f_stop);

}  // namespace lens
