#pragma once
// A render to files while the page goes on.

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include <nlohmann/json.hpp>

#include "host/headless_host.h"
#include "pipeline/shots/shot_options.h"

namespace focusfall {

// Renders on a thread of its own, with a tool of its own, by the same code as the
// command: files appear whole or not at all.
class render_job {
  public:
    // `tell` hears how far it is, on the job's thread: an object with "running", "part"
    // (0 .. 1), "file", "text" (what is to be read), and "failed" when it is. Throws
    // headless::host_error when the shot's names are wrong.
    render_job(shot_options shot, std::unique_ptr<headless::tool> tool,
               std::function<void(const nlohmann::ordered_json&)> tell);
    ~render_job();  // stops
    render_job(const render_job&) = delete;
    render_job& operator=(const render_job&) = delete;

    // What is rendered so far stays. [any thread, as the next]
    void stop();
    bool is_running() const { return is_running_; }

  private:
    class observer;
    void run();

    const shot_options shot_;
    std::unique_ptr<headless::tool> tool_;
    std::function<void(const nlohmann::ordered_json&)> tell_;
    std::atomic<bool> is_stopped_ = false;
    std::atomic<bool> is_running_ = true;
    std::thread thread_;  // last: it uses all other members
};

}  // namespace focusfall
