#pragma once
// A tool's forecast of a frame: its blur and its memory, before it is rendered.

#include <cstdint>
#include <functional>
#include <string>

#include "host/api/image.h"

// The frame, as far as it is known without pixels.
struct FrameShape {
    std::int32_t width = 0;  // of the input, pixels
    std::int32_t height = 0;
    // an image will be connected that gives the blur's shape
    bool has_blur_image = false;
};

// The forecast of one frame. As constructed, it is that of a tool that does not blur by
// depth.
struct FrameForecast {
    // Which component of the depth image is read.
    Image::Component depth = Image::Z;
    // Diameter of the largest blur, pixels; infinite when it has no bound.
    double largest_blur = 0.0;
    // Blur diameter in pixels for a value of the depth image, as the frame will have it.
    // Empty: depth does not blur. Holds code of the tool: only to be called, copied or
    // destroyed while the tool is there. [any thread]
    std::function<float(float depth)> blur_of;
    // Distance of what has that value of the depth image, by which it lies in front of
    // the focus or behind it: in millimetres when `is_measured`, else without a unit. As
    // blur_of.
    std::function<float(float depth)> distance_of;
    float focus_distance = 0.0F;  // of what is sharp
    bool is_measured = false;
    // What an artist would change, as in "lower MaxBlurSize, or raise ...".
    std::string less_blur;  // to blur less; a clause for messages, without a full stop
    std::string more_blur;  // likewise, to blur more
    // Estimate of the memory that the tool needs for the frame, bytes, without its input
    // and output images; `blur_bytes` is the part that a smaller blur would save.
    std::uint64_t bytes = 0;
    std::uint64_t blur_bytes = 0;
    // Whether the tool is done with a pixel of its input, and with all around it, before
    // it writes that pixel: then the result may lie in the memory of the input.
    bool reads_first = false;
};
