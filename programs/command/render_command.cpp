#include <CLI/CLI.hpp>

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <memory>
#include <set>

#include "pipeline/process/interruption.h"
#include "pipeline/process/memory_limit.h"
#include "pipeline/shots/frame_range.h"
#include "pipeline/shots/shot.h"
#include "pipeline/shots/shot_files.h"
#include "programs/command/commands.h"
#include "programs/command/session.h"

namespace focusfall {

namespace {

// The line as it was typed.
struct render_line {
    session_options session;
    shot_options shot;
    std::string data_type;
    std::string color_space;
    std::string frames;
};

std::string joined(const std::vector<int>& frames) {
    std::string text;
    for (const int frame : frames)
        text += (text.empty() ? "" : ", ") + std::to_string(frame);
    return text;
}

// Of OpenEXR, whose writer takes ZIP for what it does not know; "dwaa:60" has a level.
void check_compression(const std::string& name) {
    const std::set<std::string> known{"",      "none", "rle",  "zip",  "zips", "piz",
                                      "pxr24", "b44",  "b44a", "dwaa", "dwab"};
    if (known.contains(name.substr(0, name.find(':')))) return;
    throw CLI::ValidationError("--compression", name +
                                                    ": is none of none, rle, zip, zips, "
                                                    "piz, pxr24, b44, b44a, dwaa, dwab");
}

// The format of a picture to write. Throws headless::host_error when none can have such a
// name.
picture_format output_format(const std::string& file) {
    if (std::filesystem::is_directory(file)) {
        throw headless::host_error(file + ": is a folder; name a picture in it");
    }
    return format_of(file);
}

void note_keys_without_frames(const shot_options& options, const headless::tool& tool) {
    const bool has_keys = std::ranges::any_of(
        tool.controls(), [](const auto* one) { return one->curve().is_animated(); });
    if (options.quiet || !options.frames.empty() || !has_keys) return;
    std::cerr << "focusfall: frame 0 of the keys is rendered; --frames tells another\n";
}

void render(render_line& line) {
    hold_back_signals();  // before any library starts threads
    shot_options& options = line.shot;
    if (!line.frames.empty()) options.frames = parse_frames(line.frames);
    if (line.data_type == "half") options.output_as.type = OIIO::TypeDesc::HALF;
    if (line.data_type == "float") options.output_as.type = OIIO::TypeDesc::FLOAT;
    if (!line.color_space.empty()) {
        options.load.encoding = color_encoding::named(line.color_space);
        options.output_as.encoding = options.load.encoding;
    }
    options.quiet = line.session.quiet;
    // a shot prints a line for each frame, with its time
    line.session.hide_times = !options.frames.empty();
    if (options.memory_limit == 0) options.memory_limit = available_memory();

    if (output_format(options.output).has_named_channels) {
        check_compression(options.output_as.compression);
    }
    if (!options.preview.empty()) output_format(options.preview);
    check_names(options);
    guard_memory(options.memory_limit);
    OIIO::attribute("threads", line.session.threads);
    OIIO::attribute("exr_threads", line.session.threads);

    session session(line.session);
    options.tool_name = session.tool_class().name + " " + FOCUSFALL_VERSION;
    options.makes_kernel_table = session.makes_kernel_table();
    const auto tool = session.create_tool();
    note_keys_without_frames(options, *tool);
    interruption stop(*tool);
    const std::vector<int> failed = render_shot(options, *tool, stop);
    if (failed.empty()) return;
    std::cerr << "focusfall: " << failed.size() << " of " << options.frames.size()
              << " frames failed: " << joined(failed) << "\n";
    throw CLI::RuntimeError(1);
}

// A check of the parser, which wants a text: empty when all is well.
template <class Parse>
auto accepted_by(Parse parse) {
    return [parse](const std::string& text) {
        try {
            parse(text);
            return std::string();
        } catch (const headless::host_error& error) {
            return std::string(error.what());
        }
    };
}

void add_file_options(CLI::App& verb, render_line& line) {
    shot_options& shot = line.shot;
    verb.add_option("input", shot.input, "Picture to blur")
        ->required()
        ->type_name("FILE");
    verb.add_option("-o,--output", shot.output, "Picture to write")
        ->required()
        ->type_name("FILE");
    verb.add_option("--depth-map", shot.depth_map, "Picture with the depth")
        ->type_name("FILE");
    verb.add_option("--blur-image", shot.blur_image, "Picture of the blur's shape")
        ->type_name("FILE");
    verb.add_option("--preview", shot.preview,
                    "8-bit sRGB picture to look at, with #### as the output")
        ->type_name("FILE");
    verb.add_option("--layer", shot.load.layer, "Layer, view or part with the colour")
        ->type_name("NAME");
    verb.add_option("--depth-channel", shot.load.depth_channel, "Channel with the depth")
        ->type_name("NAME");
    verb.add_option("--data-type", line.data_type, "Pixel type (default: the input's)")
        ->check(CLI::IsMember({"half", "float"}));
    verb.add_option("--compression", shot.output_as.compression,
                    "Compression that the format has (default: the input's)")
        ->type_name("{none,rle,zips,zip,piz,pxr24,b44,b44a,dwaa,dwab,lzw}");
    verb.add_option("--colorspace", line.color_space,
                    "How colours are stored; Gamma with any exponent (default: what "
                    "files say)")
        ->check(accepted_by(color_encoding::named))
        ->type_name("{Linear,sRGB,Rec709,Gamma2.2}");
}

void add_shot_options(CLI::App& verb, render_line& line) {
    shot_options& shot = line.shot;
    verb.add_option("--frames", line.frames,
                    "Frames, as in 1-48, 1-96x2 or 1-10,20; names hold #### or %04d")
        ->check(accepted_by(parse_frames))
        ->type_name("LIST");
    verb.add_flag("--skip-existing", shot.skip_existing,
                  "Leave out frames whose output and preview are there");
    verb.add_option("--log", shot.log, "Append a line of JSON a frame")
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
    line->session.add_tool_options(*verb);
    verb->add_option("--threads", line->session.threads, "Threads (default: all)")
        ->check(CLI::Range(1, 1024))
        ->type_name("N");
    add_shot_options(*verb, *line);
    verb->add_flag("--quiet", line->session.quiet, "Print errors only");
    verb->callback([line] { render(*line); });
}

}  // namespace focusfall
