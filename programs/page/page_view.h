#pragma once
// What a page can look at, and how.

#include <string>

namespace focusfall {

// KERNEL is the blur of one bright point, in the style of the settings.
enum class page_view { RESULT, INPUT, DEPTH, FOCUS, DIAMETER, KERNEL };

// Throws headless::host_error for a name that is none of "result", "input", "depth",
// "focus", "diameter" and "kernel".
page_view page_view_named(const std::string& name);

// How light is shown.
struct display_look {
    double exposure = 0.0;  // in stops
    // "srgb", "rec709", "linear", or "soft": sRGB with highlights that roll off
    std::string transform = "srgb";

    friend bool operator==(const display_look&, const display_look&) = default;
};

}  // namespace focusfall
