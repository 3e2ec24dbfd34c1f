#include <CLI/CLI.hpp>

#include <algorithm>
#include <string>
#include <vector>

#include "host/text.h"
#include "pipeline/process/memory_limit.h"
#include "pipeline/shots/shot.h"
#include "programs/command/asked_shot.h"
#include "programs/command/message.h"
#include "programs/command/picture_verbs.h"
#include "programs/command/rendering_session.h"
#include "programs/command/shot_console.h"

namespace focusfall {

namespace {

void note_keys_without_frames(const shot_options& options, const headless::tool& tool) {
    const bool has_keys = std::ranges::any_of(
        tool.controls(),
        [](const headless::control* control) { return control->curve().is_animated(); });
    if (!options.frames.empty() || !has_keys) return;
    print_message(
        "controls have keys, and without --frames only frame 0 is rendered; give another "
        "with --frames");
}

}  // namespace

void run(const render_line& line) {
    line.focus.check(line.shared);
    shared_options shared = line.shared;
    shot_options options = asked_shot(line, shared);
    guard_memory(options.memory_limit);
    shared.hide_times = !options.frames.empty();  // a shot prints its own, frame by frame
    line.input.prepare_lens(shared);
    rendering_session session(shared);
    options.tool_id = session.opened().tool_class().id;
    options.version = FOCUSFALL_VERSION;
    finish_tool(session.tool(), line, options, shared);
    if (!shared.quiet) note_keys_without_frames(options, session.tool());

    shot_console console(options, shared.quiet, session.stop());
    const std::vector<int> failed = render_shot(options, session.tool(), console);
    if (failed.empty()) return;
    std::vector<std::string> numbers;
    for (const int frame : failed) numbers.push_back(std::to_string(frame));
    print_message(std::to_string(failed.size()) + " of " +
                  std::to_string(options.frames.size()) +
                  " frames failed: " + headless::joined(numbers));
    throw CLI::RuntimeError(1);
}

}  // namespace focusfall
