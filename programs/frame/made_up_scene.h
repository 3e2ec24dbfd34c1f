#pragma once
// A picture to blur where there is no file.

#include "host/api/image.h"

// The scene in `width` x `height` pixels, with depth in Z from 0, near, to 1, far: a
// floor of squares that leads away, scattered lights far brighter than 1, a near square
// that hides a part of it, and a corner of which nothing is opaque. Made of sums,
// products and quotients alone: the same bits on every platform.
Owned<Image> made_up_scene(std::int32_t width, std::int32_t height);
