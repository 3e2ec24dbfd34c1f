#include "programs/command/render_line.h"

#include "pipeline/shots/frame_range.h"
#include "pipeline/shots/shot_files.h"
#include "programs/command/option_words.h"

namespace focusfall {

void render_line::add_to(CLI::App& verb) {
    add_file_options(verb);
    add_tool_options(verb);
    add_shot_options(verb);
    shared.add_run_options(verb);
    verb.footer(
        "MaxBlurSize, FocusPosition and all other controls of the tool are set by "
        "--set;\n"
        "`focusfall controls` lists them.");
}

void render_line::add_file_options(CLI::App& verb) {
    input.add_to(verb, "Picture to blur");
    const option_group group(verb, "What is written");
    CLI::Option* output = verb.add_option("-o,--output", shot.output, "Picture to write")
                              ->required()
                              ->type_name("FILE");
    verb.add_option_function<std::string>(
            "--from-record",
            [this, output, picture = verb.get_option("input")](const std::string& file) {
                from_record = file;
                picture->required(false);
                output->required(false);
            },
            "Make this picture again, by the record that it carries; what else is given "
            "counts instead of the record")
        ->trigger_on_parse()  // before the other two are missed
        ->type_name("FILE");
    verb.add_option("--preview", shot.preview,
                    "8-bit sRGB picture to look at; for a shot with #### too")
        ->type_name("FILE");
    verb.add_option_function<std::string>(
            "--view", [this](const std::string& name) { shot.view = view_named(name); },
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
    verb.add_option("--data-type", data_type, "Pixel type (default: the input's)")
        ->check(CLI::IsMember({"half", "float"}));
    verb.add_option("--compression", shot.output_as.compression,
                    "Compression of the output (default: the input's)")
        ->type_name("{none,rle,zips,zip,piz,pxr24,b44,b44a,dwaa,dwab,lzw}");
}

void render_line::add_tool_options(CLI::App& verb) {
    shared.add_tool_options(verb);
    focus.add_to(verb);
    const option_group group(verb, TOOL_GROUP);
    verb.add_option("--blur-image", shot.blur_image, "Picture of the blur's shape")
        ->type_name("FILE");
    verb.add_option("--background", shot.background,
                    "Picture of what lies behind, with depth, read as the input is "
                    "(layered tool)")
        ->type_name("FILE");
}

void render_line::add_shot_options(CLI::App& verb) {
    const option_group group(verb, "Shots");
    verb.add_option("--frames", frames,
                    "Frames, as in 1-48, 1-96x2 or 1-10,20, or all that there are; file "
                    "names need #### or %04d")
        ->check(accepted_by([](const std::string& text) {
            if (text != ALL_FRAMES) parse_frames(text);
        }))
        ->excludes("--from-record")
        ->type_name("LIST|all");
    verb.add_option_function<std::string>(
            "--missing",
            [this](const std::string& what) {
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

}  // namespace focusfall
