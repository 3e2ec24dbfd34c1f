#pragma once
// One source pixel on its way into the blur.

struct depth_sample {
    float x;  // pixels; a pixel's own sample lies on whole numbers
    float y;
    float r;
    float g;
    float b;
    float a;
    float depth;   // distance from the camera, millimetres
    float weight;  // of the whole sample; 1 for a pixel's own
};
static_assert(sizeof(depth_sample) == 32);
