#pragma once
// The files of a shot, frame by frame.

#include <filesystem>
#include <vector>

#include "pipeline/shots/frame_loader.h"
#include "pipeline/shots/shot_options.h"

namespace focusfall {

// The names that the files of a frame have.
frame_files files_of(const shot_options& options, int frame);

// The files that a frame is made from; names may be empty.
std::vector<std::filesystem::path> read_files(const frame_files& files);

// Stands for every frame of a shot.
inline constexpr const char* ALL_FRAMES = "all";

// The frames to render: 0 alone when the options have none.
std::vector<int> frames_of(const shot_options& options);

// The numbers that the files of that name have now, in ascending order; `pattern` has its
// places for the number in the file's name alone. Throws headless::host_error when it has
// none or others, and when there is no such file.
std::vector<int> frames_there(const std::string& pattern);

// The frames that a text like "1-48", or "all" for those that are there and what is
// missing between them, lists of the shot `pattern`. Throws headless::host_error.
std::vector<int> listed_frames(const std::string& text, const std::string& pattern);

// Whether all that a frame writes has been written.
bool are_there(const frame_files& files);

// Checks the names before anything is written. Throws headless::host_error that names the
// file when a name has a place for a view, or one for a frame number and there are no
// frames, when an output
// or the log is an input, when two outputs are one file, when a folder is missing,
// when the output has no room for several layers, and for a view or a channel that has no
// file to go to.
void check_names(const shot_options& options);

}  // namespace focusfall
