#include <CLI/CLI.hpp>

#include <algorithm>
#include <filesystem>
#include <memory>

#include "host/error.h"
#include "host/text.h"
#include "pipeline/pictures/picture_format.h"
#include "pipeline/process/memory_limit.h"
#include "pipeline/shots/frame_range.h"
#include "pipeline/shots/shot.h"
#include "pipeline/shots/shot_files.h"
#include "pipeline/shots/shot_record.h"
#include "programs/command/commands.h"
#include "programs/command/focus_option.h"
#include "programs/command/input_options.h"
#include "programs/command/message.h"
#include "programs/command/rendering_session.h"
#include "programs/command/shot_console.h"

namespace focusfall {

namespace {

constexpr const char* ALL_FRAMES = "all";

// The line as it was typed; `checked` completes `shot` from the rest.
struct render_line {
    shared_options shared;
    input_options input;
    focus_option focus;
    shot_options shot;
    std::string data_type;
    std::string frames;
    std::string from_record;  // optional: empty
};

// Completes the options by the record of the picture that is made again.
void take_record(const render_line& line, shot_options& options, shared_options& shared) {
    recorded_render recorded = render_recorded_in(line.from_record, options);
    options = std::move(recorded.shot);
    if (options.output.empty()) options.output = line.from_record;
    if (shared.tool_id.empty()) shared.tool_id = options.tool_id;
    shared.start = std::move(recorded.settings);
    if (shared.quiet) return;
    for (const std::filesystem::path& file : recorded.changed) {
        print_message(file.string() + ": has changed since " + line.from_record +
                      " was made from it");
    }
    if (options.version == FOCUSFALL_VERSION) return;
    print_message(line.from_record + ": was made by version " + options.version);
}

// What the line asks for, complete, and `shared` with what a record adds to it. Throws
// headless::host_error or CLI::ValidationError that names the option or file at fault.
shot_options checked(const render_line& line, shared_options& shared) {
    shot_options options = line.shot;
    options.input = line.input.input;
    options.depth_map = line.input.depth_map;
    options.load = line.input.load;
    options.output_as.encoding = options.load.encoding;
    if (line.frames == ALL_FRAMES) {
        options.frames = without_holes(frames_there(options.input));
    } else if (!line.frames.empty()) {
        options.frames = parse_frames(line.frames);
    }
    if (line.data_type == "half") options.output_as.type = OIIO::TypeDesc::HALF;
    if (line.data_type == "float") options.output_as.type = OIIO::TypeDesc::FLOAT;
    if (options.memory_limit == UINT64_MAX) options.memory_limit = available_memory();
    if (!line.from_record.empty()) take_record(line, options, shared);

    if (output_format(options.output).has_named_channels) {
        const std::string& name = options.output_as.compression;
        const std::string fault = accepted_by(check_compression)(name);
        if (!fault.empty()) throw CLI::ValidationError("--compression", fault);
    }
    if (!options.preview.empty()) output_format(options.preview);  // only its errors
    check_names(options);
    return options;
}

void note_keys_without_frames(const shot_options& options, const headless::tool& tool) {
    const bool has_keys = std::ranges::any_of(
        tool.controls(),
        [](const headless::control* control) { return control->curve().is_animated(); });
    if (!options.frames.empty() || !has_keys) return;
    print_message(
        "controls have keys, and without --frames only frame 0 is rendered; give another "
        "with --frames");
}

void render(const render_line& line) {
    line.focus.check(line.shared);
    hold_back_signals();  // first: the library for picture files starts threads
    shared_options shared = line.shared;
    shot_options options = checked(line, shared);
    guard_memory(options.memory_limit);
    shared.hide_times = !options.frames.empty();  // a shot prints its own, frame by frame
    line.input.prepare_lens(shared);
    rendering_session session(shared);
    const std::string lens = line.input.take_lens(session.tool(), options, shared);
    if (!lens.empty() && !shared.quiet) print_message(options.input + ": " + lens);
    options.tool_id = session.opened().tool_class().id;
    options.version = FOCUSFALL_VERSION;
    line.focus.apply(session.tool(), options, shared.quiet);
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

void add_file_options(CLI::App& verb, render_line& line) {
    shot_options& shot = line.shot;
    line.input.add_to(verb, "Picture to blur");
    CLI::Option* output = verb.add_option("-o,--output", shot.output, "Picture to write")
                              ->required()
                              ->type_name("FILE");
    verb.add_option_function<std::string>(
            "--from-record",
            [&line, output, input = verb.get_option("input")](const std::string& file) {
                line.from_record = file;
                input->required(false);
                output->required(false);
            },
            "Make this picture again, by the record that it carries; what else is given "
            "counts instead of the record")
        ->trigger_on_parse()  // before the other two are missed
        ->type_name("FILE");
    verb.add_option("--blur-image", shot.blur_image, "Picture of the blur's shape")
        ->type_name("FILE");
    verb.add_option("--background", shot.background,
                    "Picture of what lies behind, with depth, read as the input is "
                    "(layered tool)")
        ->type_name("FILE");
    verb.add_option("--preview", shot.preview,
                    "8-bit sRGB picture to look at; for a shot with #### too")
        ->type_name("FILE");
    verb.add_option_function<std::string>(
            "--view", [&shot](const std::string& name) { shot.view = view_named(name); },
            "What the preview shows instead of the blur: the depth in false colours, "
            "what "
            "is sharp (green) in front (orange) or behind (blue), or the blur's diameter")
        ->check(accepted_by(view_named))
        ->type_name("{depth,focus,diameter}");
    verb.add_option(
            "--diameter-channel", shot.output_as.diameter_channel,
            "Channel to add with the blur's diameter in pixels, negative in front "
            "of the focus")
        ->type_name("NAME");
    verb.add_option("--data-type", line.data_type, "Pixel type (default: the input's)")
        ->check(CLI::IsMember({"half", "float"}));
    verb.add_option("--compression", shot.output_as.compression,
                    "Compression of the output (default: the input's)")
        ->type_name("{none,rle,zips,zip,piz,pxr24,b44,b44a,dwaa,dwab,lzw}");
}

void add_shot_options(CLI::App& verb, render_line& line) {
    shot_options& shot = line.shot;
    verb.add_option("--frames", line.frames,
                    "Frames, as in 1-48, 1-96x2 or 1-10,20, or all that there are; file "
                    "names need #### or %04d")
        ->check(accepted_by([](const std::string& text) {
            if (text != ALL_FRAMES) parse_frames(text);
        }))
        ->excludes("--from-record")
        ->type_name("LIST|all");
    verb.add_option_function<std::string>(
            "--missing",
            [&shot](const std::string& what) {
                if (what == "skip") shot.missing = missing_frames::SKIP;
                if (what == "nearest") shot.missing = missing_frames::NEAREST;
            },
            "What to do for frames whose files are not there (default: error)")
        ->check(CLI::IsMember({"error", "skip", "nearest"}));
    verb.add_flag("--skip-existing", shot.skip_existing,
                  "Leave out frames whose output and preview exist, made from the same "
                  "files with the same settings");
    verb.add_option("--log", shot.log, "Append a line of JSON for each frame")
        ->type_name("FILE");
    verb.add_option("--memory-limit", shot.memory_limit,
                    "Memory to use, as in 8GB (default: what is free, less a margin)")
        ->transform(CLI::AsSizeValue(false))
        ->type_name("SIZE");
}

}  // namespace

void add_render_command(CLI::App& app) {
    auto line = std::make_shared<render_line>();
    CLI::App* verb = app.add_subcommand("render", "Blur a picture, or a shot of them");
    add_file_options(*verb, *line);
    line->shared.add_tool_options(*verb);
    line->focus.add_to(*verb);
    add_shot_options(*verb, *line);
    line->shared.add_run_options(*verb);
    verb->callback([line] { render(*line); });
}

}  // namespace focusfall
