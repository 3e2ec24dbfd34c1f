#pragma once
// The chess pieces of the demo scene, as distance fields.

#include <vector>

#include "pipeline/demo_scene/demo_vector.h"

namespace focusfall {

enum class piece_kind { PAWN, ROOK, BISHOP, QUEEN, KING };

// A ball around a thing.
struct ball {
    vec3 centre;
    float radius;
};

// One piece on the board.
struct piece {
    // `foot` is the middle of its base; a king is 99 mm tall at scale 1; `axis`, of
    // length 1, points from the foot to the head.
    piece(piece_kind kind, bool white, vec3 foot, float scale, vec3 axis = {0, 1, 0});

    piece_kind kind;
    bool white;
    vec3 foot;
    float scale;
    vec3 axis;
    vec3 front;  // two directions across the axis
    vec3 beside;
    ball bound;
};

// Distance from `p` to the piece's surface, negative inside. [any thread]
float piece_distance(const piece& piece, vec3 p);
vec3 piece_normal(const piece& piece, vec3 p);

// The part of a ray on which the piece can be, lengths from its origin; empty, with
// `from` above `to`, for most rays. `direction` has length 1; `margin` is added all
// around.
struct span {
    float from;
    float to;
};
span piece_span(const piece& piece, vec3 origin, vec3 direction, float margin);

}  // namespace focusfall
