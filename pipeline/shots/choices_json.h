#pragma once
// Choices of reading and writing as JSON and back: for records in pictures, and for
// programs that take them by name. [any thread]

#include <optional>
#include <string>

#include <nlohmann/json.hpp>

#include "host/error.h"
#include "pipeline/pictures/result_picture.h"
#include "pipeline/shots/load_choices.h"

namespace focusfall {

using json_record = nlohmann::ordered_json;

// One choice; unset ones are null. `take` throws headless::host_error for a text that
// says nothing, and json_record::exception for a value of another type.
template <class T>
json_record json_of(const T& choice) {
    return choice;
}
inline json_record json_of(const color_encoding& choice) { return choice.name(); }
inline json_record json_of(const OIIO::TypeDesc& choice) { return choice.c_str(); }
inline json_record json_of(depth_meaning choice) { return shown(choice); }
inline json_record json_of(const empty_depth& choice) { return shown(choice); }
inline json_record json_of(const highlight_gain& choice) { return shown(choice); }
template <class T>
json_record json_of(const std::optional<T>& choice) {
    return choice ? json_of(*choice) : json_record();
}

template <class T>
void take(const json_record& from, T& choice) {
    from.get_to(choice);
}
inline void take(const json_record& from, depth_meaning& choice) {
    choice = named_depth_meaning(from.get<std::string>());
}
inline void take(const json_record& from, empty_depth& choice) {
    choice = parsed_empty_depth(from.get<std::string>());
}
inline void take(const json_record& from, highlight_gain& choice) {
    choice = parsed_highlights(from.get<std::string>());
}
template <class T>
void take(const json_record& from, std::optional<T>& choice) {
    take(from, choice.emplace());
}
inline void take(const json_record& from, std::optional<color_encoding>& choice) {
    choice = color_encoding::named(from.get<std::string>());
}
inline void take(const json_record& from, OIIO::TypeDesc& choice) {
    const auto name = from.get<std::string>();
    if (name != "half" && name != "float") {
        throw headless::host_error("pictures are of half or float, not of \"" + name +
                                   "\"");
    }
    choice = OIIO::TypeDesc(name);
}

// The choices that differ from the defaults, by the names of their options.
template <class Choices>
json_record json_of_choices(const Choices& choices) {
    const Choices usual;
    json_record record = json_record::object();
    json_record defaults;
    Choices::for_each(usual, [&](const char* name, const auto& choice) {
        defaults[name] = json_of(choice);
    });
    Choices::for_each(choices, [&](const char* name, const auto& choice) {
        json_record value = json_of(choice);
        if (value != defaults[name]) record[name] = std::move(value);
    });
    return record;
}

// Makes those choices that the record names; throws as `take`.
template <class Choices>
void take_choices(const json_record& record, Choices& choices) {
    Choices::for_each(choices, [&](const char* name, auto& choice) {
        if (record.contains(name)) take(record[name], choice);
    });
}

}  // namespace focusfall
