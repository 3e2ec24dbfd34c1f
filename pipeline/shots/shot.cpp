#include "pipeline/shots/shot.h"

#include <chrono>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <future>
#include <iostream>
#include <set>

#include <nlohmann/json.hpp>

#include "pipeline/pictures/host_image.h"
#include "pipeline/pictures/image_file.h"
#include "pipeline/process/memory_limit.h"
#include "pipeline/process/output_file.h"
#include "pipeline/process/progress_bar.h"
#include "pipeline/shots/display_measure.h"
#include "pipeline/shots/render_forecast.h"
#include "pipeline/shots/shot_files.h"

namespace focusfall {

namespace {

namespace fs = std::filesystem;
using headless::host_error;
using clock_type = std::chrono::steady_clock;

double seconds_since(clock_type::time_point start) {
    return std::chrono::duration<double>(clock_type::now() - start).count();
}

// What became of a frame.
struct frame_report {
    int frame = 0;
    frame_files files;
    std::string status = "done";
    std::string error;
    double read_seconds = 0.0;
    double render_seconds = 0.0;
    double write_seconds = 0.0;
    double largest_blur = 0.0;  // pixels
};

// A frame on its way, from being read until it is written.
struct frame_job {
    frame_report report;
    loaded_frame loaded;
    Owned<Image> result;
    std::string record;
};

// What the controls tell of a frame, before the tool is busy with another.
struct frame_plan {
    bool needs_depth = false;
    double blur = 0.0;         // the largest, as a part of the width
    const char* control = "";  // to change when that is too much
};

// The tool and the values that differ from its defaults, for whoever finds the picture.
std::string record_of(const headless::tool& tool, TimeStamp time, std::string name) {
    for (const headless::control* control : tool.controls()) {
        const headless::control_info& info = control->info();
        if (!info.is_number()) continue;
        const double value = control->number(time);
        if (value != info.initial) name += "; " + info.id + "=" + info.shown(value);
    }
    return name;
}

nlohmann::ordered_json log_line(const frame_report& report) {
    nlohmann::ordered_json line{{"frame", report.frame},
                                {"input", report.files.input.string()},
                                {"output", report.files.output.string()},
                                {"status", report.status}};
    if (!report.error.empty()) line["error"] = report.error;
    if (report.status == "skipped") return line;
    line["read_seconds"] = report.read_seconds;
    line["render_seconds"] = report.render_seconds;
    line["write_seconds"] = report.write_seconds;
    // infinity is no number of this notation
    if (std::isfinite(report.largest_blur)) line["largest_blur"] = report.largest_blur;
    return line;
}

class shot_renderer {
  public:
    shot_renderer(const shot_options& options, headless::tool& tool, interruption& stop)
        : options_(options),
          tool_(tool),
          stop_(stop),
          loader_(options.load, options.memory_limit),
          format_(format_of(options.output)),
          bar_(!options.quiet) {
        if (options.log.empty()) return;
        log_.open(options.log, std::ios::app);
        if (!log_) throw host_error(options.log + ": can not be written");
    }

    std::vector<int> render();

  private:
    std::vector<frame_report> frames_to_render();
    frame_job read(frame_report report, const frame_plan& plan);
    void check_memory(const opened_frame& opened, const frame_report& report,
                      const frame_plan& plan) const;
    void tell_notes(const frame_job& job);
    void render_job(frame_job& job);
    frame_report write(frame_job job);
    void count_written(std::size_t frames);
    void tell_done(const frame_report& report) const;
    void finish(const frame_report& report);
    void finish_write(std::future<frame_report>& writing);
    bool is_shot() const { return !options_.frames.empty(); }
    std::future<frame_job> start_reading(const frame_report& report);

