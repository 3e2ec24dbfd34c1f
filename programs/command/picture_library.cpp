#include "programs/command/picture_library.h"

#include "programs/command/asked_shot.h"

namespace focusfall {

void need_pictures() {}

void take_from_picture(headless::tool& tool, const controls_line& line,
                       const shared_options& shared) {
    const shot_options shot = with_input({}, line.input);
    take_lens(tool, line.input, shot, shared);
    take_focus(tool, line.focus, shot, shared.quiet);
}

}  // namespace focusfall
