#pragma once
// Which frames of a shot are rendered and which are left out, decided before the first.

#include <string>
#include <vector>

#include "host/headless_host.h"
#include "pipeline/shots/shot_observer.h"
#include "pipeline/shots/shot_options.h"

namespace focusfall {

// Looks at the files of all frames. Throws headless::host_error for an output that is to
// be replaced and may not be, when no frame has the files that others are to be made
// from, and for a background that the tool does not take.
shot_plan plan_of(const shot_options& options, const headless::tool& tool);

}  // namespace focusfall
