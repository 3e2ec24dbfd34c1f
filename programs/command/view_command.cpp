#include <iostream>
#include <memory>
#include <optional>

#include "pipeline/process/memory_limit.h"
#include "pipeline/shots/frame_range.h"
#include "pipeline/shots/shot_files.h"
#include "programs/command/commands.h"
#include "programs/command/focus_option.h"
#include "programs/command/input_options.h"
#include "programs/command/message.h"
#include "programs/command/rendering_session.h"
#include "programs/page/opened_browser.h"
#include "programs/page/view_page.h"

namespace focusfall {

namespace {

struct view_line {  // NOLINT(bugprone-exception-escape)
    shared_options shared;
    input_options input;
    focus_option focus;
    shot_options shot;
    std::string frames;
    page_options page;
    bool opens_no_browser = false;
};

shot_options shot_of(const view_line& line) {
    shot_options shot = line.shot;
    shot.input = line.input.input;
    shot.depth_map = line.input.depth_map;
    shot.load = line.input.load;
    shot.output_as.encoding = shot.load.encoding;
    if (!line.frames.empty()) shot.frames = listed_frames(line.frames, shot.input);
    if (shot.memory_limit == UINT64_MAX) shot.memory_limit = available_memory();
    shot.version = FOCUSFALL_VERSION;
    return shot;
}

void show_page(const view_line& line) {
    line.focus.check(line.shared);
    shared_options shared = line.shared;
    shared.hide_times = true;  // of each of many frames
    shot_options shot = shot_of(line);
    guard_memory(shot.memory_limit);
    line.input.prepare_lens(shared);
    rendering_session session(shared);
    const std::string lens = line.input.take_lens(session.tool(), shot, shared);
    if (!lens.empty() && !shared.quiet) print_message(shot.input + ": " + lens);
    shot.tool_id = session.opened().tool_class().id;
    line.focus.apply(session.tool(), shot, shared.quiet);

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

}  // namespace

void add_view_command(CLI::App& app) {
    auto line = std::make_shared<view_line>();
    CLI::App* verb = app.add_subcommand(
        "view", "Show a picture or a shot in the browser, and set its blur by eye");
    line->input.add_to(*verb, "Picture to look at");
    verb->add_option("--blur-image", line->shot.blur_image, "Picture of the blur's shape")
        ->type_name("FILE");
    verb->add_option("--background", line->shot.background,
                     "Picture of what lies behind, with depth (layered tool)")
        ->type_name("FILE");
    line->shared.add_tool_options(*verb);
    line->focus.add_to(*verb);
    verb->add_option("--frames", line->frames,
                     "Frames of a shot, as in 1-48 or 1-10,20, or all that there are")
        ->check(accepted_by([](const std::string& text) {
            if (text != ALL_FRAMES) parse_frames(text);
        }))
        ->type_name("LIST|all");
    verb->add_option("--port", line->page.port, "Port to listen on (default: a free one)")
        ->check(CLI::Range(1, 65535))
        ->type_name("N");
    verb->add_flag("--no-browser", line->opens_no_browser,
                   "Print the page's address without opening it");
    verb->add_flag("--keep", line->page.keeps_running,
                   "Go on after the page was closed for a minute");
    verb->add_option("--memory-limit", line->shot.memory_limit,
                     "Memory to use, as in 8GB (default: what is free, less a margin)")
        ->transform(CLI::AsSizeValue(false))
        ->type_name("SIZE");
    line->shared.add_run_options(*verb);
    verb->callback([line] { show_page(*line); });
}

}  // namespace focusfall
