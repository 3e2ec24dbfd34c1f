#include <iostream>
#include <optional>

#include "pipeline/process/memory_limit.h"
#include "programs/command/asked_shot.h"
#include "programs/command/message.h"
#include "programs/command/picture_verbs.h"
#include "programs/command/rendering_session.h"
#include "programs/page/opened_browser.h"

namespace focusfall {

void run(const view_line& line) {
    line.focus.check(line.shared);
    shared_options shared = line.shared;
    shared.hide_times = true;  // of each of many frames
    shot_options shot = with_input(line.shot, line.input, line.frames);
    shot.version = FOCUSFALL_VERSION;
    guard_memory(shot.memory_limit);
    line.input.prepare_lens(shared);
    rendering_session session(shared);
    const std::string lens = take_lens(session.tool(), line.input, shot, shared);
    if (!lens.empty() && !shared.quiet) print_message(shot.input + ": " + lens);
    shot.tool_id = session.opened().tool_class().id;
    take_focus(session.tool(), line.focus, shot, shared.quiet);

    std::optional<opened_browser> browser;
    page_options page = line.page;
    page.announce = [&](const std::string& address) {
        std::cout << address << std::endl;
        if (!line.opens_no_browser) browser.emplace(address);
    };
    page.is_stopped = [&] { return session.stop().is_requested(); };
    view_page(shot, session.opened(), session.tool(), page);
    session.stop().check();
}

}  // namespace focusfall
