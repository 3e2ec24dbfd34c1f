#pragma once
// One source pixel on its way into the blur.

struct depth_sample {
    float x;  // pixels; a whole number where the sample is a pixel of the input
    float y;
    float r;  // premultiplied colour, as in the image; may be non-finite
    float g;
    float b;
    float a;
    float depth;   // distance from the camera, millimetres
    float weight;  // factor for its kernel; 1 where the sample is a pixel of the input
};
static_assert(sizeof(depth_sample) == 32);
