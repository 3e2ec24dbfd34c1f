#include <iomanip>
#include <iostream>
#include <memory>

#include <nlohmann/json.hpp>

#include "command/commands.h"
#include "command/session.h"

namespace {

using headless::control;
using headless::control_info;
using headless::control_kind;

std::string joined(const std::vector<std::string>& items) {
    std::string text;
    for (const std::string& item : items) text += (text.empty() ? "" : ", ") + item;
    return text;
}

// Lowest and highest value, as in "1 .. 25", and where the slider ends before.
std::string range_text(const control_info& info) {
    if (info.kind == control_kind::BUTTONS) return joined(info.items);
    if (info.kind == control_kind::CHECKBOX) return "on, off";
    if (!info.lowest && !info.highest) return "";
    const std::string end = info.highest ? info.shown(*info.highest) : "";
    std::string text = (info.lowest ? info.shown(*info.lowest) : "") + " .. " + end;
    if (info.slider_end) text += " (slider to " + info.shown(*info.slider_end) + ")";
    if (info.whole) text += ", whole";
    return text;
}

std::string value_text(const control& input) {
    if (input.info().kind == control_kind::TEXT) return input.text();
    if (input.info().kind == control_kind::IMAGE)
        return input.info().required ? "required" : "";
    return input.info().shown(input.number(0));
}

void print_table(const headless::tool& tool) {
    std::string page;
    for (const control* input : tool.controls()) {
        const control_info& info = input->info();
        if (info.page != page) {
            page = info.page;
            std::cout << (input == tool.controls().front() ? "" : "\n") << page << "\n";
        }
        std::cout << "  " << std::left << std::setw(17) << info.id << std::setw(33)
                  << info.name << std::setw(12) << kind_name(info.kind) << std::setw(17)
                  << value_text(*input) << range_text(info)
                  << (input->is_visible() ? "" : "  [hidden]") << "\n";
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
        if (info.lowest) json["lowest"] = *info.lowest;
        if (info.highest) json["highest"] = *info.highest;
        if (info.slider_end) json["slider_end"] = *info.slider_end;
        if (!info.items.empty()) json["items"] = info.items;
        if (info.whole) json["whole"] = true;
    }
    return json;
}

void list_controls(const session_options& options, bool as_json) {
    session session(options);
    const auto tool = session.create_tool();
    if (!as_json) return print_table(*tool);
    auto all = nlohmann::ordered_json::array();
    for (const control* input : tool->controls()) all.push_back(described(*input));
    std::cout << all.dump(2) << "\n";
}

}  // namespace

void add_controls_command(CLI::App& app) {
    auto options = std::make_shared<session_options>();
    auto as_json = std::make_shared<bool>(false);
    CLI::App* verb = app.add_subcommand("controls", "List the controls of a tool");
    options->add_tool_options(*verb);
    verb->add_flag("--json", *as_json, "Print JSON instead of a table");
    verb->callback([options, as_json] { list_controls(*options, *as_json); });
}
