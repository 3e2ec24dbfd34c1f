#pragma once
// Keeps the blur as large as the display window asks for, however much more of the
// picture the tool is given.

#include <map>
#include <string>

#include "host/headless_host.h"
#include "pipeline/regions/window.h"

namespace focusfall {

// Values for a render order, by control.
using control_values = std::map<std::string, headless::render_order::value>;

// Values at `time` for the tool's controls that count in picture widths (the largest
// blur, the width of the film), so that a picture of `area`, which holds `display`, blurs
// as one of `display` would. Empty when both are as wide. Throws nothing of its own. [any
// thread]
control_values overscan_scale(const headless::tool& tool, TimeStamp time,
                              const window& display, const window& area);

}  // namespace focusfall
