#include "programs/page/copied_line.h"

#include <filesystem>
#include <vector>

#include "host/text.h"
#include "pipeline/session/session.h"
#include "pipeline/settings/setting_value.h"
#include "pipeline/shots/frame_range.h"
#include "pipeline/shots/shot_files.h"
#include "pipeline/shots/shot_record.h"
#include "programs/page/edit_history.h"

namespace focusfall {

namespace {

using headless::shell_word;

// Values that depend on each other are right after a second round at the latest.
constexpr int ROUNDS = 3;

bool same_value(const headless::control& a, const headless::control& b) {
    return a.curve() == b.curve() && a.text() == b.text();
}

// The edits that make a new tool hold what `tool` does.
std::vector<std::string> edits_to(const headless::tool& tool, headless::tool& scratch) {
    scratch.restore(initial_values(scratch));
    std::vector<std::string> edits;
    for (int round = 0; round < ROUNDS; ++round) {
        for (const headless::control* held : tool.controls()) {
            const headless::control_info& info = held->info();
            if (info.kind == headless::control_kind::IMAGE) continue;
            if (same_value(*held, scratch.find(info.id))) continue;
            const std::string value = shown_setting(*held);
            scratch.replace(info.id, parsed_setting(info, value));
            edits.push_back(info.id + "=" + value);
        }
    }
    return edits;
}

void add_option(std::string& line, const std::string& name, const std::string& value) {
    if (!value.empty()) line += " --" + name + " " + shell_word(value);
}

// An option by its name and its value in a record: a flag, a word, or several.
void add_choice(std::string& line, const std::string& name, const json_record& value) {
    if (value.is_boolean()) {
        line += " --" + name;
    } else if (value.is_array()) {
        for (const json_record& one : value) add_choice(line, name, one);
    } else {
        add_option(line, name,
                   value.is_string() ? value.get<std::string>() : value.dump());
    }
}

}  // namespace

std::string output_name(const shot_options& shot) {
    const std::filesystem::path input(shot.input);
    if (shot.frames.empty()) {
        return input.stem().string() + ".blurred" + input.extension().string();
    }
    return "blurred." + input.filename().string();
}

std::string copied_line(const shot_options& shot, const headless::tool& tool,
                        headless::tool& scratch) {
    const int frame = frames_of(shot).front();
    const json_record record = record_of(shot, files_of(shot, frame), tool, frame);
    std::string line = "focusfall render " + shell_word(shot.input) + " -o " +
                       shell_word(shot.output.empty() ? output_name(shot) : shot.output);
    add_option(line, "depth-map", shot.depth_map);
    add_option(line, "blur-image", shot.blur_image);
    add_option(line, "background", shot.background);
    if (!shot.frames.empty()) add_option(line, "frames", shown_frames(shot.frames));
    for (const auto& [name, value] : record.at("read").items()) {
        add_choice(line, name, value);
    }
    if (shot.tool_id != DEFAULT_TOOL) {
        add_option(line, "tool", short_tool_name(shot.tool_id));
    }
    for (const std::string& edit : edits_to(tool, scratch)) {
        add_option(line, "set", edit);
    }
    return line;
}

}  // namespace focusfall
