#include "programs/command/shot_console.h"

#include <cstdio>
#include <iostream>

#include "pipeline/shots/frame_range.h"
#include "programs/command/message.h"

namespace focusfall {

shot_console::shot_console(const shot_options& options, bool quiet, interruption& stop)
    : frames_of_shot_(options.frames.size()), quiet_(quiet), stop_(stop), bar_(!quiet) {}

void shot_console::begins(const shot_plan& plan) {
    to_render_ = plan.to_render.size();
    count_written(plan.current);
    if (quiet_) return;
    const std::size_t there = plan.current + plan.stale;
    if (there > 0) {
        std::string text = std::to_string(there) + " of " +
                           std::to_string(to_render_ + plan.left_out.size()) +
                           " frames were there";
        if (plan.stale > 0) {
            text += "; " + std::to_string(plan.stale) +
                    " of them stale and rendered again (the first by " +
                    plan.first_stale + ")";
        }
        print_message(text);
    }
    if (plan.missing.empty()) return;
    const bool skipped = plan.left_out.size() > plan.current;
    const std::size_t count = plan.missing.size();
    print_message("no files for " + std::to_string(count) +
                  (count == 1 ? " frame, " : " frames, ") +
                  (skipped ? "left out: " : "made from the nearest: ") +
                  shown_frames(plan.missing));
}

void shot_console::notes(const std::filesystem::path& file, const std::string& text) {
    if (quiet_) return;
    bar_.clear();
    print_message(file.string() + ": " + text);
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
    if (frames_of_shot_ == 0 || is_left_out(report)) return;
    ++ended_;
    bar_.clear();
    if (report.outcome == frame_outcome::FAILED) {
        print_message("frame " + std::to_string(report.frame) + ": " + report.error);
        return;
    }
    if (quiet_) return;
    char seconds[32];
    std::snprintf(seconds, sizeof seconds, "%.1f s",
                  report.read_seconds + report.render_seconds + report.write_seconds);
    std::cerr << ended_ << " of " << to_render_ << ": "
              << printable(report.files.output.string()) << ", " << seconds << "\n";
}

void shot_console::fails(const std::string& text) {
    bar_.clear();
    print_message(text);
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
