#pragma once
// Pictures that show what a frame's depth and focus are, in place of its blur.

#include <string>

#include "host/api/forecast.h"
#include "host/api/image.h"
#include "pipeline/preparation/depth_steps.h"

namespace focusfall {

enum class view_kind {
    RESULT,    // the blurred picture
    DEPTH,     // depth in false colours, with its scale
    FOCUS,     // the picture: sharp green, in front of the focus orange, behind it blue
    DIAMETER,  // the blur's diameter in pixels, with its scale
};

// The kind called "depth", "focus" or "diameter". Throws headless::host_error for any
// other name.
view_kind view_named(const std::string& name);

// What a pixel may be blurred by, in pixels, and still count as sharp.
inline constexpr float SHARP_DIAMETER = 1.0F;

// The depth of a frame, in images of one size.
struct viewed_depth {
    const Image& in_file;
    const Image& for_tool;  // what was made of it; may be the same
    const empty_pixels& empty;
    bool large_is_near = false;  // in the file
};

// The view, but for RESULT, of a frame with that `color`, as large as its `depth`; it may
// be higher than they, by its scale. Throws headless::host_error for a tool that does not
// blur by depth, and std::bad_alloc. [any thread]
Owned<Image> made_view(view_kind kind, const Image& color, const viewed_depth& depth,
                       const FrameForecast& forecast);

}  // namespace focusfall
