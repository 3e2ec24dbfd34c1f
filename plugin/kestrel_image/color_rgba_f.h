#pragma once
// The pixel of the colour accumulator.

// Four floats in this memory order: premultiplied colour and alpha. In an image each
// pixel starts on a 16-byte boundary, so that it can be loaded and stored as one vector.
struct color_rgba_f {
    float r;
    float g;
    float b;
    float a;
};
static_assert(sizeof(color_rgba_f) == 16);
