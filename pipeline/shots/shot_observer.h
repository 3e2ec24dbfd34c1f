#pragma once
// What a shot tells its caller while it renders.

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

#include "pipeline/shots/frame_loader.h"

namespace focusfall {

enum class frame_outcome {
    DONE,
    FAILED,
    SKIPPED,  // it was there, as it would be now
    MISSING   // its files were not there, and it was left out for that
};

// What became of a frame.
struct frame_report {
    int frame = 0;
    frame_files files;
    frame_outcome outcome = frame_outcome::DONE;
    std::string error;  // why it failed or is missing; names the file
    double read_seconds = 0.0;
    double render_seconds = 0.0;
    double write_seconds = 0.0;
    double largest_blur = 0.0;  // pixels; may be infinite
};

// Whether the frame was not to be rendered.
inline bool is_left_out(const frame_report& report) {
    return report.outcome == frame_outcome::SKIPPED ||
           report.outcome == frame_outcome::MISSING;
}

// What a shot does, before its first frame.
struct shot_plan {
    std::vector<frame_report> to_render;  // with the files that each is made from
    std::vector<frame_report> left_out;
    std::size_t current = 0;   // frames left out because they are there
    std::size_t stale = 0;     // frames to render that are there, but different
    std::string first_stale;   // what is different about the first of them
    std::vector<int> missing;  // frames without files; left out, or made from others
};

// Derive from it what the caller wants to know; here nothing happens. Calls come from the
// thread that renders the shot, where nothing else is said, and must not throw.
class shot_observer {
  public:
    virtual ~shot_observer() = default;

    // The shot begins.
    virtual void begins(const shot_plan&) {}
    // Something about a file that the user should know, as the end of a sentence about
    // it. A note about all frames comes once, with the first.
    virtual void notes(const std::filesystem::path& /*file*/, const std::string&) {}
    // The `part` of the present frame, 0 .. 1, that is rendered; `before` it so many
    // frames of those to render were.
    virtual void renders(std::size_t /*before*/, double /*part*/) {}
    // The files of another frame are written. [writing thread]
    virtual void writes_frame() {}
    // A frame came to its end, or was left out. Frames end in their order.
    virtual void ends(const frame_report&) {}
    // A fault that fails no frame, as one of the log.
    virtual void fails(const std::string& /*text*/) {}

    // True once the shot is to end early. A render under way ends when the tool is
    // aborted as well. [any thread]
    virtual bool is_stopped() const { return false; }
};

}  // namespace focusfall
