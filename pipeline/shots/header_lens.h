#pragma once
// The lens that the headers of a shot's pictures tell.

#include <string>
#include <vector>

#include "host/headless_host.h"
#include "pipeline/shots/shot_options.h"

namespace focusfall {

// Gives the tool's lens controls and "FocusPosition" what the headers of the shot's
// inputs say, as keys where they differ from frame to frame; the controls called `kept`
// stay as they are. The focus needs a depth of distances, whose unit the shot's scale or
// the tool's "DepthMapUnits" says, and stays with any other. Frames whose input cannot be
// read are left out. Gives a sentence that tells what was set by which attributes, and
// what the headers lack. Throws headless::host_error that names the first input when its
// header tells nothing of a lens, and when no input can be read.
std::string set_lens(headless::tool& tool, const shot_options& shot,
                     const std::vector<std::string>& kept);

}  // namespace focusfall
