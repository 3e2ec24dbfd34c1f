#include <algorithm>
#include <iostream>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "pipeline/process/memory_limit.h"
#include "pipeline/settings/hidden_controls.h"
#include "pipeline/settings/presets.h"
#include "pipeline/settings/setting_value.h"
#include "pipeline/settings/settings_file.h"
#include "programs/command/commands.h"
#include "programs/command/focus_option.h"
#include "programs/command/input_options.h"
#include "programs/command/shared_options.h"

namespace focusfall {

namespace {

using headless::animation;
using headless::control;
using headless::control_info;
using headless::control_kind;

// The cells of one line of the table; the last one has no limit to its length.
using row = std::vector<std::string>;

// The setting that shows a hidden control, by the control's identifier.
using revealing = std::map<std::string, std::string>;

row row_of(const control& input, const revealing& needs) {
    const control_info& info = input.info();
    const animation curve = input.curve();
    const std::string value = info.kind == control_kind::IMAGE ? ""
                              : curve.is_animated()
                                  ? std::to_string(curve.keys().size()) + " keys"
                                  : shown_setting(input);
    std::string takes = info.range();
    if (info.slider_end) takes += ", slider to " + info.shown(*info.slider_end);
    if (!input.is_visible()) {
        const auto need = needs.find(info.id);
        takes +=
            need == needs.end() ? "  (no effect now)" : "  (needs " + need->second + ")";
    }
    return {"  " + info.id, info.name, value, takes};
}

void print_row(const row& cells, const std::vector<std::size_t>& widths) {
    std::string line;
    std::size_t column = 0;
    for (std::size_t i = 0; i < cells.size(); ++i) {
        if (!cells[i].empty()) line += std::string(column - line.size(), ' ') + cells[i];
        column += widths[i] + 2;
        column = std::max(column, line.size() + 2);
    }
    std::cout << line << "\n";
}

void print_table(headless::tool& tool) {
    const revealing needs = revealing_settings(tool);
    std::vector<std::size_t> widths(4);
    for (const control* input : tool.controls()) {
        const row cells = row_of(*input, needs);
        for (std::size_t i = 0; i < cells.size(); ++i) {
            // a long text would push the ranges of all controls off the screen
            const bool is_text = input->info().kind == control_kind::TEXT;
            if (i < 2 || !is_text) widths[i] = std::max(widths[i], cells[i].size());
        }
    }

    std::string page;
    for (const control* input : tool.controls()) {
        if (input->info().page != page) {
            std::cout << (page.empty() ? "" : "\n") << input->info().page << "\n";
            page = input->info().page;
        }
        print_row(row_of(*input, needs), widths);
        if (input->curve().is_animated()) {
            print_row({"", "", shown_setting(*input)}, widths);
        }
    }
}

void list_presets(bool as_json) {
    auto all = nlohmann::ordered_json::array();
    for (const preset& installed : installed_presets()) {
        nlohmann::ordered_json listed{{"name", installed.name},
                                      {"file", installed.file.string()}};
        listed.update(installed.content);
        all.push_back(std::move(listed));
        if (as_json) continue;

        std::cout << (all.size() > 1 ? "\n" : "") << installed.name << "\n";
        for (const auto& [name, value] : installed.content.items()) {
            const bool note = name == "comment" || name == "source";
            std::cout << "  " << (note ? "" : name + " ")
                      << (value.is_string() ? value.get<std::string>() : value.dump())
                      << "\n";
        }
    }
    if (as_json) std::cout << all.dump(2) << "\n";
}

struct controls_options : shared_options {  // NOLINT(bugprone-exception-escape)
    input_options input;                    // only for lens and focus
    focus_option focus;
    bool as_json = false;
    bool presets = false;
    std::string save_as;   // optional: empty, as the next
    std::string save_all;  // the file for all values
};

// Takes lens and focus from the picture, where the line asks for them.
void take_from_picture(const controls_options& options, headless::tool& tool) {
    options.focus.check(options);
    if (!options.focus.is_given() && !options.input.lens_from_header) return;
    if (options.input.input.empty()) {
        throw CLI::ValidationError(
            options.focus.is_given() ? "--focus-at" : "--lens-from-header",
            "needs a picture; write focusfall controls FILE ...");
    }
    shot_options shot;
    shot.input = options.input.input;
    shot.depth_map = options.input.depth_map;
    shot.load = options.input.load;
    shot.memory_limit = available_memory();
    options.input.take_lens(tool, shot, options);
    options.focus.apply(tool, shot, options.quiet);
}

// The controls that the line edits, those that the picture gave a value among them.
std::set<std::string> edited_controls(const controls_options& options,
                                      const session& opened, const headless::tool& tool) {
    std::set<std::string> edited = opened.named_controls();
    if (options.focus.is_given()) edited.insert("FocusPosition");
    if (!options.input.lens_from_header) return edited;
    for (const char* id : {"FocalLength", "FStop", "FilmbackWidth", "FocusPosition"}) {
        const control& input = tool.find(id);
        if (input.number(0) != input.info().initial) edited.insert(id);
    }
    return edited;
}

void list_controls(controls_options options) {
    if (options.presets) return list_presets(options.as_json);
    options.input.prepare_lens(options);
    session opened = opened_session(options);
    const auto tool = created_tool(opened, options);
    take_from_picture(options, *tool);
    if (!options.save_all.empty()) save_settings_file(options.save_all, *tool);
    if (!options.save_as.empty()) {
        save_edited_settings(options.save_as, *tool,
                             edited_controls(options, opened, *tool));
    }
    if (!options.save_all.empty() || !options.save_as.empty()) return;
    if (!options.as_json) return print_table(*tool);
    auto all = nlohmann::ordered_json::array();
    for (const control* input : tool->controls()) all.push_back(json_control(*input));
    std::cout << all.dump(2) << "\n";
}

}  // namespace

void add_controls_command(CLI::App& app) {
    auto options = std::make_shared<controls_options>();
    CLI::App* verb =
        app.add_subcommand("controls", "List or save the controls of a tool");
    options->input.add_to(*verb, "Picture for --focus-at and --lens-from-header");
    verb->get_option("input")->required(false);
    options->add_tool_options(*verb);
    options->focus.add_to(*verb);
    verb->add_flag("--json", options->as_json, "Print JSON instead of a table");
    verb->add_option("--save", options->save_as,
                     "Write a settings file of what was edited instead of printing")
        ->type_name("FILE");
    verb->add_option("--save-all", options->save_all,
                     "Write a settings file of all values instead of printing")
        ->type_name("FILE");
    verb->add_flag("--presets", options->presets,
                   "List the presets that --settings takes instead");
    verb->callback([options] { list_controls(*options); });
}

}  // namespace focusfall
