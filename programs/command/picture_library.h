#pragma once
// The library with the verbs that work on pictures (picture_verbs.h), which the program
// loads for a line that needs it: what reads picture files takes a third of a second to
// load.

#include "host/headless_host.h"
#include "programs/command/picture_verbs.h"

namespace focusfall {

// What the program's own part of a verb throws: the library is to run the line.
struct needs_pictures {};

// Throws needs_pictures in the program, and does nothing in the library.
void need_pictures();

// Gives the tool the lens and the focus that the line takes from its picture, as
// `shared`, which has made the tool, says. Throws headless::host_error that names the
// file at fault; needs_pictures in the program.
void take_from_picture(headless::tool& tool, const controls_line& line,
                       const shared_options& shared);

}  // namespace focusfall
