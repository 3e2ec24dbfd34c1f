#include "programs/command/shot_console.h"

#include <cstdio>
#include <iostream>

namespace focusfall {

shot_console::shot_console(const shot_options& options, bool quiet, interruption& stop)
    : frames_of_shot_(options.frames.size()), quiet_(quiet), stop_(stop), bar_(!quiet) {}

void shot_console::begins(std::size_t skipped, std::size_t to_render) {
    to_render_ = to_render;
    count_written(skipped);
    if (skipped == 0 || quiet_) return;
    std::cerr << "focusfall: " << skipped << " of " << skipped + to_render
              << " frames were there\n";
}

void shot_console::notes(const std::filesystem::path& file, const std::string& text) {
    if (quiet_) return;
    bar_.clear();
    std::cerr << "focusfall: " << file.string() << ": " << text << "\n";
}

void shot_console::renders(std::size_t before, double part) {
    // the tool prints next: its line must not run into the bar
    if (part == 1.0) return bar_.clear();
    const auto all = static_cast<double>(to_render_);
    bar_.show((static_cast<double>(before) + part) / all,
              frames_of_shot_ == 0 ? ""
                                   : std::to_string(before) + " of " +
                                         std::to_string(to_render_) + " frames");
}

void shot_console::ends(const frame_report& report) {
    if (frames_of_shot_ == 0 || report.outcome == frame_outcome::SKIPPED) return;
    ++ended_;
    bar_.clear();
    if (report.outcome == frame_outcome::FAILED) {
        std::cerr << "focusfall: frame " << report.frame << ": " << report.error << "\n";
        return;
    }
    if (quiet_) return;
    char seconds[32];
    std::snprintf(seconds, sizeof seconds, "%.1f s",
                  report.read_seconds + report.render_seconds + report.write_seconds);
    std::cerr << ended_ << " of " << to_render_ << ": " << report.files.output.string()
              << ", " << seconds << "\n";
}

void shot_console::fails(const std::string& text) {
    bar_.clear();
    std::cerr << "focusfall: " << text << "\n";
}

// Keeps up to date what an interruption prints.
void shot_console::count_written(std::size_t frames) {
    written_ += frames;
    if (frames_of_shot_ == 0) return;
    stop_.set_last_words("stopped; " + std::to_string(written_) + " of " +
                         std::to_string(frames_of_shot_) +
                         " frames are written, go on with --skip-existing");
}

}  // namespace focusfall
