#include "programs/command/picture_verbs.h"

#include "pipeline/shots/frame_range.h"
#include "pipeline/shots/shot_files.h"

namespace focusfall {

namespace {

// What is wrong with a pixel to look at; empty when nothing is.
std::string fault_of_pixel(const std::string& text) {
    const std::string fault = accepted_by(parse_focus_points)(text);
    if (!fault.empty()) return fault;
    const focus_points points = parse_focus_points(text);
    const bool is_plain = points.points.size() == 1 && !points.points.front().frame;
    return is_plain ? "" : "\"" + text + "\": is not one pixel; write X,Y";
}

}  // namespace

void view_line::add_to(CLI::App& verb) {
    input.add_to(verb, "Picture to look at");
    verb.add_option("--blur-image", shot.blur_image, "Picture of the blur's shape")
        ->type_name("FILE");
    verb.add_option("--background", shot.background,
                    "Picture of what lies behind, with depth (layered tool)")
        ->type_name("FILE");
    shared.add_tool_options(verb);
    focus.add_to(verb);
    verb.add_option("--frames", frames,
                    "Frames of a shot, as in 1-48 or 1-10,20, or all that there are")
        ->check(accepted_by([](const std::string& text) {
            if (text != ALL_FRAMES) parse_frames(text);
        }))
        ->type_name("LIST|all");
    verb.add_option("--port", page.port, "Port to listen on (default: a free one)")
        ->check(CLI::Range(1, 65535))
        ->type_name("N");
    verb.add_flag("--no-browser", opens_no_browser,
                  "Print the page's address without opening it");
    verb.add_flag("--keep", page.keeps_running,
                  "Go on after the page was closed for a minute");
    verb.add_option("--memory-limit", shot.memory_limit,
                    "Memory to use, as in 8GB (default: what is free, less a margin)")
        ->transform(CLI::AsSizeValue(false))
        ->type_name("SIZE");
    shared.add_run_options(verb);
}

void inspect_line::add_to(CLI::App& verb) {
    input.add_to(verb, "Picture to look at");
    verb.add_option("--at", pixels,
                    "Pixel to look at, from 0,0 at the top left (repeatable)")
        ->type_name("X,Y")
        ->allow_extra_args(false)
        ->check(fault_of_pixel);
    focus.add_to(verb);
    verb.add_flag("--json", as_json, "Print JSON instead of text");
    shared.add_tool_options(verb);
}

void controls_line::add_to(CLI::App& verb) {
    input.add_to(verb, "Picture for --focus-at and --lens-from-header");
    verb.get_option("input")->required(false);
    shared.add_tool_options(verb);
    focus.add_to(verb);
    verb.add_flag("--json", as_json, "Print JSON instead of a table");
    verb.add_option("--save", save_as,
                    "Write a settings file of what was edited instead of printing")
        ->type_name("FILE");
    verb.add_option("--save-all", save_all,
                    "Write a settings file of all values instead of printing")
        ->type_name("FILE");
    verb.add_flag("--presets", presets, "List the presets that --settings takes instead");
}

void kernels_line::add_to(CLI::App& verb) {
    verb.add_option("-o,--output", output, "Picture to write")
        ->type_name("FILE")
        ->required();
    verb.add_option("--diameter", diameters,
                    "Blur diameter in pixels (repeatable, or a list with commas)")
        ->delimiter(',')
        ->check(CLI::Range(0.01, 200.0))
        ->capture_default_str();
    verb.add_option("--blur-image", blur_image, "Picture of the blur's shape")
        ->type_name("FILE");
    verb.add_flag("--all-styles", all_styles, "Draw a row for each style");
    shared.add_tool_options(verb);
}

void demo_line::add_to(CLI::App& verb) {
    verb.add_option("DIR", folder, "Folder for the pictures; made if missing")
        ->required()
        ->type_name("");
    verb.add_option("--size", size, "Size of the pictures")
        ->type_name("WxH")
        ->capture_default_str();
    shared.add_class_options(verb);
    shared.add_run_options(verb);
}

void submit_line::add_to(CLI::App& verb) {
    verb.add_option("--engine", engine,
                    "slurm queues the tasks, local runs them one after another on this "
                    "machine, openjd writes a template for engines that read it")
        ->required()
        ->check(CLI::IsMember({"slurm", "local", "openjd"}));
    verb.add_option("--chunk", chunk,
                    "Frames of a task (default: 4 or more on an engine, 100 here)")
        ->check(CLI::Range(1, 100'000))
        ->type_name("N");
    verb.add_option("--partition", partition, "Partition of Slurm")->type_name("NAME");
    verb.add_flag("--dry-run", only_shows,
                  "Print the script, or the template, and write and queue nothing");
    verb.add_option("render", words,
                    "The line to render the shot, after --: render IN -o OUT --frames "
                    "LIST ...")
        ->required()
        ->type_name("-- render ...");
}

void status_line::add_to(CLI::App& verb) {
    verb.add_option("output", output, "Pictures of the shot, as out.####.exr")
        ->required()
        ->type_name("FILE");
    verb.add_option("--frames", frames, "Frames of the shot, as in 1-48")
        ->required()
        ->check(accepted_by(parse_frames))
        ->type_name("LIST");
    verb.add_option("--log", logs,
                    "Log that a render wrote (repeatable; those of `focusfall submit` "
                    "are found)")
        ->allow_extra_args(false)
        ->type_name("FILE");
    verb.add_flag("--json", as_json, "Print JSON instead of text");
    verb.footer("The exit status is 0 when all frames are done, else 1.");
}

}  // namespace focusfall
