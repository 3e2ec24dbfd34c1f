#include "pipeline/shots/shot_record.h"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <optional>
#include <set>
#include <utility>

#include "host/error.h"
#include "pipeline/pictures/picture_file.h"
#include "pipeline/settings/setting_value.h"
#include "pipeline/shots/choices_json.h"
#include "pipeline/shots/shot_files.h"

namespace focusfall {

namespace {

namespace fs = std::filesystem;
using headless::control;
using headless::control_kind;
using headless::host_error;

constexpr const char* ATTRIBUTE = "focusfall";

// What a new render may have otherwise and still make the same picture, and what it would
// find out only from the files.
constexpr const char* NOT_COMPARED[] = {"version", "color", "depth", "earlier"};

// Seconds since 1970 with their fraction, as a date.
std::string shown_time(fs::file_time_type time) {
    using namespace std::chrono;
    const auto since = file_clock::to_sys(time).time_since_epoch();
    const auto whole = floor<seconds>(since);
    const std::time_t seconds_of_day = whole.count();
    std::tm date{};
    gmtime_r(&seconds_of_day, &date);
    char text[64];
    const std::size_t end = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &date);
    std::snprintf(text + end, sizeof text - end, ".%09ldZ",
                  static_cast<long>(duration_cast<nanoseconds>(since - whole).count()));
    return text;
}

json_record record_of_file(const fs::path& file) {
    json_record record{{"file", fs::absolute(file).lexically_normal().string()}};
    std::error_code missing;
    const fs::file_time_type time = fs::last_write_time(file, missing);
    if (!missing) record["time"] = shown_time(time);
    return record;
}

// The values at `time` that differ from the defaults.
json_record settings_of(const headless::tool& tool, TimeStamp time) {
    json_record settings = json_record::object();
    for (const control* input : tool.controls()) {
        const headless::control_info& info = input->info();
        if (info.is_number() && input->number(time) != info.initial) {
            settings[info.id] = json_value(info, input->number(time));
        }
        if (info.kind == control_kind::TEXT && input->text() != info.initial_text) {
            settings[info.id] = input->text();
        }
    }
    return settings;
}

// Names need not be UTF-8, which JSON demands.
std::string text_of(const json_record& record) {
    return record.dump(-1, ' ', false, json_record::error_handler_t::replace);
}

std::string record_in(const OIIO::ImageSpec& spec) {
    return spec.get_string_attribute(ATTRIBUTE);
}

// A record of an older version is a text that is no JSON.
json_record parsed_record(const std::string& text) {
    const json_record record = json_record::parse(text, nullptr, false);
    return record.is_object() ? record : json_record(text);
}

// The different records of a picture's parts.
std::set<std::string> records_in(const fs::path& file) {
    std::set<std::string> texts;
    for (const picture_part& part : picture_reader(file).headers()) {
        std::string text = record_in(part.spec);
        if (!text.empty()) texts.insert(std::move(text));
    }
    return texts;
}

// Where what a picture was made from can be named instead, by its name in the record.
std::string missing_source(const std::string& name, const std::string& file) {
    std::string option = "--" + name;
    std::ranges::replace(option, '_', '-');
    return "was made from " + file +
           ", which cannot be found; if it lies elsewhere now, " +
           (name == "input" ? "give it as the picture to blur" : "give it by " + option);
}

bool is_younger(const fs::path& file, fs::file_time_type than) {
    std::error_code missing;
    const fs::file_time_type time = fs::last_write_time(file, missing);
    return !file.empty() && !missing && time > than;
}

// "settings/FocusPosition" for the first of what differs.
std::string first_difference(json_record a, json_record b) {
    for (const char* name : NOT_COMPARED) {
        a.erase(name);
        b.erase(name);
    }
    const auto steps = nlohmann::json::diff(nlohmann::json(a), nlohmann::json(b));
    return steps.empty() ? "" : steps[0]["path"].get<std::string>().substr(1);
}

// Whether the last row of each part can be read, as it cannot where a file was cut off.
bool has_its_end(const fs::path& file) {
    const auto input = OIIO::ImageInput::open(file.string());
    for (int part = 0; input && input->seek_subimage(part, 0); ++part) {
        const OIIO::ImageSpec& spec = input->spec();
        const int end = spec.y + spec.height;
        const int rows = std::max(spec.tile_height, 1);
        const int begin = spec.y + (spec.height - 1) / rows * rows;
        std::vector<float> values(static_cast<std::size_t>(spec.width) *
                                  static_cast<std::size_t>(rows * spec.nchannels));
        const bool is_read =
            spec.tile_width > 0
                ? input->read_tiles(part, 0, spec.x, spec.x + spec.width, begin, end, 0,
                                    1, 0, spec.nchannels, OIIO::TypeDesc::FLOAT,
                                    values.data())
                : input->read_scanlines(part, 0, begin, end, 0, 0, spec.nchannels,
                                        OIIO::TypeDesc::FLOAT, values.data());
        if (!is_read) return false;
    }
    return input != nullptr;
}

}  // namespace

