#include "programs/page/edit_history.h"

namespace focusfall {

namespace {

constexpr std::size_t MAX_STATES = 500;

}  // namespace

void edit_history::add(edited_state state, const std::string& group) {
    if (state == states_[present_]) return;
    const bool goes_on = !group.empty() && group == group_ && present_ > 0;
    states_.resize(present_ + 1);
    if (goes_on) {
        states_.back() = std::move(state);
    } else {
        states_.push_back(std::move(state));
    }
    if (states_.size() > MAX_STATES) states_.erase(states_.begin());
    present_ = states_.size() - 1;
    group_ = group;
}

const edited_state& edit_history::undo() {
    group_.clear();
    return states_[--present_];
}

const edited_state& edit_history::redo() {
    group_.clear();
    return states_[++present_];
}

std::map<std::string, headless::control_value> values_of(const headless::tool& tool) {
    std::map<std::string, headless::control_value> values;
    for (const headless::control* control : tool.controls()) {
        const headless::control_info& info = control->info();
        if (info.kind == headless::control_kind::TEXT) {
            values.emplace(info.id, control->text());
        } else if (info.is_number()) {
            values.emplace(info.id, control->curve());
        }
    }
    return values;
}

std::map<std::string, headless::control_value> initial_values(
    const headless::tool& tool) {
    std::map<std::string, headless::control_value> values;
    for (const headless::control* control : tool.controls()) {
        const headless::control_info& info = control->info();
        if (info.kind == headless::control_kind::TEXT) {
            values.emplace(info.id, info.initial_text);
        } else if (info.is_number()) {
            values.emplace(info.id, headless::animation(info.initial));
        }
    }
    return values;
}

}  // namespace focusfall
