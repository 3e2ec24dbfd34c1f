#pragma once
// What lies far behind the table of the demo scene: a town across a river at dusk.

#include <vector>

#include "pipeline/demo_scene/demo_vector.h"

namespace focusfall {

// One thing that is seen: its colour and its distance along the view axis, millimetres.
struct sight {
    vec3 color;
    float z;
};

// The surface of the river, millimetres above the table.
inline constexpr float RIVER_LEVEL = -14000.0F;
// Where the river ends, millimetres away.
inline constexpr float SHORE = 900000.0F;

// Sky, town or river in a direction: sideways and upwards per unit of distance. River
// only below the shore. [any thread]
sight backdrop(float sideways, float upwards);

// The sky alone, without the town: what polished things mirror.
vec3 sky_color(float sideways, float upwards);

// A small and very bright thing.
struct lamp {
    vec3 place;
    vec3 color;    // radiance, 20 and more
    float radius;  // millimetres
};

// All lamps, the same on every call.
std::vector<lamp> demo_lamps();

}  // namespace focusfall
