#include "pipeline/settings/settings_file.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iterator>
#include <sstream>
#include <utility>

#include "host/text.h"
#include "pipeline/process/output_file.h"
#include "pipeline/settings/installation.h"

namespace focusfall {

namespace {

namespace fs = std::filesystem;
using headless::animation;
using headless::control;
using headless::control_info;
using headless::control_kind;
using headless::control_value;
using headless::host_error;
using headless::interpolation;
using headless::key;
using json = nlohmann::ordered_json;

// Stands behind the keys that a smooth curve joins.
constexpr const char* SMOOTH = "smooth";
// What a file may say besides the values of controls.
constexpr const char* COMMENT = "comment";
constexpr const char* SOURCE = "source";
// Keys lie at a depth of 3; more is refused with a better text, up to here.
constexpr int MOST_DEPTH = 32;

// The characters of a text, counting the lines that were read.
struct line_counter {
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = const char&;

    const char* place;
    int* line;

    reference operator*() const { return *place; }
    line_counter& operator++() {
        if (*place++ == '\n') ++*line;
        return *this;
    }
    bool operator==(const line_counter& other) const { return place == other.place; }
    bool operator!=(const line_counter& other) const { return place != other.place; }
};

// NOLINTNEXTLINE(bugprone-exception-escape): moved, a value throws nothing
struct parsed_file {
    json values;
    std::map<std::string, int> lines;  // where each name stands
};

[[noreturn]] void fail(const fs::path& file, int line, const std::string& what) {
    throw host_error(file.string() + ":" + std::to_string(line) + ": " + what);
}

std::string text_of(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    std::ostringstream text;
    text << stream.rdbuf();
    if (!stream.is_open() || text.fail()) {
        throw host_error(file.string() + ": can not be read, or is empty");
    }
    return text.str();
}

// What the parser says, without its own name and its count of lines and columns.
std::string reason_of(const json::exception& error) {
    std::string text = error.what();
    const std::size_t column = text.find("column ");
    const std::size_t start =
        text.find(column == text.npos ? "] " : ": ", column == text.npos ? 0 : column);
    return start == text.npos ? text : text.substr(start + 2);
}

parsed_file parse(const fs::path& file) {
    const std::string text = text_of(file);
    parsed_file parsed;
    int line = 1;
    const auto note_names = [&](int depth, json::parse_event_t event, const json& name) {
        // what is nested without end would take the stack when a message quotes it
        if (depth > MOST_DEPTH) fail(file, line, "is nested too deeply");
        if (depth != 1 || event != json::parse_event_t::key) return true;
        const bool first = parsed.lines.emplace(name.get<std::string>(), line).second;
        if (!first) fail(file, line, name.get<std::string>() + ": is given twice");
        return true;
    };
    try {
        parsed.values =
            json::parse(line_counter{text.data(), &line},
                        line_counter{text.data() + text.size(), &line}, note_names);
    } catch (const json::exception& error) {
        fail(file, line, "is no valid JSON: " + reason_of(error));
    }
    if (!parsed.values.is_object()) {
        fail(file, 1, "wants one object of control identifiers and their values");
    }
    return parsed;
}

// `value` as a file spells it, cut short where that would fill the line.
std::string quoted(const json& value) {
    const std::string text = value.dump();
    return text.size() > 40 ? text.substr(0, 37) + "..." : text;
}

// A curve through `keys`, as far as the control can have one.
animation curve_of(const control_info& info, std::vector<key> keys, bool smooth) {
    if (keys.empty()) throw host_error(info.id + ": a list of keys needs one at least");
    for (std::size_t i = 1; i < keys.size(); ++i) {
        if (keys[i - 1].time < keys[i].time) continue;
        throw host_error(info.id + ": keys must ascend in time, but " +
                         headless::shortest(keys[i].time) + " follows " +
                         headless::shortest(keys[i - 1].time));
    }
    if (smooth && info.steps()) {
        throw host_error(info.id + ": steps from key to key and can not be smooth");
    }
    const auto between = info.steps() ? interpolation::STEP
                         : smooth     ? interpolation::SMOOTH
                                      : interpolation::LINEAR;
    return {std::move(keys), between};
}

double item_of(const control_info& info, const std::string& text) {
    const auto item = std::ranges::find(info.items, text);
    if (item != info.items.end()) return static_cast<double>(item - info.items.begin());
    const std::string nearest = headless::nearest_name(text, info.items);
    throw host_error(info.id + ": has no item \"" + text + "\"" +
                     (nearest.empty() ? ", only " + info.range()
                                      : "; did you mean \"" + nearest + "\"?"));
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
        throw host_error(info.id + ": takes " + wanted + ", not " + quoted(value));
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
        const json& one = list[i];
        if (!one.is_array() || one.size() != 2 || !one[0].is_number()) {
            throw host_error(info.id + ": " + quoted(one) +
                             " is no key, which has the form [time, value]");
        }
        keys.push_back({one[0].get<double>(), number_of(info, one[1])});
    }
    return curve_of(info, std::move(keys), smooth);
}

control_value value_of(const control_info& info, const json& value) {
    if (info.kind == control_kind::IMAGE) {
        throw host_error(info.id + ": is an image connection and takes no value");
    }
    if (info.kind == control_kind::TEXT) {
        if (value.is_string()) return value.get<std::string>();
        throw host_error(info.id + ": takes a text, not " + value.dump());
    }
    if (value.is_array()) return keys_of(info, value);
    return animation(number_of(info, value));
}

// Whole numbers without a fraction; negative ones keep it, for the sign of zero.
json plain_number(double value) {
    const bool whole = std::trunc(value) == value && std::abs(value) < 1e15;
    if (whole && !std::signbit(value)) return static_cast<std::int64_t>(value);
    return value;
}

json json_number(const control_info& info, double value) {
    if (info.kind == control_kind::CHECKBOX) return value > 0.5;
    if (info.kind == control_kind::BUTTONS) return info.shown(value);
    return plain_number(value);
}

}  // namespace

