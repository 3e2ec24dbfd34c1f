#pragma once
// What a line asks for of a shot and its tool, and has to be looked up in pictures.

#include <string>

#include "pipeline/shots/shot_options.h"
#include "programs/command/focus_option.h"
#include "programs/command/input_options.h"
#include "programs/command/render_line.h"

namespace focusfall {

// The shot with the picture that a line reads, and how, the frames of a list that may be
// empty, and the memory that there is unless it has a limit. Throws headless::host_error
// that names what is wrong with the frames.
shot_options with_input(shot_options shot, const input_options& input,
                        const std::string& frames = "");

// The shot of the line, complete, and in `complete`, a copy of `line.shared`, what a
// record adds to that. Throws headless::host_error or CLI::ValidationError that names the
// option or file at fault.
shot_options asked_shot(const render_line& line, shared_options& complete);

// Gives the tool the lens of the shot's headers, except for what --set gave, and gives a
// sentence about it. Does nothing, and gives nothing, unless the line asks for that lens.
// Throws headless::host_error as set_lens does.
std::string take_lens(headless::tool& tool, const input_options& input,
                      const shot_options& shot, const shared_options& shared);

// Makes the depths that the shot has at the option's points the tool's focus, and says so
// on standard error unless `quiet`. Does nothing unless the option is given. Throws
// headless::host_error that names the file at fault.
void take_focus(headless::tool& tool, const focus_option& focus, const shot_options& shot,
                bool quiet);

// Both, as a line of `focusfall render` asks for them: `tool` was made by `complete`.
void finish_tool(headless::tool& tool, const render_line& line, const shot_options& shot,
                 const shared_options& complete);

}  // namespace focusfall
