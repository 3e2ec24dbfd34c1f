#include "programs/command/shared_options.h"

#include <cstdio>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "pipeline/settings/hidden_controls.h"
#include "pipeline/settings/lens_note.h"
#include "pipeline/settings/setting_value.h"
#include "programs/command/message.h"
#include "programs/command/option_words.h"

namespace focusfall {

namespace {

FusionDoc::Console console_of(const shared_options& options) {
    if (options.quiet) return {};
    return [hide_times = options.hide_times](int sub_id, const std::string& text) {
        if (sub_id == FusionDoc::TIMES && hide_times) return;
        std::fputs(text.c_str(), stderr);
    };
}

// What CLI11 prints as wrong with a --set; empty when it has both of its sides.
std::string fault_of_edit(const std::string& edit) {
    if (edited_control(edit) != edit) return "";
    return "\"" + edit + "\" has no value; write " + edit + "=VALUE";
}

}  // namespace

void shared_options::add_plugin_options(CLI::App& verb) {
    const option_group group(verb, TOOL_GROUP);
    verb.add_option("--plugin", plugins,
                    "Plug-in library to load instead of the installed ones")
        ->type_name("FILE");
}

void shared_options::add_class_options(CLI::App& verb) {
    add_plugin_options(verb);
    const option_group group(verb, TOOL_GROUP);
    verb.add_option("--tool", tool_id,
                    "Tool that renders, by its short name or its identifier, as "
                    "`focusfall tools` lists them (default: " +
                        short_tool_name(DEFAULT_TOOL) + ")")
        ->type_name("TOOL");
}

void shared_options::add_tool_options(CLI::App& verb) {
    add_class_options(verb);
    const option_group group(verb, TOOL_GROUP);
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

void shared_options::add_run_options(CLI::App& verb) {
    verb.add_option("--threads", threads, "Threads (default: all)")
        ->check(CLI::Range(1, 1024))
        ->type_name("N");
    verb.add_flag("--quiet", quiet, "Print errors only");
}

session opened_session(const shared_options& options) {
    return session(options, console_of(options));
}

std::unique_ptr<headless::tool> created_tool(session& opened,
                                             const shared_options& options) {
    auto tool = opened.create_tool();
    if (options.quiet) return tool;
    std::vector<std::string> ids;
    std::map<std::string, std::string> adjusted;  // by the last edit of each control
    for (const std::string& edit : options.edits) {
        const std::string& id = ids.emplace_back(edited_control(edit));
        adjusted[id] = adjustment_note(tool->find(id).info(),
                                       std::string_view(edit).substr(id.size() + 1));
    }
    for (const auto& [id, note] : adjusted) {
        if (!note.empty()) print_message(note);
    }
    for (const std::string& line : edits_without_effect(*tool, ids)) {
        print_message(line);
    }
    const std::string note = lens_note(*tool);
    if (!note.empty()) print_message(note);
    return tool;
}

}  // namespace focusfall
