#pragma once
// The focus of a shot by pixels of its own frames.

#include <string>

#include "pipeline/inspection/focus_points.h"
#include "pipeline/shots/shot_options.h"

namespace focusfall {

// As set_focus with the depths of the shot's own frames, each read as the shot would.
// Throws headless::host_error that names the file at fault.
std::string set_focus(headless::tool& tool, const focus_points& points,
                      const shot_options& shot);

}  // namespace focusfall
