#include "pipeline/shots/shot.h"

#include <future>
#include <optional>
#include <set>
#include <utility>

#include "host/error.h"
#include "pipeline/process/interruption.h"
#include "pipeline/process/output_file.h"
#include "pipeline/shots/frame_stages.h"
#include "pipeline/shots/shot_log.h"
#include "pipeline/shots/shot_plan.h"

namespace focusfall {

namespace {

namespace fs = std::filesystem;
using headless::host_error;

class shot_renderer {
  public:
    shot_renderer(const shot_options& options, headless::tool& tool,
                  shot_observer& observer)
        : options_(options),
          format_(format_of(options.output)),
          tool_(tool),
          observer_(observer),
          reading_(options, tool),
          rendering_(options, format_, tool, observer),
          writing_(options, format_, observer) {
        if (!options.log.empty()) log_.emplace(options.log);
    }

    std::vector<int> render();

  private:
    std::vector<frame_job> frames_to_render();
    void finish(const frame_report& report);
    void add_to_log(const frame_report& report);

    // Constant while frames are on their way; read on all threads.
    const shot_options& options_;
    const picture_format format_;
    const headless::tool& tool_;
    shot_observer& observer_;

    // Each by one thread at a time, and no two by the same at once.
    reading_stage reading_;
    rendering_stage rendering_;
    writing_stage writing_;

    // The caller's thread alone.
    std::optional<shot_log> log_;
    std::vector<int> failed_;
};

// Runs a stage for a frame on a thread of its own, and gives the frame back.
template <class Stage>
std::future<frame_job> started(Stage& stage, frame_job job) {
    return std::async(
        std::launch::async,
        [&stage](frame_job running) {
            stage.run(running);
            return running;
        },
        std::move(job));
}

std::vector<int> shot_renderer::render() {
    std::vector<frame_job> frames = frames_to_render();
    std::future<frame_job> reading;
    std::future<frame_job> writing;
    if (!frames.empty()) reading = started(reading_, std::move(frames.front()));

    for (std::size_t i = 0; i < frames.size(); ++i) {
        frame_job job = reading.get();
        if (observer_.is_stopped()) throw interrupted();
        if (i + 1 < frames.size()) {
            reading = started(reading_, std::move(frames[i + 1]));
        }
        rendering_.run(job);
        if (writing.valid()) finish(writing.get().report);
        writing = started(writing_, std::move(job));
    }
    if (writing.valid()) finish(writing.get().report);
    if (observer_.is_stopped()) throw interrupted();
    return failed_;
}

std::vector<frame_job> shot_renderer::frames_to_render() {
    shot_plan plan = plan_of(options_, tool_);
    observer_.begins(plan);
    for (const frame_report& report : plan.left_out) finish(report);
    std::vector<frame_job> jobs;
    std::set<fs::path> folders;
    for (frame_report& report : plan.to_render) {
        for (const fs::path& file : {report.files.output, report.files.preview}) {
            if (file.empty() || !folders.insert(file.parent_path()).second) continue;
            remove_abandoned_files(file.parent_path());
        }
        frame_job& job = jobs.emplace_back();
        job.report = std::move(report);
        job.before = jobs.size() - 1;
    }
    return jobs;
}

void shot_renderer::finish(const frame_report& report) {
    add_to_log(report);
    observer_.ends(report);
    if (report.outcome != frame_outcome::FAILED) return;
    if (options_.frames.empty()) throw host_error(report.error);
    failed_.push_back(report.frame);
}

// A full disk must not cost the frames: the shot goes on without its log.
void shot_renderer::add_to_log(const frame_report& report) {
    if (!log_) return;
    try {
        log_->add(report);
    } catch (const host_error& error) {
        observer_.fails(error.what());
        log_.reset();
    }
}

}  // namespace

std::vector<int> render_shot(const shot_options& options, headless::tool& tool,
                             shot_observer& observer) {
    return shot_renderer(options, tool, observer).render();
}

}  // namespace focusfall
