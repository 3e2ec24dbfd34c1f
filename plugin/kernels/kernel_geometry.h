#pragma once
// Radii, angles and constants of kernels, shared by the code that draws them and the code
// that evaluates them as formulas. Lengths in pixels, angles in radians. Nothing throws,
// and any thread may call it.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numbers>

// Radius of the Disk and of the Polygon's corners for a blur `diameter`: half a pixel
// less than the blur's radius, because the edge fades out over one pixel; at least
// SMALLEST_RADIUS.
inline constexpr double SMALLEST_RADIUS = static_cast<double>(0.0001F);
inline double base_radius(double diameter) {
    return std::max(SMALLEST_RADIUS, (diameter - 1.0) * 0.5);
}
inline double disk_radius(double diameter, bool shrunken) {
    return base_radius(diameter) * (shrunken ? 0.6 : 1.0);
}

// Half the angle of one of the Polygon's sides, as seen from the centre.
inline double half_side_angle(std::int32_t sides) { return std::numbers::pi / sides; }

// Angle, at most `half_angle` to either side, between the direction of (dx, dy) and the
// middle of the Polygon's side in that direction. `turn` is the rotation of the Polygon;
// at 0 the middle of one side is to the right.
inline double angle_from_side(double dx, double dy, double half_angle, double turn) {
    double angle = std::atan2(dy, dx) + turn;
    // The slider turns by a few sides only. A number that was typed may turn by so many
    // that steps of one side would not end, or would be lost in rounding.
    constexpr double MANY = 1000.0;
    if (std::abs(angle) > MANY * half_angle) {
        angle = std::remainder(angle, 2.0 * half_angle);
    }
    while (angle >= half_angle) angle -= 2.0 * half_angle;
    while (angle < -half_angle) angle += 2.0 * half_angle;
    return angle;
}

// The Airy pattern is a function of u, the argument of its Bessel function. It is cut off
// at its third dark ring, which is the edge of the kernel. Radius and diameter of that
// ring, in units of u.
inline constexpr double THIRD_DARK_RING = 10.1735;
inline constexpr double AIRY_DIAMETER = 20.347;
static_assert(AIRY_DIAMETER == 2.0 * THIRD_DARK_RING);
