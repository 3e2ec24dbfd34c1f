#pragma once
// Renders the frames of a shot: reading, rendering and writing overlap.

#include <vector>

#include "host/headless_host.h"
#include "pipeline/shots/shot_observer.h"
#include "pipeline/shots/shot_options.h"

namespace focusfall {

// Renders with `tool`, which is not edited and must not be while this runs; check_names
// must have passed. One frame renders on this thread, while the next is read and the last
// is written on others. Files appear whole or not at all. A frame of a shot that fails is
// reported and the others go on; gives the frames that failed. Throws host_error when a
// single frame fails or the log cannot be written, `interrupted` when the observer says
// so or the tool is aborted.
std::vector<int> render_shot(const shot_options& options, headless::tool& tool,
                             shot_observer& observer);

}  // namespace focusfall
