#pragma once
// Scenes whose depth is told by the blur that it makes, for tests of what hides what.

#include <functional>

#include "tests/support/frame_fixture.h"

namespace layered_scene {

// The largest blur of all scenes, in pixels.
inline constexpr double LARGEST = 24.0;
inline constexpr double FOCUS = 100.0;

// The depth at which the blur has that diameter, negative in front of the focus.
inline float depth_of(double diameter) {
    // a distance is the depth plus 1
    return static_cast<float>((FOCUS + 1.0) / (1.0 - diameter / LARGEST) - 1.0);
}

struct pixel {
    double red;
    double green;
    double blue;
    double diameter;  // signed, pixels
    double alpha = 1.0;
};
inline pixel gray(double value, double diameter) {
    return {value, value, value, diameter};
}

// A picture whose pixels are paint(x, y).
inline frame_model::picture painted(int width, int height,
                                    const std::function<pixel(int, int)>& paint) {
    frame_model::picture result = blank(width, height);
    for (int i = 0; i < width * height; ++i) {
        const pixel p = paint(i % width, i / width);
        float* const to = &result.at(i % width, i / width, 0);
        to[BLUE] = static_cast<float>(p.blue);
        to[GREEN] = static_cast<float>(p.green);
        to[RED] = static_cast<float>(p.red);
        to[ALPHA] = static_cast<float>(p.alpha);
        to[Z] = depth_of(p.diameter);
    }
    return result;
}

// The settings of all scenes, of that width, in a style.
inline frame_model::controls lens_for(int width, int style = 0) {
    return {{"MaxBlurSize", LARGEST / width * 100.0},
            {"FocusPosition", FOCUS},
            {"BlurStyle", style},
            {"Normalize", 1}};
}

struct layered_tool : plugin_tool {
    explicit layered_tool(int threads = 2)
        : plugin_tool(threads, {}, LAYERED_PLUGIN_FILE) {}
};
struct plain_tool : plugin_tool {
    plain_tool() : plugin_tool(1, {}, PLUGIN_FILE) {}
};

}  // namespace layered_scene
