#pragma once
// The background of the demo scene: a town across a river at dusk.

#include <vector>

#include "pipeline/demo_scene/demo_vector.h"

namespace focusfall {

// What one ray sees: colour, and distance along the view axis in millimetres.
struct sight {
    vec3 color;
    float z;
};

// Height of the river above the table, in millimetres.
inline constexpr float RIVER_LEVEL = -14000.0F;
// Distance at which the river ends, in millimetres.
inline constexpr float SHORE = 900000.0F;

// Sky, town or river in a direction, given as slopes from the view axis: to the right and
// upwards per unit of distance. [any thread, as all here]
sight backdrop(float sideways, float upwards);

// The sky without the town, for reflections.
vec3 sky_color(float sideways, float upwards);

// A small, very bright sphere.
struct lamp {
    vec3 place;
    vec3 color;    // radiance, 20 and more; far below 1 for the parts of a wire
    float radius;  // millimetres
};

// All lamps, the same on every call.
std::vector<lamp> demo_lamps();

}  // namespace focusfall
