#pragma once
// The chess pieces of the demo scene as signed distance fields.

#include <vector>

#include "pipeline/demo_scene/demo_vector.h"

namespace focusfall {

enum class piece_kind { PAWN, ROOK, BISHOP, QUEEN, KING };

// A bounding sphere, in millimetres.
struct ball {
    vec3 centre;
    float radius;
};

// One piece on the board.
struct piece {
    // `foot` is the middle of the base; a king is 99 mm tall at scale 1; `axis`, of
    // length 1, points from the foot to the head.
    piece(piece_kind kind, bool white, vec3 foot, float scale, vec3 axis = {0, 1, 0});

    piece_kind kind;
    bool white;
    vec3 foot;
    float scale;
    vec3 axis;
    // of length 1, at right angles to the axis and to each other
    vec3 front;
    vec3 beside;
    ball bound;
};

// Distance from `p` to the piece's surface in millimetres, negative inside; outside it
// may be too small, never too large. [any thread, as all here]
float piece_distance(const piece& piece, vec3 p);

// The surface normal at `p`, a point of the surface; of length 1.
vec3 piece_normal(const piece& piece, vec3 p);

// A part of a ray, in millimetres from its origin; empty when `from` is above `to`.
struct span {
    float from;
    float to;
};
// The part of a ray within which it can meet the piece, enlarged by `margin` on all
// sides; empty for most rays. `direction` has length 1.
span piece_span(const piece& piece, vec3 origin, vec3 direction, float margin);

}  // namespace focusfall
