#include "host/control.h"

#include <algorithm>
#include <cmath>
#include <mutex>
#include <utility>

#include "host/error.h"
#include "host/operator_state.h"
#include "host/request_state.h"
#include "host/text.h"

namespace headless {

namespace {

control_kind kind_of(const TagList& tags) {
    if (tags.ID(0x88020000) == FuID("Image")) return control_kind::IMAGE;
    if (tags.ID(0x88020000) == FuID("Text")) return control_kind::TEXT;
    const FuID widget = tags.ID(0x80030000);
    if (widget == FuID("CheckboxControl")) return control_kind::CHECKBOX;
    if (widget == FuID("MultiButtonControl")) return control_kind::BUTTONS;
    if (widget == FuID("ColorControl")) return control_kind::COLOR;
    return control_kind::SLIDER;
}

// The value of the first pair with `tag`, if there is one.
std::optional<double> number_if_given(const TagList& tags, Tag tag) {
    const double value = tags.Number(tag, NAN);
    return std::isnan(value) ? std::nullopt : std::optional(value);
}

}  // namespace

const char* kind_name(control_kind kind) {
    switch (kind) {
        case control_kind::SLIDER: return "slider";
        case control_kind::CHECKBOX: return "checkbox";
        case control_kind::BUTTONS: return "button list";
        case control_kind::COLOR: return "colour";
        case control_kind::TEXT: return "text";
        case control_kind::IMAGE: return "image";
    }
    return "";
}

control_info::control_info(std::string on_page, const FuID& shown_name,
                           const FuID& identifier, const TagList& given)
    : page(std::move(on_page)),
      id(identifier.Text()),
      name(shown_name.Text()),
      kind(kind_of(given)),
      lowest(number_if_given(given, 0x20030000)),
      highest(number_if_given(given, 0x20030001)),
      slider_end(number_if_given(given, 0x20030003)),
      initial(given.Number(0x20030004, 0.0)),
      initial_text(given.Text(0x30030003)),
      whole(given.Integer(0x1003000c, 0) != 0),
      connection(given.Integer(0x10020001, 0)),
      required(kind == control_kind::IMAGE && given.Integer(0x10030002, 1) != 0),
      tags(given) {
    for (const TagPair& pair : given.Pairs()) {
        if (pair.tag == 0x38040000) items.push_back(std::get<std::string>(pair.value));
    }
}

double control_info::parse(std::string_view text) const {
    const auto item = std::ranges::find_if(
        items, [&](const std::string& i) { return same_ignoring_case(i, text); });
    if (item != items.end()) return static_cast<double>(item - items.begin());
    if (kind == control_kind::CHECKBOX) {
        for (const char* on : {"on", "true", "yes"}) {
            if (same_ignoring_case(text, on)) return 1.0;
        }
        for (const char* off : {"off", "false", "no"}) {
            if (same_ignoring_case(text, off)) return 0.0;
        }
    }
    if (const auto value = number_in(text)) return allowed(*value);

    const std::string takes = kind == control_kind::BUTTONS ? "one of: " + joined(items)
                              : kind == control_kind::CHECKBOX ? "on or off"
                                                               : "a number";
    throw host_error(id + ": \"" + std::string(text) +
                     "\" is not a value of this control, which takes " + takes);
}

double control_info::allowed(double value) const {
    if (!std::isfinite(value)) throw host_error(id + ": takes finite numbers only");
    if (kind == control_kind::BUTTONS) {
        const double last = static_cast<double>(items.size()) - 1.0;
        if (value < 0.0 || value > last || value != std::floor(value)) {
            throw host_error(id + ": has no item " + shortest(value) + ", only 0 to " +
                             shortest(last) + ": " + joined(items));
        }
    }
    if (kind == control_kind::CHECKBOX && value != 0.0 && value != 1.0) {
        throw host_error(id + ": is on (1) or off (0), not " + shortest(value));
    }
    if (whole) value = std::round(value);
    if (lowest) value = std::max(value, *lowest);
    if (highest) value = std::min(value, *highest);
    return value;
}

std::string control_info::shown(double value) const {
    if (kind == control_kind::CHECKBOX) return value > 0.5 ? "on" : "off";
    if (kind == control_kind::BUTTONS) return items.at(static_cast<std::size_t>(value));
    // bounds and defaults given in single precision read better in its digits
    const auto narrow = static_cast<float>(value);
    if (static_cast<double>(narrow) != value) return shortest(value);
    return shortest(narrow);
}

std::string control_info::range() const {
    switch (kind) {
        case control_kind::BUTTONS: return joined(items);
        case control_kind::CHECKBOX: return "on, off";
        case control_kind::TEXT: return "any text";
        case control_kind::IMAGE: return required ? "an image, required" : "an image";
        default: break;
    }
    if (!lowest && !highest) return whole ? "any whole number" : "any number";
    std::string text;
    if (lowest && highest) {
        text = shown(*lowest) + " to " + shown(*highest);
    } else {
        text = lowest ? shown(*lowest) + " and up" : shown(*highest) + " and down";
    }
    return text + (whole ? ", whole numbers" : "");
}

control::control(control_info info, control_group& group)
    : info_(std::move(info)),
      group_(group),
      curve_(info_.initial, natural_interpolation()),
      text_(info_.initial_text) {}

void control::describe(control_info info) {
    info_ = std::move(info);
    curve_ = animation(info_.initial, natural_interpolation());
    text_ = info_.initial_text;
}

double control::number(TimeStamp time) const {
    const std::scoped_lock lock(group_.mutex);
    return curve_.at(time);
}

std::string control::text() const {
    const std::scoped_lock lock(group_.mutex);
    return text_;
}

bool control::is_visible() const {
    const std::scoped_lock lock(group_.mutex);
    return visible_;
}

animation control::curve() const {
    const std::scoped_lock lock(group_.mutex);
    return curve_;
}

bool control::is_connected() const {
    const std::scoped_lock lock(group_.mutex);
    return image_ != nullptr;
}

control_value control::allowed(control_value value) const {
    if (info_.kind == control_kind::IMAGE) {
        throw host_error(info_.id + ": is an image connection and takes no value");
    }
    if (info_.is_number() != std::holds_alternative<animation>(value)) {
        throw host_error(info_.id + (info_.is_number() ? ": takes numbers and no text"
                                                       : ": is a text and no number"));
    }
    if (!info_.is_number()) return value;

    const auto& curve = std::get<animation>(value);
    if (!curve.is_animated()) {
        return animation(info_.allowed(curve.at(0)), natural_interpolation());
    }
    std::vector<key> keys = curve.keys();
    for (key& one : keys) one.value = info_.allowed(one.value);
    return animation(std::move(keys),
                     info_.steps() ? interpolation::STEP : curve.between());
}

void control::hold(control_value value) {
    const std::scoped_lock lock(group_.mutex);
    if (auto* curve = std::get_if<animation>(&value)) {
        curve_ = std::move(*curve);
    } else {
        text_ = std::get<std::string>(std::move(value));
    }
}

void control::set_number(double value, TimeStamp time) {
    const std::scoped_lock lock(group_.mutex);
    if (curve_.is_animated()) {
        curve_.set_key(time, value);
    } else {
        curve_ = animation(value, natural_interpolation());
    }
}

void control::simplify() {
    const std::scoped_lock lock(group_.mutex);
    const double first = curve_.keys().front().value;
    if (std::ranges::all_of(curve_.keys(),
                            [&](const key& k) { return k.value == first; }))
        curve_ = animation(first, natural_interpolation());
}

control::state control::held() const {
    const std::scoped_lock lock(group_.mutex);
    return {curve_, text_, Shared(image_.get()), visible_};
}

void control::put_back(const state& old) {
    connect(Shared(old.image.get()));
    const std::scoped_lock lock(group_.mutex);
    curve_ = old.curve;
    text_ = old.text;
    visible_ = old.visible;
}

void control::check_takes_images() const {
    if (info_.kind != control_kind::IMAGE) {
        throw host_error(info_.id + ": is no image connection");
    }
}

void control::connect(Owned<Image> image) {
    const std::scoped_lock lock(group_.mutex);
    image_.swap(image);
}

Parameter* control::GetValue(Request* request) {
    const auto& values = request->HostState().values;
    const auto value = values.find(this);
    return value == values.end() ? nullptr : value->second.get();
}

Parameter* control::GetSource(TimeStamp time) {
    const std::scoped_lock lock(group_.mutex);
    if (info_.kind == control_kind::IMAGE) return Shared(image_.get()).release();
    if (info_.kind == control_kind::TEXT) return new Text(text_);
    return new Number(curve_.at(time));
}

void control::SetAttrsList(const TagList& tags) {
    const std::scoped_lock lock(group_.mutex);
    for (const TagPair& pair : tags.Pairs()) {
        if (pair.tag != 0x10040008) continue;
        visible_ = std::get<std::int32_t>(pair.value) != 0;
        group_.visibility_changes.push_back({info_.id, visible_});
    }
}

}  // namespace headless
