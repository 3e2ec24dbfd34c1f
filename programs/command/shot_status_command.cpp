#include <CLI/CLI.hpp>

#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "pipeline/farm/shot_status.h"
#include "pipeline/shots/frame_range.h"
#include "programs/command/commands.h"
#include "programs/command/input_options.h"
#include "programs/command/message.h"

namespace focusfall {

namespace {

struct status_line {
    std::string output;
    std::string frames;
    std::vector<std::string> logs;
    bool as_json = false;
};

void tell(const status_line& line) {
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

}  // namespace

void add_shot_status_command(CLI::App& app) {
    auto line = std::make_shared<status_line>();
    CLI::App* verb = app.add_subcommand("shot-status",
                                        "Tell which frames of a shot are done, stale, "
                                        "running, failed or waiting");
    verb->add_option("output", line->output, "Pictures of the shot, as out.####.exr")
        ->required()
        ->type_name("FILE");
    verb->add_option("--frames", line->frames, "Frames of the shot, as in 1-48")
        ->required()
        ->check(accepted_by(parse_frames))
        ->type_name("LIST");
    verb->add_option("--log", line->logs,
                     "Log that a render wrote (repeatable; those of `focusfall submit` "
                     "are found)")
        ->allow_extra_args(false)
        ->type_name("FILE");
    verb->add_flag("--json", line->as_json, "Print JSON instead of text");
    verb->footer("The exit status is 0 when all frames are done, else 1.");
    verb->callback([line] { tell(*line); });
}

}  // namespace focusfall
