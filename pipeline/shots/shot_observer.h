#pragma once
// What a shot tells its caller while it renders.

#include <cstddef>
#include <filesystem>
#include <string>

#include "pipeline/shots/frame_loader.h"

namespace focusfall {

enum class frame_outcome { DONE, FAILED, SKIPPED };

// What became of a frame.
struct frame_report {
    int frame = 0;
    frame_files files;
    frame_outcome outcome = frame_outcome::DONE;
    std::string error;  // why it failed; names the file
    double read_seconds = 0.0;
    double render_seconds = 0.0;
    double write_seconds = 0.0;
    double largest_blur = 0.0;  // pixels; may be infinite
};

// Derive from it what the caller wants to know; here nothing happens. Calls come from the
// thread that renders the shot, where nothing else is said, and must not throw.
class shot_observer {
  public:
    virtual ~shot_observer() = default;

    // The shot begins. `skipped` frames are there already, `to_render` are not.
    virtual void begins(std::size_t /*skipped*/, std::size_t /*to_render*/) {}
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
