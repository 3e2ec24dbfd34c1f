#include "pipeline/shots/shot_plan.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <utility>

#include "host/error.h"
#include "pipeline/process/output_file.h"
#include "pipeline/shots/shot_files.h"
#include "pipeline/shots/shot_record.h"

namespace focusfall {

namespace {

namespace fs = std::filesystem;

// The first file of a frame that is to be read and is not there. One that cannot be asked
// for is: reading it tells why it cannot.
fs::path missing_file(const frame_files& files) {
    for (const fs::path& file : read_files(files)) {
        std::error_code unknown;
        if (!file.empty() && !fs::exists(file, unknown) && !unknown) return file;
    }
    return {};
}

// The numbers of the frames that have all files.
std::vector<int> complete_frames(const shot_options& options) {
    std::vector<int> frames = frames_there(options.input);
    std::erase_if(frames, [&](int frame) {
        return !missing_file(files_of(options, frame)).empty();
    });
    return frames;
}

// Of two that are as near, the earlier one. `frames` are in ascending order.
int nearest(const std::vector<int>& frames, int frame) {
    const auto distance = [&](int other) {
        return std::abs(std::int64_t{other} - frame);
    };
    return *std::ranges::min_element(frames, {}, distance);
}

// Decides frame by frame.
class planner {
  public:
    planner(const shot_options& options, const headless::tool& tool)
        : options_(options), tool_(tool) {}

    void add(int frame);
    shot_plan plan() && { return std::move(plan_); }

  private:
    void replace_missing(frame_report& report, const fs::path& missing);
    bool is_current(const frame_report& report);

    const shot_options& options_;
    const headless::tool& tool_;
    shot_plan plan_;
    std::vector<int> complete_;  // once one is looked for
};

void planner::add(int frame) {
    frame_report report;
    report.frame = frame;
    report.files = files_of(options_, frame);
    if (options_.missing != missing_frames::FAIL && !options_.frames.empty()) {
        const fs::path missing = missing_file(report.files);
        if (!missing.empty()) replace_missing(report, missing);
    }
    if (report.outcome != frame_outcome::MISSING && is_current(report)) {
        report.outcome = frame_outcome::SKIPPED;
        ++plan_.current;
    }
    if (report.outcome != frame_outcome::DONE) {
        plan_.left_out.push_back(std::move(report));
        return;
    }
    for (const fs::path& file : {report.files.output, report.files.preview}) {
        if (!file.empty()) check_replaceable(file);
    }
    plan_.to_render.push_back(std::move(report));
}

void planner::replace_missing(frame_report& report, const fs::path& missing) {
    plan_.missing.push_back(report.frame);
    if (options_.missing == missing_frames::SKIP) {
        report.outcome = frame_outcome::MISSING;
        report.error = missing.string() + ": there is no such file";
        return;
    }
    if (complete_.empty()) complete_ = complete_frames(options_);
    if (complete_.empty()) {
        throw headless::host_error(missing.string() +
                                   ": there is no such file, and no frame is complete");
    }
    const frame_files near = files_of(options_, nearest(complete_, report.frame));
    report.files.input = near.input;
    report.files.depth_map = near.depth_map;
    report.files.blur_image = near.blur_image;
    report.files.background = near.background;
}

// Whether the frame need not be rendered again; counts those that are there and do.
bool planner::is_current(const frame_report& report) {
    if (!options_.skip_existing || !are_there(report.files)) return false;
    const std::string differs =
        difference(report.files.output, report.files,
                   record_of(options_, report.files, tool_, report.frame));
    if (differs.empty()) return true;
    if (plan_.stale++ == 0) plan_.first_stale = differs;
    return false;
}

}  // namespace

shot_plan plan_of(const shot_options& options, const headless::tool& tool) {
    if (!options.background.empty() && !takes_background(tool)) {
        throw headless::host_error(options.background +
                                   ": this tool takes no background; take the one that "
                                   "knows what hides what, by --tool layered");
    }
    planner planner(options, tool);
    for (const int frame : frames_of(options)) planner.add(frame);
    return std::move(planner).plan();
}

}  // namespace focusfall
