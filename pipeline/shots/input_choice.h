#pragma once
// What of a file's headers is the picture that a frame is made from.

#include <filesystem>

#include "host/error.h"
#include "pipeline/pictures/input_picture.h"
#include "pipeline/shots/load_choices.h"

namespace focusfall {

// What is taken of an input with these headers: colours, their depths and the windows.
// With `has_map`, the name of the depth's channel is that of a depth map. Throws
// host_error, without the file's name, when something is missing or several things are
// as likely; depth only where the frame `needs_depth` of this file.
input_picture chosen_input(picture headers, const load_choices& choices, bool has_map,
                           bool needs_depth);

// Places a file that has no display window of its own under that one, if both are of one
// size.
void place_display(picture& file, const window& to);

// Does the work, and puts the file's name before the text of what goes wrong.
template <class Work>
auto with_name_in_errors(const std::filesystem::path& file, Work work) {
    try {
        return work();
    } catch (const headless::host_error& error) {
        throw headless::host_error(file.string() + ": " + error.what());
    }
}

}  // namespace focusfall
