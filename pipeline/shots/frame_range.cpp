#include "pipeline/shots/frame_range.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <numeric>
#include <string_view>
#include <unordered_set>

#include "host/error.h"

namespace focusfall {

namespace {

constexpr long MAX_FRAMES = 100'000;
constexpr std::size_t MAX_DIGITS = 20;

// Reads a whole number off the front of `text`; false when there is none.
bool take_number(std::string_view& text, int& number) {
    const auto [end, error] =
        std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc()) return false;
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return true;
}

bool take(std::string_view& text, char letter) {
    if (!text.starts_with(letter)) return false;
    text.remove_prefix(1);
    return true;
}

// A place for the frame number that begins at `start`: its length in the name and the
// digits that it asks for. A length of 0: none begins there.
struct number_place {
    std::size_t length = 0;
    std::size_t digits = 0;
};

number_place place_at(std::string_view name, std::size_t start) {
    if (name[start] == '#') {
        const std::size_t end = name.find_first_not_of('#', start);
        const std::size_t count =
            (end == std::string_view::npos ? name.size() : end) - start;
        return {count, std::min(count, MAX_DIGITS)};
    }
    if (name[start] != '%') return {};
    std::string_view rest = name.substr(start + 1);
    std::size_t digits = 0;
    while (!rest.empty() && rest[0] >= '0' && rest[0] <= '9') {
        digits =
            std::min(digits * 10 + static_cast<std::size_t>(rest[0] - '0'), MAX_DIGITS);
        rest.remove_prefix(1);
    }
    if (!rest.starts_with('d')) return {};
    return {name.size() - start - rest.size() + 1, digits};
}

std::string padded(int number, std::size_t digits) {
    const std::string size = std::to_string(std::abs(static_cast<long>(number)));
    const std::size_t zeros = digits > size.size() ? digits - size.size() : 0;
    std::string text(number < 0 ? 1 : 0, '-');
    return text.append(zeros, '0').append(size);
}

}  // namespace

std::vector<int> parse_frames(const std::string& text) {
    const auto fail = [&text](const std::string& what) {
        throw headless::host_error("frames \"" + text + "\": " + what +
                                   "; write them like 1-48, 1-96x2 or 1-10,20,30-40");
    };
    std::vector<int> frames;
    std::unordered_set<int> known;
    long listed = 0;  // repeats included, for they take time too
    std::string_view rest = text;
    do {
        int first = 0;
        int step = 1;
        if (!take_number(rest, first)) fail("a frame number is missing");
        int last = first;
        if (take(rest, '-') && !take_number(rest, last)) fail("a range has no end");
        if (take(rest, 'x') && !take_number(rest, step)) fail("a step is missing");
        if (last < first) fail("a range ends before it begins");
        if (step < 1) fail("a step is below 1");
        listed += (static_cast<long>(last) - first) / step + 1;
        if (listed > MAX_FRAMES) fail("there are more than a hundred thousand");
        for (long frame = first; frame <= last; frame += step) {
            if (known.insert(static_cast<int>(frame)).second) {
                frames.push_back(static_cast<int>(frame));
            }
        }
    } while (take(rest, ','));
    if (!rest.empty()) fail("\"" + std::string(rest) + "\" is not understood");
    return frames;
}

std::vector<int> without_holes(const std::vector<int>& frames) {
    if (frames.empty()) return frames;
    const auto from_first = [&](int frame) {
        return std::int64_t{frame} - frames.front();
    };
    std::int64_t step = 0;
    for (const int frame : frames) step = std::gcd(step, from_first(frame));
    if (step == 0) return frames;  // one frame
    if (from_first(frames.back()) / step >= MAX_FRAMES) {
        throw headless::host_error("frames " + std::to_string(frames.front()) + " to " +
                                   std::to_string(frames.back()) +
                                   ": are more than a hundred thousand; name those to "
                                   "render by --frames 1-48");
    }
    std::vector<int> all;
    for (std::int64_t frame = frames.front(); frame <= frames.back(); frame += step) {
        all.push_back(static_cast<int>(frame));
    }
    return all;
}

std::string shown_frames(const std::vector<int>& frames) {
    std::string text;
    for (std::size_t i = 0; i < frames.size(); ++i) {
        const std::size_t first = i;
        while (i + 1 < frames.size() && frames[i + 1] == frames[i] + 1) ++i;
        if (!text.empty()) text += ',';
        text += std::to_string(frames[first]);
        if (i > first) text += '-' + std::to_string(frames[i]);
    }
    return text;
}

bool has_frame_pattern(const std::string& name) {
    for (std::size_t i = 0; i < name.size(); ++i) {
        if (place_at(name, i).length > 0) return true;
    }
    return false;
}

std::optional<int> frame_number(const std::string& pattern, std::string_view name) {
    std::size_t start = 0;
    while (start < pattern.size() && place_at(pattern, start).length == 0) ++start;
    if (start >= name.size()) return std::nullopt;
    const std::string_view rest = name.substr(start);
    const std::size_t sign = rest[0] == '-' ? 1 : 0;
    const std::size_t end =
        std::min(rest.find_first_not_of("0123456789", sign), rest.size());
    // digits of the name itself may follow: right is the number that makes all of it
    for (std::size_t length = end; length > sign; --length) {
        std::string_view digits = rest.substr(0, length);
        int frame = 0;
        if (take_number(digits, frame) && frame_name(pattern, frame) == name)
            return frame;
    }
    return std::nullopt;
}

std::string frame_name(const std::string& name, int frame) {
    std::string result;
    for (std::size_t i = 0; i < name.size();) {
        const number_place place = place_at(name, i);
        if (place.length > 0) {
            result += padded(frame, place.digits);
            i += place.length;
        } else {
            result += name[i++];
        }
    }
    return result;
}

}  // namespace focusfall