json_record record_of(const shot_options& options, const frame_files& files,
                      const headless::tool& tool, TimeStamp time) {
    json_record record{{"tool", options.tool_id}, {"version", options.version}};
    record["input"] = record_of_file(files.input);
    const auto add = [&](const char* name, const fs::path& file) {
        if (!file.empty()) record[name] = record_of_file(file);
    };
    add("depth_map", files.depth_map);
    add("blur_image", files.blur_image);
    add("background", files.background);
    record["read"] = json_of_choices(options.load);
    record["write"] = json_of_choices(options.output_as);
    record["settings"] = settings_of(tool, time);
    return record;
}

std::string record_text(json_record record, const input_picture& input) {
    std::vector<channel_place> color;
    std::vector<channel_place> depth;
    std::set<std::string> earlier;  // once where several layers of a part have one
    const auto add = [&](const color_channels& c, const std::optional<channel_place>& z) {
        color.push_back({c.part, c.red});
        if (c.green != c.red) color.push_back({c.part, c.green});
        if (c.blue && !c.is_grey()) color.push_back({c.part, *c.blue});
        if (z && std::ranges::count(depth, *z) == 0) depth.push_back(*z);
        const std::string text = record_in(input.file[c.part].spec);
        if (!text.empty()) earlier.insert(text);
    };
    add(input.color, input.depth);
    for (const further_layer& layer : input.further) add(layer.color, layer.depth);

    record["color"] = listed_channels(input.file, color);
    if (!depth.empty()) record["depth"] = listed_channels(input.file, depth);
    if (earlier.size() == 1) record["earlier"] = parsed_record(*earlier.begin());
    if (earlier.size() > 1) {
        for (const std::string& text : earlier) {
            record["earlier"].push_back(parsed_record(text));
        }
    }
    return text_of(record);
}

std::string difference(const fs::path& file, const frame_files& files,
                       const json_record& record) {
    std::set<std::string> texts;
    try {
        texts = records_in(file);
        if (!has_its_end(file)) return "a damaged file";
    } catch (const host_error&) {
        return "a damaged file";
    }
    if (texts.empty()) {
        const fs::file_time_type time = fs::last_write_time(file);
        for (const fs::path& source : read_files(files)) {
            if (is_younger(source, time)) return "age";
        }
        return "";
    }
    std::string first;
    for (const std::string& text : texts) {
        // through its text, as the other one went
        const std::string differs =
            first_difference(parsed_record(text), json_record::parse(text_of(record)));
        if (differs.empty()) return "";
        if (first.empty()) first = differs;
    }
    return first;
}

std::string change_since(const fs::path& file) {
    try {
        const std::set<std::string> texts = records_in(file);
        if (!has_its_end(file)) return "the file is damaged";
        for (const std::string& text : texts) {
            const json_record record = parsed_record(text);
            for (const char* name : {"input", "depth_map", "blur_image", "background"}) {
                if (!record.is_object() || !record.contains(name)) continue;
                const auto source = record.at(name).at("file").get<std::string>();
                const json_record now = record_of_file(source);
                // what is gone cannot be newer
                if (now.contains("time") && now != record.at(name)) {
                    return source + " has changed since";
                }
            }
        }
    } catch (const host_error&) {
        return "the file is damaged";
    } catch (const json_record::exception&) {
        return "its record is damaged";
    }
    return "";
}

std::vector<std::string> recorded_render::doubts(const fs::path& file,
                                                 const std::string& version) const {
    std::vector<std::string> all;
    for (const fs::path& source : changed) {
        all.push_back(source.string() + ": has changed since " + file.string() +
                      " was made from it");
    }
    if (shot.version != version) {
        all.push_back(file.string() + ": was made by version " + shot.version);
    }
    return all;
}

recorded_render render_recorded_in(const fs::path& file, const shot_options& given) {
    const auto fail = [&](const std::string& what) -> host_error {
        return host_error(file.string() + ": " + what);
    };
    const std::set<std::string> texts = records_in(file);
    if (texts.empty()) throw fail("carries no record of a render");
    if (texts.size() > 1) throw fail("its parts carry records of several renders");
    const json_record record = parsed_record(*texts.begin());
    if (!record.is_object()) {
        throw fail("carries the record of an older version: " + *texts.begin());
    }
    recorded_render render{given, {}, {}};
    shot_options& shot = render.shot;
    if (shot.output.empty()) shot.output = file.string();
    std::string missing;  // the first file that is not there
    const auto take_file = [&](const char* name, std::string& chosen) {
        if (!chosen.empty() || !record.contains(name)) return;
        chosen = record.at(name).at("file").get<std::string>();
        const json_record now = record_of_file(chosen);
        if (!now.contains("time") && missing.empty()) {
            missing = missing_source(name, chosen);
        }
        if (now != record.at(name)) render.changed.emplace_back(chosen);
    };
    try {
        take_file("input", shot.input);
        take_file("depth_map", shot.depth_map);
        take_file("blur_image", shot.blur_image);
        take_file("background", shot.background);
        json_record read = record.at("read");
        read.update(json_of_choices(given.load));
        take_choices(read, shot.load);
        json_record write = record.at("write");
        write.update(json_of_choices(given.output_as));
        take_choices(write, shot.output_as);
        record.at("tool").get_to(shot.tool_id);
        record.at("version").get_to(shot.version);
        render.settings = record.at("settings");
    } catch (const std::exception& error) {  // also choices and names that are none
        throw fail(std::string("its record is damaged: ") + error.what());
    }
    if (!missing.empty()) throw fail(missing);
    return render;
}

}  // namespace focusfall
