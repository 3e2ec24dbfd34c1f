#include "host/text.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <iterator>
#include <numeric>
#include <utility>

namespace headless {

namespace {

constexpr std::size_t MIN_PART = 3;  // letters; shorter texts are not sought inside names

// Names are the same whatever the language of the system.
constexpr char lower_case(char letter) {
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a')
                                          : letter;
}

constexpr bool is_letter_or_digit(char letter) {
    const char lower = lower_case(letter);
    return (lower >= 'a' && lower <= 'z') || (letter >= '0' && letter <= '9');
}

bool same_letter(char a, char b) { return lower_case(a) == lower_case(b); }

// Number of letters to insert, delete or replace (Levenshtein, 1966), ignoring case.
std::size_t edit_distance(std::string_view a, std::string_view b) {
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), 0);
    for (std::size_t i = 0; i < a.size(); ++i) {
        std::size_t diagonal = std::exchange(row[0], i + 1);
        for (std::size_t j = 0; j < b.size(); ++j) {
            const bool same = same_ignoring_case(a.substr(i, 1), b.substr(j, 1));
            const std::size_t replaced = diagonal + (same ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, diagonal + 1, row[j] + 1});
        }
    }
    return row.back();
}

// The name spelled most like `name`, whatever the case; empty when none is close.
std::string similar_name(std::string_view name, const std::vector<std::string>& names) {
    std::string nearest;
    std::size_t nearest_distance = name.size() / 2 + 1;
    for (const std::string& candidate : names) {
        const std::size_t distance = edit_distance(name, candidate);
        if (distance < nearest_distance) {
            nearest_distance = distance;
            nearest = candidate;
        }
    }
    return nearest;
}

// The names that contain `name`; none for a short one.
std::vector<std::string> longer_names(std::string_view name,
                                      const std::vector<std::string>& names) {
    std::vector<std::string> found;
    if (name.size() < MIN_PART) return found;
    std::ranges::copy_if(names, std::back_inserter(found), [&](const auto& candidate) {
        return std::search(candidate.begin(), candidate.end(), name.begin(), name.end(),
                           same_letter) != candidate.end();
    });
    return found;
}

template <class Float>
std::string digits_of(Float value) {
    char text[64];
    const Float size = std::abs(value);
    const bool readable = size == 0 || (size >= static_cast<Float>(1e-3) &&
                                        size < static_cast<Float>(1e15));
    const auto end = readable ? std::to_chars(text, text + sizeof text, value,
                                              std::chars_format::fixed)
                              : std::to_chars(text, text + sizeof text, value);
    return {text, end.ptr};
}

}  // namespace

std::optional<double> number_in(std::string_view text) {
    if (text.starts_with('+')) text.remove_prefix(1);
    double value = 0.0;
    const auto [end, error] =
        std::from_chars(text.data(), text.data() + text.size(), value);
    const bool whole_text = end == text.data() + text.size();
    return error == std::errc() && whole_text ? std::optional(value) : std::nullopt;
}

std::string shortest(double value) { return digits_of(value); }
std::string shortest(float value) { return digits_of(value); }

bool same_ignoring_case(std::string_view a, std::string_view b) {
    return std::ranges::equal(a, b, same_letter);
}

std::string joined(const std::vector<std::string>& items, std::string_view between) {
    std::string text;
    for (const std::string& item : items) {
        if (&item != &items.front()) text += between;
        text += item;
    }
    return text;
}

std::string shell_word(std::string_view text) {
    constexpr std::string_view PLAIN = "_./=:,+-#%@";
    const bool is_plain =
        !text.empty() && text[0] != '#' && std::ranges::all_of(text, [&](char letter) {
            return is_letter_or_digit(letter) || PLAIN.find(letter) != PLAIN.npos;
        });
    if (is_plain) return std::string(text);
    std::string word = "'";
    for (const char letter : text) {
        if (letter == '\'') word += "'\\'";
        word += letter;
    }
    return word + "'";
}

std::string without_line_end(std::string text) {
    while (text.ends_with('\n')) text.pop_back();
    return text;
}

std::string nearest_name(std::string_view name, const std::vector<std::string>& names) {
    std::string nearest = similar_name(name, names);
    if (!nearest.empty()) return nearest;
    const std::vector<std::string> longer = longer_names(name, names);
    return longer.empty() ? "" : longer.front();
}

std::string suggestion(std::string_view name, const std::vector<std::string>& names) {
    const std::string nearest = similar_name(name, names);
    const std::vector<std::string> meant =
        nearest.empty() ? longer_names(name, names) : std::vector{nearest};
    return meant.empty() ? "" : "; did you mean \"" + joined(meant, "\" or \"") + "\"?";
}

}  // namespace headless
