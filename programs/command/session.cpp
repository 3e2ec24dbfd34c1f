#include "programs/command/session.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <set>

#include "pipeline/settings/installation.h"
#include "pipeline/settings/settings_file.h"

namespace focusfall {

namespace {

namespace fs = std::filesystem;

constexpr const char* FAST_TOOL = "kestrelworks.FocusfallFast";

// The libraries in the plug-in folder that is installed beside the command.
std::vector<std::string> installed_plugins() {
    const fs::path folder = installed_plugin_folder();
    std::vector<std::string> files;
    std::error_code missing;
    for (const auto& entry : fs::directory_iterator(folder, missing)) {
        if (entry.path().extension() == ".so") files.push_back(entry.path().string());
    }
    if (files.empty()) {
        throw headless::host_error(
            folder.string() + ": no plug-ins are installed here; name one by --plugin");
    }
    std::ranges::sort(files);
    return files;
}

constexpr int TIMING_SUB_ID = 40;  // console part where tools print how long they took

FusionDoc::Console console_of(const session_options& options) {
    if (options.quiet) return {};
    return [hide_times = options.hide_times](int sub_id, const std::string& text) {
        if (sub_id == TIMING_SUB_ID && hide_times) return;
        std::fputs(text.c_str(), stderr);
    };
}

std::string fault_of_edit(const std::string& edit) {
    return edit.find('=') == edit.npos ? edit + " has not the form ID=VALUE" : "";
}

std::string id_of(const std::string& edit) { return edit.substr(0, edit.find('=')); }

const headless::control& named_control(const headless::tool& tool,
                                       const std::string& id) {
    try {
        return tool.find(id);
    } catch (const headless::host_error& error) {
        throw headless::host_error(std::string(error.what()) +
                                   " (`focusfall controls` lists them)");
    }
}

// Tells of edits of controls that the tool hides in the end, one line for each reason.
void note_hidden(headless::tool& tool, const std::vector<std::string>& edits) {
    std::map<std::string, std::set<std::string>> hidden;  // by reason
    for (const std::string& edit : edits) {
        const std::string id = id_of(edit);
        if (tool.find(id).is_visible()) continue;
        const auto cures = settings_that_show(tool);
        const auto cure = cures.find(id);
        hidden[cure == cures.end() ? "without effect beside the other settings"
                                   : "without effect unless " + cure->second]
            .insert(id);
    }
    for (const auto& [reason, ids] : hidden) {
        std::cerr << "focusfall: " << CLI::detail::join(ids, ", ") << ": " << reason
                  << "\n";
    }
}

}  // namespace

std::map<std::string, std::string> settings_that_show(headless::tool& tool) {
    std::map<std::string, std::string> settings;
    std::vector<const headless::control*> hidden;
    for (const headless::control* one : tool.controls()) {
        if (!one->is_visible()) hidden.push_back(one);
    }
    for (const headless::control* list : tool.controls()) {
        const headless::control_info& info = list->info();
        if (info.items.empty() || list->curve().is_animated()) continue;
        const double before = list->number(0);
        for (std::size_t item = 0; item < info.items.size(); ++item) {
            tool.set(info.id, static_cast<double>(item));
            for (const headless::control* one : hidden) {
                if (!one->is_visible()) continue;
                settings.emplace(one->info().id, info.id + "=" + info.items[item]);
            }
        }
        tool.set(info.id, before);
    }
    return settings;
}

void session_options::add_plugin_options(CLI::App& verb) {
    verb.add_option("--plugin", plugins,
                    "Plug-in library to load instead of the installed ones")
        ->type_name("FILE");
}

void session_options::add_class_options(CLI::App& verb) {
    add_plugin_options(verb);
    verb.add_option("--tool", tool_id,
                    std::string("Tool class to use (default: ") + FAST_TOOL +
                        "; the reference is kestrelworks.Focusfall)")
        ->type_name("ID");
}

void session_options::add_tool_options(CLI::App& verb) {
    add_class_options(verb);
    verb.add_option("--settings", settings,
                    "Settings file, or preset by its name (repeatable)")
        ->type_name("PRESET|FILE")
        ->allow_extra_args(false);
    verb.add_option("--set", edits,
                    "Value or keys of a control, as in BlurStyle=Polygon or "
                    "FocusPosition=1:1200,48:3400 (repeatable; wins over --settings)")
        ->type_name("ID=VALUE")
        ->allow_extra_args(false)
        ->check(fault_of_edit);
}

session::session(const session_options& options)
    : options_(options), host_(options.threads, console_of(options)) {
    const auto& plugins = options.plugins.empty() ? installed_plugins() : options.plugins;
    for (const std::string& file : plugins) host_.load_plugin(file);
}

headless::class_info session::tool_class() const {
    const auto classes = host_.classes();
    const std::string id = options_.tool_id.empty() ? FAST_TOOL : options_.tool_id;
    const auto named = std::ranges::find(classes, id, &headless::class_info::id);
    if (named != classes.end()) return *named;
    if (options_.tool_id.empty()) return classes.front();
    headless::class_info unknown;  // the host refuses it, and offers the nearest name
    unknown.id = id;
    return unknown;
}

bool session::makes_kernel_table() const { return tool_class().id != FAST_TOOL; }

std::unique_ptr<headless::tool> session::create_tool() {
    auto tool = host_.create_tool(tool_class().id);
    tool->open_page();
    for (const std::string& name : options_.settings) {
        tool->restore(read_settings_file(settings_file_named(name), *tool));
    }
    for (const std::string& edit : options_.edits) {
        const std::string id = id_of(edit);
        const std::string value = edit.substr(id.size() + 1);
        tool->replace(id, parsed_setting(named_control(*tool, id).info(), value));
    }
    // what keys of lists show at one time and hide at another has its effect
    const bool changes = std::ranges::any_of(tool->controls(), [](const auto* one) {
        return one->info().steps() && one->curve().is_animated();
    });
    if (!options_.quiet && !changes) note_hidden(*tool, options_.edits);
    return tool;
}

}  // namespace focusfall
