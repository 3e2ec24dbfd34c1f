#include "pipeline/process/progress_bar.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace focusfall {

namespace {

using namespace std::chrono_literals;

constexpr auto FIRST_AFTER = 500ms;
constexpr auto THEN_EVERY = 100ms;
constexpr std::size_t BAR_LENGTH = 24;

// "0:07", "12:34" or "1:02:03".
std::string shown_time(double seconds) {
    const auto whole = static_cast<long>(std::ceil(std::min(seconds, 1e6)));
    char text[48];
    if (whole >= 3600) {
        std::snprintf(text, sizeof text, "%ld:%02ld:%02ld", whole / 3600, whole / 60 % 60,
                      whole % 60);
    } else {
        std::snprintf(text, sizeof text, "%ld:%02ld", whole / 60, whole % 60);
    }
    return text;
}

}  // namespace

progress_bar::progress_bar(bool wanted)
    : wanted_(wanted && isatty(STDERR_FILENO) != 0), next_(start_ + FIRST_AFTER) {}

void progress_bar::show(double fraction, const std::string& note) {
    const clock::time_point now = clock::now();
    if (!wanted_ || now < next_) return;
    next_ = now + THEN_EVERY;
    drawn_ = true;

    fraction = std::clamp(fraction, 0.0, 1.0);
    const auto full = static_cast<std::size_t>(fraction * BAR_LENGTH);
    const double elapsed = std::chrono::duration<double>(now - start_).count();
    std::string line =
        "\r[" + std::string(full, '#') + std::string(BAR_LENGTH - full, '.') + "] ";
    line += std::to_string(static_cast<int>(fraction * 100.0)) + " %";
    if (fraction > 0.0) {
        line += ", " + shown_time(elapsed / fraction - elapsed) + " left";
    }
    if (!note.empty()) line += ", " + note;
    std::fputs((line + "\x1b[K").c_str(), stderr);
}

void progress_bar::clear() {
    if (drawn_) std::fputs("\r\x1b[K", stderr);
    drawn_ = false;
}

}  // namespace focusfall
