#include "programs/page/render_job.h"

#include <chrono>
#include <exception>
#include <utility>
#include <vector>

#include "pipeline/pictures/picture_format.h"
#include "pipeline/process/interruption.h"
#include "pipeline/shots/shot.h"
#include "pipeline/shots/shot_files.h"

namespace focusfall {

namespace {

using json = nlohmann::ordered_json;
using clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds BETWEEN_NEWS{100};

json news(bool is_running, double part, const std::string& file,
          const std::string& text) {
    return {{"running", is_running}, {"part", part}, {"file", file}, {"text", text}};
}

}  // namespace

// Tells the job's listener what a shot tells.
class render_job::observer : public shot_observer {
  public:
    explicit observer(render_job& job) : job_(job) {}

    void begins(const shot_plan& plan) override { frames_ = plan.to_render.size(); }
    void renders(std::size_t before, double part) override {
        if (clock::now() < next_) return;
        next_ = clock::now() + BETWEEN_NEWS;
        const auto all = static_cast<double>(frames_);
        job_.tell_(news(true, (static_cast<double>(before) + part) / all,
                        job_.shot_.output,
                        std::to_string(before) + " of " + std::to_string(frames_)));
    }
    void ends(const frame_report& report) override {
        if (report.outcome == frame_outcome::FAILED) failure_ = report.error;
    }
    bool is_stopped() const override { return job_.is_stopped_; }

    const std::string& failure() const { return failure_; }

  private:
    render_job& job_;
    std::size_t frames_ = 1;
    clock::time_point next_;
    std::string failure_;  // of the last frame that failed
};

render_job::render_job(shot_options shot, std::unique_ptr<headless::tool> tool,
                       std::function<void(const json&)> tell)
    : shot_(std::move(shot)), tool_(std::move(tool)), tell_(std::move(tell)) {
    format_of(shot_.output);  // only its errors
    check_names(shot_);
    thread_ = std::thread([this] { run(); });
}

render_job::~render_job() {
    stop();
    if (thread_.joinable()) thread_.join();
}

void render_job::stop() {
    is_stopped_ = true;
    tool_->abort();
}

void render_job::run() {
    json last = news(false, 1.0, shot_.output, "done");
    try {
        observer watching(*this);
        const std::vector<int> failed = render_shot(shot_, *tool_, watching);
        if (!failed.empty()) {
            last["failed"] = true;
            last["text"] =
                std::to_string(failed.size()) + " frames failed: " + watching.failure();
        }
    } catch (const interrupted&) {
        last["text"] = "stopped";
    } catch (const std::exception& error) {
        last["failed"] = true;
        last["text"] = error.what();
    }
    is_running_ = false;
    tell_(last);
}

}  // namespace focusfall
