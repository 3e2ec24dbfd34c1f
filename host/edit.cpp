// How a tool's controls are edited, and what becomes of the values that the tool sets in
// answer. The rules:
//
// 1. The tool is notified of what an artist edits, never of what it sets itself. So
//    values that depend on each other in a circle come to rest after one round.
// 2. An edit of one value (`set`) is one notification. What the tool sets in answer is a
//    key when the edited or the answering control is animated, else a constant.
// 3. An edit of a whole control (`replace`, and `restore` for each saved control) is one
//    notification at each key time of any control, or one at 0 when there are no keys: so
//    what the tool computes from several controls is right at every key. The first answer
//    for a control drops all that it held, further ones add keys, which are interpolated
//    like the edited control; lists and checkboxes step. Answers that are alike at all
//    keys become a constant.
// 4. Answers are kept within the range of their control. One that does not fit at all (it
//    is not finite, or is no item of a list) refuses the edit: it throws host_error that
//    names the edited control, and all controls are as before.

#include "host/edit.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <utility>

#include "host/error.h"
#include "host/operator_state.h"
#include "host/tool.h"

namespace headless {

// A control as it was before the edit.
struct edit_scope::before {
    control* input;
    control::state held;
};

edit_scope::edit_scope(control_group& group, const std::vector<Owned<control>>& controls)
    : group_(group) {
    for (const auto& input : controls) before_.push_back({input.get(), input->held()});
    const std::scoped_lock lock(group_.mutex);
    group_.edit = this;
}

edit_scope::~edit_scope() {
    const std::scoped_lock lock(group_.mutex);
    group_.edit = nullptr;
}

void edit_scope::edit_value(const control& edited, bool as_keys) {
    const std::scoped_lock lock(group_.mutex);
    edited_ = edited.info().id;
    as_keys_ = as_keys;
    whole_ = false;
}

void edit_scope::edit_whole(const control& edited, bool as_keys) {
    const interpolation between = edited.curve().between();
    const std::scoped_lock lock(group_.mutex);
    edited_ = edited.info().id;
    as_keys_ = as_keys;
    whole_ = true;
    between_ = between;
    answered_.clear();
}

edit_scope::taken edit_scope::answer(control& answering) {
    const bool afresh =
        whole_ && answering.info().id != edited_ && answered_.insert(&answering).second;
    return {afresh, as_keys_, between_};
}

void edit_scope::refuse(const std::string& why) {
    if (refusal_) return;
    refusal_ = edited_ +
               ": cannot take this value, for it leads to one that does not fit (" + why +
               ")";
}

void edit_scope::settle() {
    std::set<control*> answered;
    std::optional<std::string> refusal;
    {
        const std::scoped_lock lock(group_.mutex);
        answered.swap(answered_);
        refusal = refusal_;
    }
    if (refusal) {
        for (const before& one : before_) one.input->put_back(one.held);
        throw host_error(*refusal);
    }
    for (control* input : answered) input->simplify();
}

std::vector<const control*> edit_scope::changed() const {
    std::vector<const control*> all;
    for (const before& one : before_) {
        if (one.input->held() != one.held) all.push_back(one.input);
    }
    return all;
}

namespace {

control_value held_by(const Parameter& value) {
    if (const auto* words = dynamic_cast<const Text*>(&value)) return words->Value();
    if (const auto* number = dynamic_cast<const Number*>(&value)) {
        return animation(number->Value());
    }
    throw host_error("a control takes a number or a text");
}

}  // namespace

void control::SetSource(const Parameter& value, TimeStamp time) {
    std::optional<control_value> allowed_value;
    try {
        allowed_value = allowed(held_by(value));
    } catch (const host_error& error) {
        const std::scoped_lock lock(group_.mutex);
        if (!group_.edit) throw;
        return group_.edit->refuse(error.what());
    }
    if (!info_.is_number()) return hold(*std::move(allowed_value));

    const double number = std::get<animation>(*allowed_value).at(0);
    const std::scoped_lock lock(group_.mutex);
    auto taken = group_.edit ? group_.edit->answer(*this) : edit_scope::taken();
    if (taken.afresh) {
        curve_ = animation(number, info_.steps() ? interpolation::STEP : taken.between);
    }
    if (taken.as_key || curve_.is_animated()) {
        curve_.set_key(time, number);
    } else {
        curve_ = animation(number, natural_interpolation());
    }
}

control& tool::changeable(std::string_view id) const {
    return const_cast<control&>(find(id));  // owned by our operator, which is not const
}

void tool::report(control& input, Parameter* value, TimeStamp time) {
    control_group& group = operator_->HostState().group;
    {
        const std::scoped_lock lock(group.mutex);
        group.visibility_changes.clear();
    }
    TagList tags;
    operator_->NotifyChanged(&input, value, time, &tags);
}

tool::changes tool::set(std::string_view id, double value, TimeStamp time) {
    control& input = changeable(id);
    if (!std::isfinite(time)) throw host_error(input.info().id + ": needs a finite time");
    const auto one = std::get<animation>(input.allowed(animation(value)));
    edit_scope edit(operator_->HostState().group, operator_->HostState().controls);
    input.set_number(one.at(time), time);
    edit.edit_value(input, input.curve().is_animated());
    AutoNumber reported(one.at(time));
    report(input, &reported, time);
    edit.settle();
    return edit.changed();
}

tool::changes tool::set(std::string_view id, std::string_view text, TimeStamp time) {
    const control& input = find(id);
    if (input.info().is_number()) return set(id, input.info().parse(text), time);
    return replace(id, std::string(text));
}

tool::changes tool::replace(std::string_view id, control_value value) {
    control& input = changeable(id);
    control_value allowed = input.allowed(std::move(value));
    edit_scope edit(operator_->HostState().group, operator_->HostState().controls);
    replace(edit, input, std::move(allowed));
    return edit.changed();
}

std::set<TimeStamp> tool::key_times() const {
    std::set<TimeStamp> times;
    for (const auto& input : operator_->HostState().controls) {
        const animation curve = input->curve();
        if (!curve.is_animated()) continue;
        for (const key& one : curve.keys()) times.insert(one.time);
    }
    return times;
}

void tool::replace(edit_scope& edit, control& input, control_value value) {
    input.hold(std::move(value));
    std::set<TimeStamp> times = key_times();
    edit.edit_whole(input, !times.empty());
    if (times.empty()) times.insert(0);
    for (const TimeStamp time : times) {
        const Owned<Parameter> reported(input.GetSource(time));
        report(input, reported.get(), time);
    }
    edit.settle();
}

tool::changes tool::restore(const std::map<std::string, control_value>& values) {
    std::map<control*, control_value> accepted;
    for (const auto& [id, value] : values) {
        control& input = changeable(id);
        accepted.emplace(&input, input.allowed(value));
    }

    // in an order that does not depend on the spelling of the names
    const OperatorState& state = operator_->HostState();
    edit_scope edit(operator_->HostState().group, state.controls);
    for (const auto& input : state.controls) {
        const auto saved = accepted.find(input.get());
        if (saved != accepted.end()) replace(edit, *input, saved->second);
    }
    for (const auto& [input, value] : accepted) input->hold(value);
    return edit.changed();
}

tool::changes tool::connect(std::string_view id, Image* image) {
    control& input = changeable(id);
    input.check_takes_images();
    edit_scope edit(operator_->HostState().group, operator_->HostState().controls);
    input.connect(Shared(image));
    edit.edit_value(input, false);
    report(input, image, 0);
    edit.settle();
    return edit.changed();
}

tool::changes tool::open_page() {
    edit_scope edit(operator_->HostState().group, operator_->HostState().controls);
    for (const auto& input : operator_->HostState().controls) {
        if (!input->info().steps()) continue;
        edit.edit_value(*input, false);
        AutoNumber value(input->number(0));
        report(*input, &value, 0);
    }
    edit.settle();
    return edit.changed();
}

}  // namespace headless
