#pragma once
// Focus by eye: pixels that are to be sharp, and the value that makes them so.

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/headless_host.h"

namespace focusfall {

// A pixel of the display window, whose top left one is 0, 0.
struct focus_point {
    std::optional<int> frame;  // that it is looked up in; else the first
    std::int64_t x = 0;
    std::int64_t y = 0;

    std::string shown() const;  // "480,270" or "24:480,270"
};

// Either one point without a frame, or points in ascending order of their frames.
struct focus_points {
    std::vector<focus_point> points;
    bool is_smooth = false;  // the curve through them
};

// The points of a text like "480,270" or "1:480,270,24:700,300,smooth". Throws
// headless::host_error for any other text. [any thread]
focus_points parse_focus_points(const std::string& text);

// Makes the depth that `depth_at` finds at each point the tool's FocusPosition: one
// value, or keys. Gives the edit, as in "FocusPosition=633.2". Throws
// headless::host_error for a tool without that control, and what `depth_at` throws; then
// nothing has changed. [the tool's editing thread]
std::string set_focus(headless::tool& tool, const focus_points& points,
                      const std::function<float(const focus_point&)>& depth_at);

}  // namespace focusfall
