#include <algorithm>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "pipeline/settings/settings_file.h"
#include "programs/command/commands.h"
#include "programs/command/session.h"

namespace focusfall {

namespace {

using headless::animation;
using headless::control;
using headless::control_info;
using headless::control_kind;

// One line of the table; the last cell may be as long as it wants.
using row = std::vector<std::string>;

// Why hidden controls are, by control.
using reasons = std::map<std::string, std::string>;

row row_of(const control& input, const reasons& needs) {
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
        takes += need == needs.end() ? "  (without effect now)"
                                     : "  (needs " + need->second + ")";
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
    const reasons needs = settings_that_show(tool);
    std::vector<std::size_t> widths(4);
    for (const control* input : tool.controls()) {
        const row cells = row_of(*input, needs);
        for (std::size_t i = 0; i < cells.size(); ++i) {
            // one long text would push all ranges out of sight
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

nlohmann::ordered_json described(const control& input) {
    const control_info& info = input.info();
    nlohmann::ordered_json json{{"id", info.id},
                                {"name", info.name},
                                {"page", info.page},
                                {"kind", kind_name(info.kind)},
                                {"visible", input.is_visible()}};
    if (info.kind == control_kind::TEXT) {
        json["default"] = info.initial_text;
        json["value"] = input.text();
    } else if (info.kind == control_kind::IMAGE) {
        json["connection"] = info.connection;
        json["required"] = info.required;
    } else {
        json["default"] = info.initial;
        json["value"] = input.number(0);
        if (input.curve().is_animated()) json["keys"] = json_setting(input);
        if (info.lowest) json["lowest"] = *info.lowest;
        if (info.highest) json["highest"] = *info.highest;
        if (info.slider_end) json["slider_end"] = *info.slider_end;
        if (!info.items.empty()) json["items"] = info.items;
        if (info.whole) json["whole"] = true;
    }
    return json;
}

void list_presets(bool as_json) {
    auto all = nlohmann::ordered_json::array();
    for (const preset& one : installed_presets()) {
        nlohmann::ordered_json listed{{"name", one.name}, {"file", one.file.string()}};
        listed.update(one.content);
        all.push_back(std::move(listed));
        if (as_json) continue;

        std::cout << (all.size() > 1 ? "\n" : "") << one.name << "\n";
        for (const auto& [name, value] : one.content.items()) {
            const bool note = name == "comment" || name == "source";
            std::cout << "  " << (note ? "" : name + " ")
                      << (value.is_string() ? value.get<std::string>() : value.dump())
                      << "\n";
        }
    }
    if (as_json) std::cout << all.dump(2) << "\n";
}

struct controls_options : session_options {
    bool as_json = false;
    bool presets = false;
    std::string save_as;
};

void list_controls(const controls_options& options) {
    if (options.presets) return list_presets(options.as_json);
    session session(options);
    const auto tool = session.create_tool();
    if (!options.save_as.empty()) return save_settings_file(options.save_as, *tool);
    if (!options.as_json) return print_table(*tool);
    auto all = nlohmann::ordered_json::array();
    for (const control* input : tool->controls()) all.push_back(described(*input));
    std::cout << all.dump(2) << "\n";
}

}  // namespace

void add_controls_command(CLI::App& app) {
    auto options = std::make_shared<controls_options>();
    CLI::App* verb =
        app.add_subcommand("controls", "List or save the controls of a tool");
    options->add_tool_options(*verb);
    verb->add_flag("--json", options->as_json, "Print JSON instead of a table");
    verb->add_option("--save", options->save_as,
                     "Write a settings file instead of printing")
        ->type_name("FILE");
    verb->add_flag("--presets", options->presets,
                   "List the presets that --settings takes instead");
    verb->callback([options] { list_controls(*options); });
}

}  // namespace focusfall
