#include <algorithm>
#include <iostream>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "pipeline/settings/hidden_controls.h"
#include "pipeline/settings/presets.h"
#include "pipeline/settings/setting_value.h"
#include "pipeline/settings/settings_file.h"
#include "programs/command/picture_library.h"
#include "programs/command/picture_verbs.h"

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

// The controls that the line edits, those that the picture gave a value among them.
std::set<std::string> edited_controls(const controls_line& line, const session& opened,
                                      const headless::tool& tool) {
    std::set<std::string> edited = opened.named_controls();
    if (line.focus.is_given()) edited.insert("FocusPosition");
    if (!line.input.lens_from_header) return edited;
    for (const char* id : {"FocalLength", "FStop", "FilmbackWidth", "FocusPosition"}) {
        const control& input = tool.find(id);
        if (input.number(0) != input.info().initial) edited.insert(id);
    }
    return edited;
}

// Whether lens or focus are taken from the picture of the line.
bool takes_from_picture(const controls_line& line) {
    line.focus.check(line.shared);
    if (!line.focus.is_given() && !line.input.lens_from_header) return false;
    if (!line.input.input.empty()) return true;
    throw CLI::ValidationError(
        line.focus.is_given() ? "--focus-at" : "--lens-from-header",
        "needs a picture; write focusfall controls FILE ...");
}

}  // namespace

void run(const controls_line& line) {
    if (line.presets) return list_presets(line.as_json);
    const bool takes = takes_from_picture(line);
    if (takes) need_pictures();
    shared_options shared = line.shared;
    line.input.prepare_lens(shared);
    session opened = opened_session(shared);
    const auto tool = created_tool(opened, shared);
    if (takes) take_from_picture(*tool, line, shared);
    if (!line.save_all.empty()) save_settings_file(line.save_all, *tool);
    if (!line.save_as.empty()) {
        save_edited_settings(line.save_as, *tool, edited_controls(line, opened, *tool));
    }
    if (!line.save_all.empty() || !line.save_as.empty()) return;
    if (!line.as_json) return print_table(*tool);
    auto all = nlohmann::ordered_json::array();
    for (const control* input : tool->controls()) all.push_back(json_control(*input));
    std::cout << all.dump(2) << "\n";
}

}  // namespace focusfall
