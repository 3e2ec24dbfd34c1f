#include "programs/python/options.h"

#include <algorithm>

#include "host/error.h"
#include "host/text.h"

namespace focusfall {

namespace {

using headless::host_error;

std::string keyword_of(const char* option) {
    std::string name = option;
    std::ranges::replace(name, '-', '_');
    return name;
}

// What an argument of the choice's type takes, for people to read.
const char* takes(const std::vector<std::string>&) { return "str | Sequence[str]"; }
const char* takes(const std::string&) { return "str"; }
const char* takes(const OIIO::TypeDesc&) { return "str"; }
const char* takes(const std::optional<color_encoding>&) { return "str"; }
const char* takes(const std::optional<depth_meaning>&) { return "str"; }
const char* takes(const std::optional<double>&) { return "float"; }
const char* takes(const std::optional<empty_depth>&) { return "str | float"; }
const char* takes(const std::optional<highlight_gain>&) {
    return "str | tuple[float, float]";
}
const char* takes(bool) { return "bool"; }

// A number or a list of them as the command's user types it.
std::string typed(const json_record& value) {
    if (value.is_string()) return value.get<std::string>();
    if (value.is_number()) return headless::shortest(value.get<double>());
    std::vector<std::string> items;
    for (const json_record& item : value) items.push_back(typed(item));
    return headless::joined(items, ",");
}

// What `take` reads of the value: some arguments have a shorter form.
template <class T>
json_record usual_form(const json_record& value, const T&) {
    return value;
}
json_record usual_form(const json_record& value, const std::vector<std::string>&) {
    return value.is_string() ? json_record::array({value}) : value;
}
json_record usual_form(const json_record& value, const std::optional<empty_depth>&) {
    return typed(value);
}
json_record usual_form(const json_record& value, const std::optional<highlight_gain>&) {
    return typed(value);
}

template <class Choices>
std::vector<keyword> keywords_of() {
    const Choices choices;
    std::vector<keyword> all;
    Choices::for_each(choices, [&](const char* option, const auto& choice) {
        all.push_back({keyword_of(option), takes(choice)});
    });
    return all;
}

template <class Choices>
Choices choices_of(const json_record& given) {
    Choices choices;
    std::vector<std::string> names;
    Choices::for_each(choices, [&](const char* option, auto& choice) {
        const std::string name = names.emplace_back(keyword_of(option));
        if (!given.contains(name) || given[name].is_null()) return;
        try {
            take(usual_form(given[name], choice), choice);
        } catch (const json_record::exception&) {
            throw host_error(name + ": takes " + takes(choice) + ", not " +
                             given[name].dump());
        } catch (const host_error& error) {
            throw host_error(name + ": " + error.what());
        }
    });
    for (const auto& [name, value] : given.items()) {
        if (std::ranges::count(names, name) > 0) continue;
        throw host_error("there is no option \"" + name + "\"" +
                         headless::suggestion(name, names));
    }
    return choices;
}

void check(const char* name, const std::optional<double>& given,
           const choice_range& range) {
    if (!given || (*given >= range.lowest && *given <= range.highest)) return;
    throw host_error(std::string(name) + ": " + headless::shortest(*given) +
                     " is no number from " + headless::shortest(range.lowest) + " to " +
                     headless::shortest(range.highest));
}

}  // namespace

std::vector<keyword> read_keywords() { return keywords_of<load_choices>(); }
std::vector<keyword> write_keywords() { return keywords_of<output_choices>(); }

load_choices load_choices_of(const json_record& given) {
    load_choices choices = choices_of<load_choices>(given);
    check("depth_scale", choices.depth.scale, DEPTH_SCALES);
    check("field_of_view", choices.depth.field_of_view, FIELDS_OF_VIEW);
    return choices;
}

output_choices output_choices_of(const json_record& given) {
    return choices_of<output_choices>(given);
}

}  // namespace focusfall
