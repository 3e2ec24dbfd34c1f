#include "pipeline/session/session.h"

#include <algorithm>
#include <filesystem>
#include <utility>

#include "host/error.h"
#include "host/text.h"
#include "pipeline/settings/installation.h"
#include "pipeline/settings/presets.h"
#include "pipeline/settings/setting_value.h"
#include "pipeline/settings/settings_file.h"

namespace focusfall {

namespace {

namespace fs = std::filesystem;

// The libraries in the plug-in folder that is installed beside the program.
std::vector<std::string> installed_plugins() {
    const fs::path folder = installed_plugin_folder();
    std::vector<std::string> files;
    std::error_code missing;
    for (const auto& entry : fs::directory_iterator(folder, missing)) {
        if (entry.path().extension() == ".so") files.push_back(entry.path().string());
    }
    if (files.empty()) {
        throw headless::host_error(folder.string() +
                                   ": no plug-in is installed in this folder; name one "
                                   "with --plugin");
    }
    std::ranges::sort(files);
    return files;
}

const headless::control& named_control(const headless::tool& tool,
                                       const std::string& id) {
    try {
        return tool.find(id);
    } catch (const headless::host_error& error) {
        throw headless::host_error(std::string(error.what()) +
                                   " (`focusfall controls` lists all controls)");
    }
}

void make_edit(headless::tool& tool, const std::string& edit) {
    const std::string id = edited_control(edit);
    if (id == edit) {
        throw headless::host_error(edit + ": has no value; write " + edit + "=VALUE");
    }
    const headless::control_info& info = named_control(tool, id).info();
    tool.replace(id, parsed_setting(info, edit.substr(id.size() + 1)));
}

// A value for every control: the one that `start` has, else its default.
std::map<std::string, headless::control_value> all_values(
    const headless::tool& tool, const nlohmann::ordered_json& start) {
    std::map<std::string, headless::control_value> values;
    for (const headless::control* control : tool.controls()) {
        const headless::control_info& info = control->info();
        if (info.kind == headless::control_kind::TEXT) {
            values.emplace(info.id, info.initial_text);
        }
        if (info.is_number()) values.emplace(info.id, headless::animation(info.initial));
    }
    for (const auto& [id, value] : start.items()) {
        values.insert_or_assign(id,
                                setting_from_json(named_control(tool, id).info(), value));
    }
    return values;
}

}  // namespace

std::string short_tool_name(const std::string& id) {
    if (id == "kestrelworks.Focusfall") return "plain";
    if (id == "kestrelworks.FocusfallFast") return "fast";
    if (id == "kestrelworks.FocusfallLayered") return "layered";
    return id;
}

std::string edited_control(const std::string& edit) {
    return edit.substr(0, edit.find('='));
}

session::session(session_options options, FusionDoc::Console console)
    : options_(std::move(options)), host_(options_.threads, std::move(console)) {
    const auto& plugins =
        options_.plugins.empty() ? installed_plugins() : options_.plugins;
    for (const std::string& file : plugins) host_.load_plugin(file);
}

headless::class_info session::tool_class() const {
    if (!options_.tool_id.empty()) return tool_class(options_.tool_id);
    const auto classes = host_.classes();
    const auto usual =
        std::ranges::find(classes, DEFAULT_TOOL, &headless::class_info::id);
    return usual == classes.end() ? classes.front() : *usual;
}

headless::class_info session::tool_class(const std::string& name) const {
    std::vector<std::string> names;
    for (const headless::class_info& known : host_.classes()) {
        if (name == known.id || name == short_tool_name(known.id)) return known;
        names.push_back(short_tool_name(known.id));
        if (names.back() != known.id) names.push_back(known.id);
    }
    const std::string hint = headless::suggestion(name, names);
    throw headless::host_error(
        "there is no tool class \"" + name + "\"" +
        (hint.empty() ? "; `focusfall tools` lists all classes" : hint));
}

std::unique_ptr<headless::tool> session::new_tool(const headless::class_info& of) {
    auto tool = host_.create_tool(of.id);
    tool->open_page();
    return tool;
}

std::unique_ptr<headless::tool> session::create_tool() {
    auto tool = new_tool(tool_class());
    if (!options_.start.is_null()) tool->restore(all_values(*tool, options_.start));
    for (const std::string& name : options_.settings) {
        tool->restore(read_settings_file(settings_file_named(name), *tool));
    }
    for (const std::string& edit : options_.edits) make_edit(*tool, edit);
    return tool;
}

std::set<std::string> session::named_controls() const {
    std::set<std::string> ids;
    for (const std::string& name : options_.settings) {
        const settings_text settings = parsed_settings_file(settings_file_named(name));
        for (const auto& [id, line] : settings.lines) ids.insert(id);
    }
    for (const std::string& edit : options_.edits) ids.insert(edited_control(edit));
    return ids;
}

}  // namespace focusfall
