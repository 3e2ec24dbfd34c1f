#pragma once
// Points, directions and colours of the demo scene, and its noise.

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace focusfall {

// x right, y up, z away from the camera, millimetres; or red, green, blue.
struct vec3 {
    float x = 0.0F;
    float y = 0.0F;
    float z = 0.0F;
};

inline vec3 operator+(vec3 a, vec3 b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }
inline vec3 operator-(vec3 a, vec3 b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
inline vec3 operator*(vec3 a, vec3 b) { return {a.x * b.x, a.y * b.y, a.z * b.z}; }
inline vec3 operator*(vec3 a, float s) { return {a.x * s, a.y * s, a.z * s}; }
inline vec3& operator+=(vec3& a, vec3 b) { return a = a + b; }
inline float dot(vec3 a, vec3 b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
inline vec3 cross(vec3 a, vec3 b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
inline float length(vec3 a) { return std::sqrt(dot(a, a)); }
inline vec3 normalized(vec3 a) { return a * (1.0F / length(a)); }
inline vec3 reflected(vec3 a, vec3 normal) {
    return a - normal * (2.0F * dot(a, normal));
}
inline float mix(float a, float b, float t) { return a + (b - a) * t; }
inline vec3 mix(vec3 a, vec3 b, float t) { return a + (b - a) * t; }

// 0 below `from`, 1 above `to`, smooth between.
inline float smooth_step(float from, float to, float x) {
    const float t = std::clamp((x - from) / (to - from), 0.0F, 1.0F);
    return t * t * (3.0F - 2.0F * t);
}

// A random number from 0 to 1 for a place of a grid: the same on every run.
inline float noise_at(std::int32_t x, std::int32_t y, std::uint32_t seed) {
    std::uint32_t h = static_cast<std::uint32_t>(x) * 0x9e3779b1U ^
                      static_cast<std::uint32_t>(y) * 0x85ebca77U ^ seed * 0xc2b2ae3dU;
    h = (h ^ (h >> 15)) * 0x2c1b3c6dU;
    h = (h ^ (h >> 12)) * 0x297a2d39U;
    return static_cast<float>((h ^ (h >> 15)) >> 8) * 0x1p-24F;
}

// Noise between the places of the grid.
inline float smooth_noise(float x, float y, std::uint32_t seed) {
    const float column = std::floor(x);
    const float row = std::floor(y);
    const auto ix = static_cast<std::int32_t>(column);
    const auto iy = static_cast<std::int32_t>(row);
    const float fx = smooth_step(0.0F, 1.0F, x - column);
    const float fy = smooth_step(0.0F, 1.0F, y - row);
    const float top = mix(noise_at(ix, iy, seed), noise_at(ix + 1, iy, seed), fx);
    const float bottom =
        mix(noise_at(ix, iy + 1, seed), noise_at(ix + 1, iy + 1, seed), fx);
    return mix(top, bottom, fy);
}

}  // namespace focusfall
