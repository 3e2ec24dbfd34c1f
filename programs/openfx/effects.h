#pragma once
// The effects of the bundle, one for each tool class.

#include <memory>

#include "host/headless_host.h"

namespace focusfall {

// Artists' projects name the effect and its parameters: no identifier may ever change.
struct effect_kind {
    const char* identifier;
    const char* label;
    const char* tool_class;
    const char* description;
};

inline constexpr effect_kind EFFECTS[] = {
    {"kestrelworks.Focusfall", "Focusfall", "kestrelworks.FocusfallFast",
     "Blurs a picture by depth, as a camera lens does. The depth is the first component "
     "of the input Depth, or a channel of the picture."},
    {"kestrelworks.FocusfallLayered", "Focusfall Layered",
     "kestrelworks.FocusfallLayered",
     "Blurs a picture by depth, as a camera lens does, and knows what hides what: a "
     "sharp "
     "edge stays sharp before a blurred background. The depth is the first component of "
     "the input Depth, or a channel of the picture."},
};
inline constexpr int EFFECT_COUNT = sizeof EFFECTS / sizeof *EFFECTS;

// A tool of that effect as it looks when an artist opens it. Throws headless::host_error
// when its class is not linked in, and std::bad_alloc.
std::unique_ptr<headless::tool> new_tool(headless::host& host, const effect_kind& kind);

}  // namespace focusfall
