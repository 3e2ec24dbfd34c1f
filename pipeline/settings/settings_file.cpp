#include "pipeline/settings/settings_file.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string_view>

#include "host/error.h"
#include "host/text.h"
#include "pipeline/process/output_file.h"
#include "pipeline/settings/setting_value.h"

namespace focusfall {

namespace {

namespace fs = std::filesystem;
using headless::control;
using headless::control_info;
using headless::control_kind;
using headless::control_value;
using headless::host_error;
using json = nlohmann::ordered_json;

// Names in a file that are not controls: their texts are for readers.
constexpr const char* COMMENT = "comment";
constexpr const char* SOURCE = "source";
// Valid files nest 3 levels deep (a key in its list in the object). Up to this depth a
// message can quote the value that is wrong; deeper ones could overflow the stack.
constexpr int MAX_DEPTH = 32;

// Reads the characters of a text and counts its lines in `line` meanwhile.
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

[[noreturn]] void fail(const fs::path& file, int line, const std::string& what) {
    throw host_error(file.string() + ":" + std::to_string(line) + ": " + what);
}

std::string content_of(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    if (!stream.is_open()) {
        throw host_error(file.string() + ": cannot be read: " + std::strerror(errno));
    }
    constexpr std::size_t MAX_MEGABYTES = 16;  // keys for some hundred thousand frames
    std::string text((MAX_MEGABYTES << 20) + 1, '\0');
    stream.read(text.data(), static_cast<std::streamsize>(text.size()));
    const auto size = static_cast<std::size_t>(stream.gcount());
    if (size == 0) throw host_error(file.string() + ": cannot be read, or is empty");
    if (size == text.size()) {
        throw host_error(file.string() + ": is larger than " +
                         std::to_string(MAX_MEGABYTES) +
                         " MB, which no settings file is; name another");
    }
    text.resize(size);
    return text;
}

bool is_edited(const control& input) {
    const control_info& info = input.info();
    if (info.kind == control_kind::TEXT) return input.text() != info.initial_text;
    const headless::animation curve = input.curve();
    return curve.is_animated() || curve.at(0) != info.initial;
}

// The values of the controls that `wanted` chooses, as the text of a settings file.
template <class Wanted>
std::string file_content(const headless::tool& tool, const Wanted& wanted) {
    std::string text = "{";
    for (const control* input : tool.controls()) {
        const control_info& info = input->info();
        if (info.kind == control_kind::IMAGE || !wanted(*input)) continue;
        try {
            text += (text == "{" ? "\n  " : ",\n  ") + json(info.id).dump() + ": " +
                    json_setting(*input).dump();
        } catch (const json::exception&) {
            throw host_error(info.id + ": its text is not UTF-8 and cannot be saved");
        }
    }
    return text + "\n}\n";
}

void write_whole(const fs::path& file, const std::string& content) {
    // written to, not replaced: others may have it open, or it is a pipe
    if (file == "/dev/stdout") {
        std::cout << content << std::flush;
        return;
    }
    output_file output(file);
    std::ofstream stream(output.temporary_name(), std::ios::binary);
    stream << content << std::flush;
    if (!stream) {
        throw host_error(file.string() + ": cannot be written: " + std::strerror(errno));
    }
    output.commit();
}

}  // namespace

settings_text parsed_settings_file(const fs::path& file) {
    const std::string text = content_of(file);
    settings_text parsed;
    int line = 1;
    const auto note_names = [&](int depth, json::parse_event_t event, const json& name) {
        if (depth > MAX_DEPTH) fail(file, line, "is nested too deeply");
        if (depth != 1 || event != json::parse_event_t::key) return true;
        const bool first = parsed.lines.emplace(name.get<std::string>(), line).second;
        if (!first) fail(file, line, name.get<std::string>() + ": is given twice");
        return true;
    };
    try {
        parsed.values =
            json::parse(line_counter{text.data(), &line},
                        line_counter{text.data() + text.size(), &line}, note_names);
    } catch (const json::out_of_range&) {
        fail(file, line, "has a number that is too large");
    } catch (const json::parse_error& error) {
        // its text begins with "... parse error at line 3, column 1: "
        const std::string_view fault = error.what();
        fail(file, line,
             "is not valid JSON: " + std::string(fault.substr(fault.find(": ") + 2)));
    }
    if (!parsed.values.is_object()) {
        fail(file, 1, "must be one object, {...}, of control identifiers and values");
    }
    return parsed;
}

std::map<std::string, control_value> read_settings_file(const fs::path& file,
                                                        const headless::tool& tool) {
    const settings_text parsed = parsed_settings_file(file);
    std::map<std::string, control_value> values;
    for (const auto& [name, value] : parsed.values.items()) {
        const int line = parsed.lines.at(name);
        if (name == COMMENT || name == SOURCE) {
            if (!value.is_string()) fail(file, line, name + ": must be a text");
            continue;
        }
        try {
            values.emplace(name, setting_from_json(tool.find(name).info(), value));
        } catch (const host_error& error) {
            fail(file, line, error.what());
        }
    }
    return values;
}

void save_settings_file(const fs::path& file, const headless::tool& tool) {
    write_whole(file, file_content(tool, [](const control& input) {
                    return input.info().is_number() || is_edited(input);
                }));
}

void save_edited_settings(const fs::path& file, const headless::tool& tool,
                          const std::set<std::string>& named) {
    write_whole(file, file_content(tool, [&](const control& input) {
                    return named.contains(input.info().id) || is_edited(input);
                }));
}

}  // namespace focusfall