    const shot_options& options_;
    headless::tool& tool_;
    interruption& stop_;
    frame_loader loader_;
    picture_format format_;
    progress_bar bar_;
    std::ofstream log_;
    std::size_t frames_ = 0;    // to render
    std::size_t rendered_ = 0;  // of these
    std::size_t finished_ = 0;  // of these, done or failed
    std::size_t written_ = 0;   // of all frames, those that were there included
    std::vector<int> failed_;
    bool told_losses_ = false;
    bool told_focus_ = false;
};

std::vector<frame_report> shot_renderer::frames_to_render() {
    std::vector<frame_report> reports;
    std::set<fs::path> folders;
    for (const int frame : frames_of(options_)) {
        frame_report report;
        report.frame = frame;
        report.files = files_of(options_, frame);
        for (const fs::path& file : {report.files.output, report.files.preview}) {
            if (file.empty() || !folders.insert(file.parent_path()).second) continue;
            remove_abandoned_files(file.parent_path());
        }
        if (options_.skip_existing && are_there(report.files)) {
            report.status = "skipped";
            finish(report);
        } else {
            reports.push_back(std::move(report));
        }
    }
    const std::size_t all = frames_of(options_).size();
    count_written(all - reports.size());
    if (written_ > 0 && !options_.quiet) {
        std::cerr << "focusfall: " << written_ << " of " << all << " frames were there\n";
    }
    return reports;
}

// Keeps what an interruption tells up to date.
void shot_renderer::count_written(std::size_t frames) {
    written_ += frames;
    if (!is_shot()) return;
    stop_.set_last_words("stopped; " + std::to_string(written_) + " of " +
                         std::to_string(options_.frames.size()) +
                         " frames are written, go on with --skip-existing");
}

frame_job shot_renderer::read(frame_report report, const frame_plan& plan) {
    frame_job job;
    job.report = std::move(report);
    const auto start = clock_type::now();
    try {
        opened_frame opened = loader_.open(job.report.files, plan.needs_depth);
        job.report.largest_blur =
            plan.blur * static_cast<double>(opened.input.display.width);
        check_memory(opened, job.report, plan);
        job.loaded = loader_.load(std::move(opened));
    } catch (const std::exception& error) {
        job.report.status = "failed";
        job.report.error = error.what();
    }
    job.report.read_seconds = seconds_since(start);
    return job;
}

std::future<frame_job> shot_renderer::start_reading(const frame_report& report) {
    frame_plan plan;
    plan.blur = largest_blur(tool_, report.frame);
    if (plan.blur > 0.0) plan.control = blur_control(tool_, report.frame);
    for (const headless::control* control : tool_.controls()) {
        if (control->info().id != "BlurChannel") continue;
        plan.needs_depth = control->info().shown(control->number(report.frame)) == "Z";
    }
    return std::async(std::launch::async, &shot_renderer::read, this, report, plan);
}

void shot_renderer::check_memory(const opened_frame& opened, const frame_report& report,
                                 const frame_plan& plan) const {
    const bool has_table = options_.makes_kernel_table;
    const std::uint64_t bytes = render_bytes({opened, !report.files.depth_map.empty(),
                                              report.largest_blur, has_table, is_shot()});
    if (bytes <= options_.memory_limit) return;
    const std::uint64_t table =
        has_table ? kernel_table_bytes(report.largest_blur, opened.input.area.width) : 0;
    throw host_error(report.files.input.string() + ": would take about " +
                     shown_bytes(bytes) + " of memory, the limit is " +
                     shown_bytes(options_.memory_limit) +
                     (table > bytes / 2 ? std::string("; lower ") + plan.control
                                        : "; raise --memory-limit"));
}

// Of losses and the focus once, for the other frames have the same.
void shot_renderer::tell_notes(const frame_job& job) {
    if (options_.quiet) return;
    const auto tell = [&](const fs::path& file, const std::string& note) {
        if (note.empty()) return;
        bar_.clear();
        std::cerr << "focusfall: " << file.string() << ": " << note << "\n";
    };
    const frame_report& report = job.report;
    tell(report.files.input, no_blur_note(tool_, report.frame, report.largest_blur));
    if (!told_focus_) {
        const std::string note = no_focus_note(tool_, report.frame, job.loaded);
        told_focus_ = !note.empty();
        tell(report.files.input, note);
    }
    if (told_losses_) return;
    told_losses_ = true;
    tell(report.files.output,
         expected_losses(job.loaded.input, format_, options_.output_as));
}

void shot_renderer::render_job(frame_job& job) {
    const auto start = clock_type::now();
    const TimeStamp time = job.report.frame;
    const input_picture& input = job.loaded.input;
    tell_notes(job);
    job.record = record_of(tool_, time, options_.tool_name);

    tool_.connect("Input", job.loaded.image.get());
    if (job.loaded.depth_map) tool_.connect("DepthMap", job.loaded.depth_map.get());
    if (job.loaded.blur_image) tool_.connect("BlurImage", job.loaded.blur_image.get());
    const display_measure measure(tool_, time, input.display, input.area);
    const auto progress = [&](double within) {
        // the tool prints next: its line must not run into the bar
        if (within == 1.0) return bar_.clear();
        bar_.show(
            (static_cast<double>(rendered_) + within) / static_cast<double>(frames_),
            is_shot()
                ? std::to_string(rendered_) + " of " + std::to_string(frames_) + " frames"
                : "");
    };
    headless::frame rendered = tool_.render({.time = time, .progress = progress});
    stop_.check();
    if (rendered.how != headless::frame::end::DONE) {
        throw host_error(job.report.files.input.string() + ": " + rendered.error);
    }
    job.result = std::move(rendered.image);
    job.report.render_seconds = seconds_since(start);
}

frame_report shot_renderer::write(frame_job job) {
    const auto start = clock_type::now();
    const frame_files& files = job.report.files;
    try {
        const input_picture& input = job.loaded.input;
        stop_.check();
        write_picture(
            result_picture(input, *job.result, format_, options_.output_as, job.record),
            files.output);
        stop_.check();
        if (!files.preview.empty()) {
            write_preview(*cropped(*job.result, input.area, input.display),
                          files.preview);
        }
        count_written(1);
    } catch (const std::exception& error) {
        job.report.status = "failed";
        job.report.error = error.what();
    }
    job.report.write_seconds = seconds_since(start);
    return job.report;
}

void shot_renderer::tell_done(const frame_report& report) const {
    if (options_.quiet) return;
    char seconds[32];
    std::snprintf(seconds, sizeof seconds, "%.1f s",
                  report.read_seconds + report.render_seconds + report.write_seconds);
    std::cerr << finished_ << " of " << frames_ << ": " << report.files.output.string()
              << ", " << seconds << "\n";
}

void shot_renderer::finish(const frame_report& report) {
    if (log_.is_open()) {
        // names of files and channels need not be UTF-8, which the notation demands
        constexpr auto REPLACE = nlohmann::ordered_json::error_handler_t::replace;
        log_ << log_line(report).dump(-1, ' ', false, REPLACE) << std::endl;
        if (!log_) {
            std::cerr << "focusfall: " << options_.log
                      << ": can not be written any more\n";
            log_.close();
        }
    }
    if (report.status == "skipped") return;
    ++finished_;
    if (!is_shot()) {
        if (report.status == "failed") throw host_error(report.error);
        return;
    }
    bar_.clear();
    if (report.status == "done") return tell_done(report);
    failed_.push_back(report.frame);
    std::cerr << "focusfall: frame " << report.frame << ": " << report.error << "\n";
}

void shot_renderer::finish_write(std::future<frame_report>& writing) {
    if (writing.valid()) finish(writing.get());
}

std::vector<int> shot_renderer::render() {
    const std::vector<frame_report> reports = frames_to_render();
    frames_ = reports.size();
    std::future<frame_report> writing;
    std::future<frame_job> reading;
    if (!reports.empty()) reading = start_reading(reports.front());

    for (rendered_ = 0; rendered_ < frames_; ++rendered_) {
        frame_job job = reading.get();
        stop_.check();
        if (rendered_ + 1 < frames_) reading = start_reading(reports[rendered_ + 1]);
        try {
            if (job.report.error.empty()) render_job(job);
        } catch (const std::exception& error) {
            job.report.status = "failed";
            job.report.error = error.what();
        }
        finish_write(writing);
        if (job.report.error.empty()) {
            writing = std::async(std::launch::async, &shot_renderer::write, this,
                                 std::move(job));
        } else {
            finish(job.report);
        }
    }
    finish_write(writing);
    stop_.check();
    return failed_;
}

}  // namespace

std::vector<int> render_shot(const shot_options& options, headless::tool& tool,
                             interruption& stop) {
    return shot_renderer(options, tool, stop).render();
}

}  // namespace focusfall