std::vector<preset> installed_presets() {
    std::vector<preset> presets;
    std::error_code missing;
    for (const auto& entry : fs::directory_iterator(installed_preset_folder(), missing)) {
        const fs::path& file = entry.path();
        if (file.extension() != ".json") continue;
        presets.push_back({file.stem().string(), file, parse(file).values});
    }
    std::ranges::sort(presets, {}, &preset::name);
    return presets;
}

fs::path settings_file_named(const std::string& name) {
    std::error_code error;
    if (fs::exists(name, error) && !fs::is_directory(name, error)) return name;
    std::vector<std::string> names;
    for (const preset& one : installed_presets()) {
        if (one.name == name) return one.file;
        names.push_back(one.name);
    }
    const std::string nearest = headless::nearest_name(name, names);
    throw host_error(name + ": there is neither a file nor a preset of this name" +
                     (nearest.empty() ? "; `focusfall controls --presets` lists them"
                                      : "; did you mean \"" + nearest + "\"?"));
}

std::map<std::string, control_value> read_settings_file(const fs::path& file,
                                                        const headless::tool& tool) {
    const parsed_file parsed = parse(file);
    std::map<std::string, control_value> values;
    for (const auto& [name, value] : parsed.values.items()) {
        const int line = parsed.lines.at(name);
        if (name == COMMENT || name == SOURCE) {
            if (!value.is_string()) fail(file, line, name + ": takes a text");
            continue;
        }
        try {
            values.emplace(name, value_of(tool.find(name).info(), value));
        } catch (const host_error& error) {
            fail(file, line, error.what());
        }
    }
    return values;
}

void save_settings_file(const fs::path& file, const headless::tool& tool) {
    std::string text = "{";
    for (const control* input : tool.controls()) {
        const control_info& info = input->info();
        if (info.kind == control_kind::IMAGE) continue;
        const bool is_text = info.kind == control_kind::TEXT;
        if (is_text && input->text() == info.initial_text) continue;
        try {
            text += (text == "{" ? "\n  " : ",\n  ") + json(info.id).dump() + ": " +
                    json_setting(*input).dump();
        } catch (const json::exception&) {
            throw host_error(info.id + ": is no UTF-8 text and can not be saved");
        }
    }

    output_file output(file);
    std::ofstream stream(output.temporary_name(), std::ios::binary);
    stream << text << "\n}\n" << std::flush;
    if (!stream) throw host_error(file.string() + ": can not be written");
    output.commit();
}

control_value parsed_setting(const control_info& info, std::string_view text) {
    if (!info.is_number()) return std::string(text);
    if (text.find(':') == text.npos) return animation(info.parse(text));

    std::vector<key> keys;
    for (std::size_t start = 0, end = 0; end != text.npos; start = end + 1) {
        end = text.find(',', start);
        const std::string_view one = text.substr(start, end - start);
        if (end == text.npos && one == SMOOTH) return curve_of(info, keys, true);

        const std::size_t colon = one.find(':');
        const auto time = headless::number_in(one.substr(0, colon));
        if (colon == one.npos || !time || !std::isfinite(*time)) {
            throw host_error(info.id + ": \"" + std::string(one) +
                             "\" is no key, which has the form TIME:VALUE");
        }
        keys.push_back({*time, info.parse(one.substr(colon + 1))});
    }
    return curve_of(info, keys, false);
}

std::string shown_setting(const control& input) {
    const control_info& info = input.info();
    if (!info.is_number()) return input.text();
    const animation curve = input.curve();
    if (!curve.is_animated()) return info.shown(curve.at(0));
    std::string text;
    for (const key& one : curve.keys()) {
        if (!text.empty()) text += ",";
        text += headless::shortest(one.time) + ":" + info.shown(one.value);
    }
    return text +
           (curve.between() == interpolation::SMOOTH ? std::string(",") + SMOOTH : "");
}

json json_setting(const control& input) {
    const control_info& info = input.info();
    if (!info.is_number()) return input.text();
    const animation curve = input.curve();
    if (!curve.is_animated()) return json_number(info, curve.at(0));
    auto list = json::array();
    for (const key& one : curve.keys()) {
        list.push_back({plain_number(one.time), json_number(info, one.value)});
    }
    if (curve.between() == interpolation::SMOOTH) list.push_back(SMOOTH);
    return list;
}

}  // namespace focusfall
