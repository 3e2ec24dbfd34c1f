#include "programs/command/picture_library.h"

#include "pipeline/process/memory_limit.h"
#include "programs/command/asked_shot.h"

namespace focusfall {

void need_pictures() {}

void take_from_picture(headless::tool& tool, const controls_line& line,
                       const shared_options& shared) {
    shot_options shot;
    shot.input = line.input.input;
    shot.depth_map = line.input.depth_map;
    shot.load = line.input.load;
    shot.memory_limit = available_memory();
    take_lens(tool, line.input, shot, shared);
    take_focus(tool, line.focus, shot, shared.quiet);
}

}  // namespace focusfall
