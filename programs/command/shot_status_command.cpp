#include <CLI/CLI.hpp>

#include <iostream>
#include <string>
#include <vector>

#include "pipeline/farm/shot_status.h"
#include "pipeline/shots/frame_range.h"
#include "programs/command/message.h"
#include "programs/command/picture_verbs.h"

namespace focusfall {

void run(const status_line& line) {
    if (!has_frame_pattern(line.output)) {
        throw headless::host_error(line.output +
                                   ": is no shot; put #### where the frame numbers are");
    }
    const shot_status status = status_of(line.output, parse_frames(line.frames),
                                         {line.logs.begin(), line.logs.end()});
    if (line.as_json) {
        constexpr auto REPLACE = nlohmann::ordered_json::error_handler_t::replace;
        std::cout << json_of(status).dump(2, ' ', false, REPLACE) << "\n";
    } else {
        std::cout << printable(shown(status));
    }
    if (count_of(status, frame_state::DONE) < status.frames.size()) {
        throw CLI::RuntimeError(1);
    }
}

}  // namespace focusfall
