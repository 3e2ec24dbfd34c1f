#include "programs/page/page_settings.h"

#include <utility>

#include "host/error.h"
#include "host/text.h"
#include "pipeline/settings/lens_note.h"
#include "pipeline/settings/presets.h"
#include "pipeline/settings/setting_value.h"
#include "pipeline/settings/settings_file.h"

namespace focusfall {

namespace {

using headless::control;
using headless::control_info;
using headless::control_kind;

constexpr const char* FOCUS = "FocusPosition";

page_json json_of(const std::optional<focus_mark>& mark) {
    if (!mark) return nullptr;
    return {{"x", mark->x}, {"y", mark->y}, {"frame", mark->frame}};
}

}  // namespace

page_settings::page_settings(headless::tool& tool, int frame)
    : tool_(&tool), frame_(frame), history_({&tool, values_of(tool), {}}) {}

void page_settings::note(const std::string& group) {
    history_.add({tool_, values_of(*tool_), mark_}, group);
}

void page_settings::set(const std::string& id, const page_json& value,
                        const std::string& group) {
    if (value.is_number()) {
        tool_->set(id, value.get<double>(), frame_);
    } else if (value.is_string()) {
        tool_->set(id, value.get<std::string>(), frame_);
    } else if (value.is_boolean()) {
        tool_->set(id, value.get<bool>() ? 1.0 : 0.0, frame_);
    } else {
        throw headless::host_error(id + ": a value is a number, a text, true or false");
    }
    if (id == FOCUS) mark_.reset();
    note(group);
}

void page_settings::replace(const std::string& id, const page_json& value,
                            const std::string& group) {
    tool_->replace(id, setting_from_json(tool_->find(id).info(), value));
    if (id == FOCUS) mark_.reset();
    note(group);
}

void page_settings::set_focus(const focus_mark& mark, double depth,
                              const std::string& group) {
    // few digits, which read back as the same depth
    tool_->set(FOCUS, headless::shortest(static_cast<float>(depth)), frame_);
    mark_ = mark;
    note(group);
}

void page_settings::take_tool(headless::tool& other) {
    auto values = values_of(other);
    for (auto& [id, value] : values_of(*tool_)) {
        const auto same = values.find(id);
        if (same != values.end()) same->second = value;
    }
    other.restore(values);
    tool_ = &other;
    note("");
}

void page_settings::reset(const std::string& id) {
    if (id.empty()) {
        tool_->restore(initial_values(*tool_));
    } else {
        tool_->replace(id, initial_values(*tool_).at(tool_->find(id).info().id));
    }
    if (id.empty() || id == FOCUS) mark_.reset();
    note("");
}

void page_settings::open(const std::string& file) {
    tool_->restore(read_settings_file(settings_file_named(file), *tool_));
    mark_.reset();
    note("");
}

void page_settings::undo() {
    if (history_.can_undo()) go_to(history_.undo());
}

void page_settings::redo() {
    if (history_.can_redo()) go_to(history_.redo());
}

void page_settings::go_to(const edited_state& state) {
    tool_ = state.tool;
    tool_->restore(state.values);
    mark_ = state.mark;
}

page_json page_settings::controls() const {
    page_json all = page_json::array();
    for (const control* input : tool_->controls()) {
        // images come from the command line
        if (input->info().kind == control_kind::IMAGE) continue;
        page_json one = json_control(*input);
        for (const char* varying : {"value", "keys", "visible"}) one.erase(varying);
        one["help"] = input->info().help;
        all.push_back(std::move(one));
    }
    return all;
}

page_json page_settings::values() const {
    page_json values = page_json::object();
    for (const control* input : tool_->controls()) {
        const control_info& info = input->info();
        if (info.kind == control_kind::IMAGE) continue;
        page_json& one = values[info.id];
        one["visible"] = input->is_visible();
        one["value"] = input->text();
        if (info.is_number()) one["value"] = input->number(frame_);
        if (input->curve().is_animated()) one["keys"] = json_setting(*input);
    }
    return {{"frame", frame_},
            {"values", std::move(values)},
            {"mark", json_of(mark_)},
            {"lens_note", lens_note(*tool_)},
            {"can_undo", history_.can_undo()},
            {"can_redo", history_.can_redo()}};
}

}  // namespace focusfall
