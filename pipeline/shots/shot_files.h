#pragma once
// The files of a shot, frame by frame.

#include <vector>

#include "pipeline/shots/frame_loader.h"
#include "pipeline/shots/shot.h"

namespace focusfall {

// The names that the files of a frame have.
frame_files files_of(const shot_options& options, int frame);

// The frames to render: 0 alone when the options have none.
std::vector<int> frames_of(const shot_options& options);

// Whether all that a frame writes has been written.
bool are_there(const frame_files& files);

// Throws headless::host_error when the frames would overwrite one another or an input,
// or when names hold a place for a frame number and there are no frames.
void check_names(const shot_options& options);

}  // namespace focusfall
