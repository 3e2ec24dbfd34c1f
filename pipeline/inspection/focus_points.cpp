#include "pipeline/inspection/focus_points.h"

#include <charconv>
#include <string_view>
#include <utility>

#include "host/error.h"
#include "host/text.h"
#include "pipeline/settings/setting_value.h"

namespace focusfall {

namespace {

using headless::host_error;

constexpr const char* FOCUS = "FocusPosition";

[[noreturn]] void refuse(const std::string& text, const std::string& why) {
    throw host_error("\"" + text + "\": " + why +
                     "; write X,Y or FRAME:X,Y,FRAME:X,Y with smooth at the end if so "
                     "wanted");
}

std::vector<std::string_view> words_of(std::string_view text) {
    std::vector<std::string_view> words;
    while (true) {
        const std::size_t comma = text.find(',');
        words.push_back(text.substr(0, comma));
        if (comma == text.npos) return words;
        text.remove_prefix(comma + 1);
    }
}

// The whole of `word` as a number that fits.
std::optional<int> whole_number(std::string_view word) {
    int number = 0;
    const char* end = word.data() + word.size();
    const auto [stop, error] = std::from_chars(word.data(), end, number);
    if (error != std::errc() || stop != end) return std::nullopt;
    return number;
}

focus_point parsed_point(const std::string& text, std::string_view x,
                         std::string_view y) {
    focus_point point;
    const std::size_t colon = x.find(':');
    if (colon != x.npos) {
        point.frame = whole_number(x.substr(0, colon));
        if (!point.frame) refuse(text, "the frame must be a whole number");
        x.remove_prefix(colon + 1);
    }
    const auto column = whole_number(x);
    const auto row = whole_number(y);
    if (!column || !row) refuse(text, "pixels are whole numbers");
    point.x = *column;
    point.y = *row;
    return point;
}

void check_order(const std::string& text, const std::vector<focus_point>& points) {
    for (std::size_t i = 0; i < points.size() && points.size() > 1; ++i) {
        if (!points[i].frame) refuse(text, "several points need a frame each");
        if (i > 0 && *points[i].frame <= *points[i - 1].frame) {
            refuse(text, "frames must be in ascending order");
        }
    }
}

}  // namespace

std::string focus_point::shown() const {
    return (frame ? std::to_string(*frame) + ":" : "") + std::to_string(x) + "," +
           std::to_string(y);
}

focus_points parse_focus_points(const std::string& text) {
    std::vector<std::string_view> words = words_of(text);
    focus_points parsed;
    if (words.back() == SMOOTH) {
        parsed.is_smooth = true;
        words.pop_back();
    }
    if (words.empty() || words.size() % 2 != 0) {
        refuse(text, "a pixel has two numbers");
    }
    for (std::size_t i = 0; i < words.size(); i += 2) {
        parsed.points.push_back(parsed_point(text, words[i], words[i + 1]));
    }
    check_order(text, parsed.points);
    if (parsed.is_smooth && !parsed.points.front().frame) {
        refuse(text, "smooth goes with frames");
    }
    return parsed;
}

std::string set_focus(headless::tool& tool, const focus_points& points,
                      const std::function<float(const focus_point&)>& depth_at) {
    const headless::control& control = tool.find(FOCUS);
    std::string value;
    for (const focus_point& point : points.points) {
        if (!value.empty()) value += ",";
        if (point.frame) value += std::to_string(*point.frame) + ":";
        // few digits, which read back as the same depth
        value += headless::shortest(depth_at(point));
    }
    if (points.is_smooth) value += std::string(",") + SMOOTH;
    tool.replace(FOCUS, parsed_setting(control.info(), value));
    return std::string(FOCUS) + "=" + value;
}

}  // namespace focusfall
