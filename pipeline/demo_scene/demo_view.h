#pragma once
// What one ray from the camera of the demo scene meets, and its colour.

#include "pipeline/demo_scene/demo_pieces.h"

namespace focusfall {

// The camera: its place in millimetres, and its pitch, a little downwards.
inline constexpr float PITCH = 0.040F;  // radians
inline constexpr vec3 EYE = {0.0F, 98.0F, 0.0F};
inline const vec3 FORWARD = {0.0F, -std::sin(PITCH), std::cos(PITCH)};
inline const vec3 UPWARD = {0.0F, std::cos(PITCH), std::sin(PITCH)};

enum class surface : std::uint8_t { PIECE, TABLE, RIVER, BEYOND };

struct view_sample {
    vec3 color;
    float z = 0.0F;  // along the view axis, millimetres
    surface what = surface::BEYOND;
    float sheen = 0.0F;  // share of the lamps' light that the surface reflects
};

// What the camera sees in a direction, given as slopes from the view axis: `u` to the
// right and `v` upwards. Without the lamps. [any thread]
view_sample view(float u, float v);

// The piece in focus, the queen.
const piece& subject();

}  // namespace focusfall
