#include "pipeline/settings/setting_value.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "host/error.h"
#include "host/text.h"

namespace focusfall {

namespace {

using headless::animation;
using headless::control;
using headless::control_info;
using headless::control_kind;
using headless::control_value;
using headless::host_error;
using headless::interpolation;
using headless::key;
using json = nlohmann::ordered_json;

// `value` as JSON spells it, cut short to fit into a message.
std::string quoted(const json& value) {
    const std::string text = value.dump();
    return text.size() > 40 ? text.substr(0, 37) + "..." : text;
}

// The curve through `keys`, smooth, linear or in steps as the control allows.
animation curve_of(const control_info& info, std::vector<key> keys, bool smooth) {
    if (keys.empty()) throw host_error(info.id + ": needs at least one key in its list");
    for (std::size_t i = 1; i < keys.size(); ++i) {
        if (keys[i - 1].time < keys[i].time) continue;
        throw host_error(info.id + ": keys must be in ascending order of time, but " +
                         headless::shortest(keys[i].time) + " follows " +
                         headless::shortest(keys[i - 1].time));
    }
    if (smooth && info.steps()) {
        throw host_error(info.id +
                         ": changes in steps and cannot be smooth; leave out \"smooth\"");
    }
    const auto between = info.steps() ? interpolation::STEP
                         : smooth     ? interpolation::SMOOTH
                                      : interpolation::LINEAR;
    return {std::move(keys), between};
}

// What people call items that have other names here.
struct synonym {
    const char* word;
    const char* item;
};
constexpr synonym SYNONYMS[] = {
    {"triangle", "Polygon"}, {"pentagon", "Polygon"}, {"hexagon", "Polygon"},
    {"octagon", "Polygon"},  {"circle", "Disk"},      {"round", "Disk"},
    {"millimetre", "mm"},    {"metre", "meter"},
};

// The end of a message about an unknown item: the one that may be meant.
std::string item_hint(const control_info& info, std::string_view text) {
    for (const auto& [word, item] : SYNONYMS) {
        const bool known = std::ranges::find(info.items, item) != info.items.end();
        if (!known || !headless::same_ignoring_case(text, word)) continue;
        return "; did you mean \"" + std::string(item) + "\"?";
    }
    // what is spelt alike is another unit
    if (info.id == "DepthMapUnits") {
        return "; --depth-scale takes any other unit, as 10 for centimetres";
    }
    return headless::suggestion(text, info.items);
}

double item_of(const control_info& info, const std::string& text) {
    const auto item = std::ranges::find(info.items, text);
    if (item != info.items.end()) return static_cast<double>(item - info.items.begin());
    const std::string hint = item_hint(info, text);
    throw host_error(info.id + ": has no item \"" + text + "\"" +
                     (hint.empty() ? ", only " + info.range() : hint));
}

// `text` as a person types a value.
double typed_number(const control_info& info, std::string_view text) {
    try {
        return info.parse(text);
    } catch (const host_error& error) {
        const bool is_item = !info.items.empty() && !headless::number_in(text);
        throw host_error(error.what() + (is_item ? item_hint(info, text) : ""));
    }
}

std::string_view without_blanks(std::string_view text) {
    const std::size_t first = text.find_first_not_of(" \t");
    if (first == text.npos) return "";
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

// The texts between commas, blanks around them left out.
std::vector<std::string_view> listed(std::string_view text) {
    std::vector<std::string_view> parts;
    for (std::size_t start = 0, end = 0; end != text.npos; start = end + 1) {
        end = text.find(',', start);
        parts.push_back(without_blanks(text.substr(start, end - start)));
    }
    return parts;
}

double number_of(const control_info& info, const json& value) {
    if (info.kind == control_kind::CHECKBOX && value.is_boolean()) return value ? 1 : 0;
    if (info.kind == control_kind::BUTTONS && value.is_string()) {
        return item_of(info, value.get<std::string>());
    }
    if (!value.is_number()) {
        const char* wanted = info.kind == control_kind::CHECKBOX  ? "true or false"
                             : info.kind == control_kind::BUTTONS ? "the text of an item"
                                                                  : "a number";
        throw host_error(info.id + ": must be " + wanted + ", not " + quoted(value));
    }
    const auto number = value.get<double>();
    if (info.allowed(number) != number) {
        throw host_error(info.id + ": " + headless::shortest(number) +
                         " is out of range: " + info.range());
    }
    return number;
}

animation keys_of(const control_info& info, const json& list) {
    const bool smooth = !list.empty() && list.back() == SMOOTH;
    std::vector<key> keys;
    for (std::size_t i = 0; i + (smooth ? 1 : 0) < list.size(); ++i) {
        const json& pair = list[i];
        if (!pair.is_array() || pair.size() != 2 || !pair[0].is_number()) {
            throw host_error(info.id + ": " + quoted(pair) +
                             " is not a key; write [time, value]");
        }
        keys.push_back({pair[0].get<double>(), number_of(info, pair[1])});
    }
    return curve_of(info, std::move(keys), smooth);
}

// Whole numbers without a fraction; negative ones keep it, for the sign of zero.
json plain_number(double value) {
    const bool whole = std::trunc(value) == value && std::abs(value) < 1e15;
    if (whole && !std::signbit(value)) return static_cast<std::int64_t>(value);
    return value;
}

}  // namespace

json json_value(const control_info& info, double value) {
    if (info.kind == control_kind::CHECKBOX) return value > 0.5;
    if (info.kind == control_kind::BUTTONS) return info.shown(value);
    return plain_number(value);
}

control_value parsed_setting(const control_info& info, std::string_view text) {
    if (!info.is_number()) return std::string(text);
    text = without_blanks(text);
    if (text.find(':') == text.npos) return animation(typed_number(info, text));

    std::vector<std::string_view> pairs = listed(text);
    const bool smooth = pairs.back() == SMOOTH;
    if (smooth) pairs.pop_back();
    std::vector<key> keys;
    for (const std::string_view pair : pairs) {
        const std::size_t colon = pair.find(':');
        const auto time = headless::number_in(without_blanks(pair.substr(0, colon)));
        if (colon == pair.npos || !time || !std::isfinite(*time)) {
            const bool is_word = colon == pair.npos && pair == pairs.back();
            throw host_error(info.id + ": \"" + std::string(pair) +
                             "\" is not a key; write TIME:VALUE" +
                             (is_word ? headless::suggestion(pair, {SMOOTH}) : ""));
        }
        keys.push_back(
            {*time, typed_number(info, without_blanks(pair.substr(colon + 1)))});
    }
    return curve_of(info, std::move(keys), smooth);
}

std::string adjustment_note(const control_info& info, std::string_view text) {
    if (!info.is_number()) return "";
    std::string adjusted;
    for (const std::string_view part : listed(text)) {
        // the value of a key, or all there is
        const std::string_view value = part.substr(part.find(':') + 1);
        const auto number = headless::number_in(without_blanks(value));
        if (!number || info.allowed(*number) == *number) continue;
        const std::string typed = headless::shortest(*number);
        const std::string taken = info.shown(info.allowed(*number));
        // a bound given in single precision, typed as it is shown, is no other value
        if (typed == taken) continue;
        adjusted += (adjusted.empty() ? "" : ", ") + typed + " becomes " + taken;
    }
    if (adjusted.empty()) return "";
    return info.id + ": " + adjusted + " (takes " + info.range() + ")";
}

control_value setting_from_json(const control_info& info, const json& value) {
    if (info.kind == control_kind::IMAGE) {
        throw host_error(info.id + ": is an image connection and has no value");
    }
    if (info.kind == control_kind::TEXT) {
        if (value.is_string()) return value.get<std::string>();
        throw host_error(info.id + ": must be a text, not " + quoted(value));
    }
    if (value.is_array()) return keys_of(info, value);
    return animation(number_of(info, value));
}

std::string shown_setting(const control& input) {
    const control_info& info = input.info();
    if (!info.is_number()) return input.text();
    const animation curve = input.curve();
    if (!curve.is_animated()) return info.shown(curve.at(0));
    std::string text;
    for (const auto& [time, value] : curve.keys()) {
        if (!text.empty()) text += ',';
        text += headless::shortest(time) + ':' + info.shown(value);
    }
    if (curve.between() == interpolation::SMOOTH) text.append(",").append(SMOOTH);
    return text;
}

json json_setting(const control& input) {
    const control_info& info = input.info();
    if (!info.is_number()) return input.text();
    const animation curve = input.curve();
    if (!curve.is_animated()) return json_value(info, curve.at(0));
    auto list = json::array();
    for (const auto& [time, value] : curve.keys()) {
        list.push_back({plain_number(time), json_value(info, value)});
    }
    if (curve.between() == interpolation::SMOOTH) list.push_back(SMOOTH);
    return list;
}

json json_control(const control& input) {
    const control_info& info = input.info();
    json all{{"id", info.id},
             {"name", info.name},
             {"page", info.page},
             {"kind", kind_name(info.kind)},
             {"visible", input.is_visible()}};
    if (info.kind == control_kind::TEXT) {
        all["default"] = info.initial_text;
        all["value"] = input.text();
    } else if (info.kind == control_kind::IMAGE) {
        all["connection"] = info.connection;
        all["required"] = info.required;
    } else {
        all["default"] = info.initial;
        all["value"] = input.number(0);
        if (input.curve().is_animated()) all["keys"] = json_setting(input);
        if (info.lowest) all["lowest"] = *info.lowest;
        if (info.highest) all["highest"] = *info.highest;
        if (info.slider_end) all["slider_end"] = *info.slider_end;
        if (!info.items.empty()) all["items"] = info.items;
        if (info.whole) all["whole"] = true;
    }
    return all;
}

}  // namespace focusfall
