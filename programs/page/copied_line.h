#pragma once
// The command line that makes what a page shows.

#include <string>

#include "host/headless_host.h"
#include "pipeline/shots/shot_options.h"

namespace focusfall {

// `focusfall render ...` with the files of `shot`, how they are read, and every value of
// `tool` that a new tool would not have, for a shell. `scratch` is another tool of the
// class, which this edits: so it is found out which edits lead to these values, for one
// edit may change several. Throws headless::host_error. [the editing thread of `scratch`]
std::string copied_line(const shot_options& shot, const headless::tool& tool,
                        headless::tool& scratch);

// A name for the output of that shot, in the present folder: "scene.blurred.exr".
std::string output_name(const shot_options& shot);

}  // namespace focusfall
