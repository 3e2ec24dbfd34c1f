#include "pipeline/farm/shot_status.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <map>
#include <set>

#include "host/error.h"
#include "pipeline/farm/farm_job.h"
#include "pipeline/shots/frame_range.h"
#include "pipeline/shots/shot_record.h"

namespace focusfall {

namespace {

namespace fs = std::filesystem;
using nlohmann::ordered_json;

// What logs tell: the last error of each frame, and the times of all renders.
class log_reader {
  public:
    explicit log_reader(shot_status& status) : status_(status) {}

    // False when the file cannot be opened.
    bool read(const fs::path& file) {
        std::ifstream stream(file);
        if (!stream) return false;
        for (std::string text; std::getline(stream, text);) {
            try {
                add(ordered_json::parse(text));
            } catch (const ordered_json::exception&) {
                continue;  // a line that was cut off when its task was ended
            }
        }
        return true;
    }
    const std::map<int, std::string>& errors() const { return errors_; }

  private:
    void add(const ordered_json& line) {
        const int frame = line.value("frame", 0);
        const std::string how = line.value("status", "");
        errors_.erase(frame);
        if (how == "failed" || how == "missing") {
            errors_[frame] = line.value("error", "");
        }
        if (how != "done") return;
        ++status_.renders;
        status_.read_seconds += line.value("read_seconds", 0.0);
        status_.render_seconds += line.value("render_seconds", 0.0);
        status_.write_seconds += line.value("write_seconds", 0.0);
    }

    shot_status& status_;
    std::map<int, std::string> errors_;
};

// The frames of the tasks that run.
std::set<int> running_frames(const fs::path& job) {
    std::vector<std::string> tasks;
    std::ifstream list(job / "tasks");
    for (std::string line; std::getline(list, line);) tasks.push_back(line);
    std::set<int> frames;
    for (const std::size_t task : running_tasks(job)) {
        if (task < 1 || task > tasks.size()) continue;
        for (const int frame : parse_frames(tasks[task - 1])) frames.insert(frame);
    }
    return frames;
}

const char* name_of(frame_state state) {
    switch (state) {
        case frame_state::DONE: return "done";
        case frame_state::STALE: return "stale";
        case frame_state::RUNNING: return "running";
        case frame_state::FAILED: return "failed";
        case frame_state::WAITING: break;
    }
    return "waiting";
}

constexpr frame_state STATES[] = {frame_state::DONE, frame_state::STALE,
                                  frame_state::RUNNING, frame_state::FAILED,
                                  frame_state::WAITING};

}  // namespace

shot_status status_of(const std::string& output, const std::vector<int>& frames,
                      const std::vector<fs::path>& logs) {
    shot_status status;
    status.output = output;
    log_reader told(status);
    for (const fs::path& log : logs) {
        if (!told.read(log)) {
            throw headless::host_error(log.string() + ": cannot be read");
        }
    }
    const fs::path job = job_folder(output);
    std::error_code none;
    for (const auto& entry : fs::directory_iterator(job / "log", none)) {
        if (entry.path().extension() == ".jsonl") told.read(entry.path());
    }

    const std::set<int> running = running_frames(job);
    for (const int frame : frames) {
        frame_status& found = status.frames.emplace_back();
        found.frame = frame;
        const fs::path file = frame_name(output, frame);
        const bool is_there = fs::file_size(file, none) > 0 && !none;
        if (is_there) found.reason = change_since(file);
        const auto error = told.errors().find(frame);
        if (is_there && found.reason.empty()) {
            found.state = frame_state::DONE;
        } else if (running.contains(frame)) {
            found.state = frame_state::RUNNING;
        } else if (error != told.errors().end()) {
            found.state = frame_state::FAILED;
            found.reason = error->second;
        } else if (is_there) {
            found.state = frame_state::STALE;
        }
    }
    return status;
}

std::size_t count_of(const shot_status& status, frame_state state) {
    return static_cast<std::size_t>(
        std::ranges::count(status.frames, state, &frame_status::state));
}

std::string shown(const shot_status& status) {
    std::string text = status.output + ": " + std::to_string(status.frames.size()) +
                       (status.frames.size() == 1 ? " frame" : " frames");
    std::string details;
    for (const frame_state state : STATES) {
        std::map<std::string, std::vector<int>> by_reason;
        for (const frame_status& found : status.frames) {
            if (found.state == state) by_reason[found.reason].push_back(found.frame);
        }
        if (by_reason.empty()) continue;
        text += ", " + std::to_string(count_of(status, state)) + " " + name_of(state);
        if (state == frame_state::DONE) continue;
        for (const auto& [reason, frames] : by_reason) {
            details += "    " + std::string(name_of(state)) + " " + shown_frames(frames) +
                       (reason.empty() ? "" : ": " + reason) + "\n";
        }
    }
    if (status.renders > 0) {
        char times[160];
        std::snprintf(times, sizeof times,
                      "    %zu rendered: %.1f s reading, %.1f s rendering, %.1f s "
                      "writing\n",
                      status.renders, status.read_seconds, status.render_seconds,
                      status.write_seconds);
        details += times;
    }
    return text + "\n" + details;
}

ordered_json json_of(const shot_status& status) {
    ordered_json json{{"output", status.output}, {"frames", status.frames.size()}};
    for (const frame_state state : STATES) {
        json[name_of(state)] = ordered_json::array();
    }
    for (const frame_status& found : status.frames) {
        ordered_json frame = found.frame;
        if (!found.reason.empty()) {
            frame = {{"frame", found.frame}, {"reason", found.reason}};
        }
        json[name_of(found.state)].push_back(frame);
    }
    json["rendered"] = status.renders;
    json["read_seconds"] = status.read_seconds;
    json["render_seconds"] = status.render_seconds;
    json["write_seconds"] = status.write_seconds;
    return json;
}

}  // namespace focusfall
