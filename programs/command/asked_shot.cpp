#include "programs/command/asked_shot.h"

#include <cstdint>
#include <utility>
#include <vector>

#include "pipeline/inspection/shot_focus.h"
#include "pipeline/pictures/picture_format.h"
#include "pipeline/process/memory_limit.h"
#include "pipeline/shots/header_lens.h"
#include "pipeline/shots/shot_files.h"
#include "pipeline/shots/shot_record.h"
#include "programs/command/message.h"

namespace focusfall {

namespace {

// Completes the options by the record of the picture that is made again.
void take_record(const std::string& file, shot_options& options,
                 shared_options& complete) {
    recorded_render recorded = render_recorded_in(file, options);
    if (!complete.quiet) {
        for (const std::string& doubt : recorded.doubts(file, FOCUSFALL_VERSION)) {
            print_message(doubt);
        }
    }
    options = std::move(recorded.shot);
    if (complete.tool_id.empty()) complete.tool_id = options.tool_id;
    complete.start = std::move(recorded.settings);
}

}  // namespace

shot_options with_input(shot_options shot, const input_options& input,
                        const std::string& frames) {
    shot.input = input.input;
    shot.depth_map = input.depth_map;
    shot.load = input.load;
    shot.output_as.encoding = shot.load.encoding;
    if (!frames.empty()) shot.frames = listed_frames(frames, shot.input);
    if (shot.memory_limit == UINT64_MAX) shot.memory_limit = available_memory();
    return shot;
}

shot_options asked_shot(const render_line& line, shared_options& complete) {
    shot_options options = with_input(line.shot, line.input, line.frames);
    if (line.data_type == "half") options.output_as.type = OIIO::TypeDesc::HALF;
    if (line.data_type == "float") options.output_as.type = OIIO::TypeDesc::FLOAT;
    if (!line.from_record.empty()) take_record(line.from_record, options, complete);

    if (output_format(options.output).has_named_channels) {
        const std::string& name = options.output_as.compression;
        const std::string fault = accepted_by(check_compression)(name);
        if (!fault.empty()) throw CLI::ValidationError("--compression", fault);
    }
    if (!options.preview.empty()) output_format(options.preview);  // only its errors
    check_names(options);
    return options;
}

std::string take_lens(headless::tool& tool, const input_options& input,
                      const shot_options& shot, const shared_options& shared) {
    if (!input.lens_from_header) return "";
    std::vector<std::string> kept;
    for (const std::string& edit : shared.edits) kept.push_back(edited_control(edit));
    return set_lens(tool, shot, kept);
}

void take_focus(headless::tool& tool, const focus_option& focus, const shot_options& shot,
                bool quiet) {
    if (!focus.is_given()) return;
    const std::string edit = set_focus(tool, parse_focus_points(focus.text), shot);
    if (quiet) return;
    print_message(shot.input + ": " + edit + ", the depth at " + focus.text);
}

void finish_tool(headless::tool& tool, const render_line& line, const shot_options& shot,
                 const shared_options& complete) {
    const std::string lens = take_lens(tool, line.input, shot, complete);
    if (!lens.empty() && !complete.quiet) print_message(shot.input + ": " + lens);
    take_focus(tool, line.focus, shot, complete.quiet);
}

}  // namespace focusfall
