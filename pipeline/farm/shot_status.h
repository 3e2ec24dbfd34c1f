#pragma once
// What became of the frames of a shot, told by the files and logs that its renders left.

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace focusfall {

enum class frame_state {
    DONE,     // the picture is there, whole
    STALE,    // it is there, and what it was made from has changed since
    RUNNING,  // a task that runs is to make it
    FAILED,   // the last render that tried it said why
    WAITING   // none has tried it
};

struct frame_status {
    int frame = 0;
    frame_state state = frame_state::WAITING;
    std::string reason;  // of a stale or failed frame
};

struct shot_status {
    std::string output;                // with its place for the frame number
    std::vector<frame_status> frames;  // in the order in which they were asked for
    std::size_t renders = 0;  // frames that logs tell to be rendered, as the next
    double read_seconds = 0.0;
    double render_seconds = 0.0;
    double write_seconds = 0.0;
};

// Looks at the pictures called `output`, at the logs, and at the tasks in the shot's own
// job folder with theirs. A line that a task could not finish is left out. Throws
// headless::host_error when one of the `logs` cannot be read. [any thread]
shot_status status_of(const std::string& output, const std::vector<int>& frames,
                      const std::vector<std::filesystem::path>& logs = {});

// How many frames are in that state.
std::size_t count_of(const shot_status& status, frame_state state);

// For people, some lines; and for programs.
std::string shown(const shot_status& status);
nlohmann::ordered_json json_of(const shot_status& status);

}  // namespace focusfall
