#include "pipeline/shots/frame_stages.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <utility>

#include "host/error.h"
#include "pipeline/pictures/added_channel.h"
#include "pipeline/pictures/host_image.h"
#include "pipeline/pictures/image_file.h"
#include "pipeline/process/interruption.h"
#include "pipeline/process/memory_limit.h"
#include "pipeline/shots/frame_preparation.h"
#include "pipeline/shots/render_forecast.h"
#include "pipeline/shots/shot_record.h"
#include "pipeline/views/signed_blur.h"

namespace focusfall {

namespace {

using headless::host_error;

// Does the work of a stage for a frame that has not failed, and notes its seconds.
template <class Work>
void run_stage(frame_job& job, double frame_report::*seconds, Work work) {
    using clock = std::chrono::steady_clock;
    if (job.report.outcome == frame_outcome::FAILED) return;
    const auto start = clock::now();
    try {
        work();
    } catch (const std::exception& error) {
        job.report.outcome = frame_outcome::FAILED;
        job.report.error = error.what();
    }
    job.report.*seconds = std::chrono::duration<double>(clock::now() - start).count();
}

void check_stopped(const shot_observer& observer) {
    if (observer.is_stopped()) throw interrupted();
}

// Whether the tool takes depth from the channel Z at that time.
bool needs_depth(const headless::tool& tool, TimeStamp time) {
    const FrameForecast forecast = tool.forecast({.time = time}, {});
    return forecast.blur_of && forecast.depth == Image::Z;
}

}  // namespace

void reading_stage::run(frame_job& job) {
    run_stage(job, &frame_report::read_seconds, [&] {
        frame_report& report = job.report;
        const TimeStamp time = report.frame;
        // first: a file that changes from now on shall count as changed
        json_record record = record_of(options_, report.files, tool_, time);
        opened_frame opened = loader_.open(report.files, needs_depth(tool_, time));
        opened.splits_deep = takes_background(tool_) && is_splittable(opened);
        const depth_reading reading =
            depth_reading_of(tool_, time, opened, options_.load);
        job.forecast = forecast_of(tool_, time, opened, reading);
        report.largest_blur = job.forecast.largest_blur;
        check_diameter_channel(opened, job.forecast);
        check_memory(opened, job.forecast);
        job.loaded = loader_.load(std::move(opened));
        prepare(job.loaded, options_.load, reading, job.forecast);
        job.written = result_window(job.loaded.input, job.forecast);
        job.record = record_text(std::move(record), job.loaded.input);
    });
}

void reading_stage::check_diameter_channel(const opened_frame& opened,
                                           const FrameForecast& forecast) const {
    const std::string& name = options_.output_as.diameter_channel;
    if (name.empty()) return;
    if (!forecast.blur_of) {
        throw host_error("this tool does not blur by depth: it has no diameters");
    }
    const input_picture& input = opened.input;
    if (std::ranges::count(input.file[input.color.part].spec.channelnames, name) == 0) {
        return;
    }
    throw host_error(opened.files.input.string() + ": already has a channel \"" + name +
                     "\"; give the diameters another name by --diameter-channel");
}

void reading_stage::check_memory(const opened_frame& opened,
                                 const FrameForecast& forecast) const {
    const bool in_shot = !options_.frames.empty();
    std::uint64_t bytes = render_bytes(opened, options_, forecast, in_shot);
    if (!options_.output_as.diameter_channel.empty()) {
        bytes += diameter_bytes(opened.input);
    }
    if (bytes <= options_.memory_limit) return;
    const bool by_blur = forecast.blur_bytes > bytes / 2;
    throw host_error(opened.files.input.string() + ": would take about " +
                     shown_bytes(bytes) + " of memory, the limit is " +
                     shown_bytes(options_.memory_limit) + "; " +
                     (by_blur ? forecast.less_blur : "raise --memory-limit"));
}

void rendering_stage::run(frame_job& job) {
    run_stage(job, &frame_report::render_seconds, [&] {
        tell_notes(job);
        input_picture& input = job.loaded.input;
        if (!keeps_pixels(input, format_)) {
            for (picture_part& part : input.file) part.pixels.reset();
        }
        if (overwrites_image(input, options_, job.forecast)) {
            Image& image = *job.loaded.image;
            image.OfferMemory(image.Pixel(0, 0), image.Pixel(0, 1) - image.Pixel(0, 0));
        }
        job.result = rendered(job, 0);
        for (std::size_t i = 1; i <= job.loaded.further.size(); ++i) {
            job.further_results.push_back(rendered(job, i));
        }
        // no other frame will take what the tool keeps for one
        if (options_.frames.empty()) tool_.trim();
    });
}

void rendering_stage::tell_notes(const frame_job& job) {
    const frame_report& report = job.report;
    const auto tell = [&](const std::filesystem::path& file, const std::string& note) {
        if (!note.empty()) observer_.notes(file, note);
    };
    tell(report.files.input, no_blur_note(job.forecast));
    if (!told_of_frame_) {
        for (const auto& [file, text] : job.loaded.notes) tell(file, text);
        told_of_frame_ = !job.loaded.notes.empty();
    }
    if (!told_focus_) {
        const std::string note =
            no_focus_note(tool_, report.frame, job.forecast, job.loaded);
        told_focus_ = !note.empty();
        tell(report.files.input, note);
    }
    if (told_losses_) return;
    told_losses_ = true;
    tell(report.files.input, job.loaded.input.note);
    tell(report.files.output,
         expected_losses(job.loaded.input, format_, options_.output_as));
    const OIIO::TypeDesc type = options_.output_as.type;
    if (type != OIIO::TypeDesc::UNKNOWN && format_.nearest_type(type) != type) {
        tell(report.files.output,
             std::string("holds whole numbers, not ") + type.c_str());
    }
    if (!report.files.preview.empty() && !job.loaded.further.empty()) {
        tell(report.files.preview, "shows the first of " +
                                       std::to_string(1 + job.loaded.further.size()) +
                                       " layers; --layer chooses another");
    }
}

// Layer 0 is the first, others are the further ones.
Owned<Image> rendering_stage::rendered(const frame_job& job, std::size_t layer) {
    const TimeStamp time = job.report.frame;
    const loaded_frame& loaded = job.loaded;
    headless::render_order order = order_of(tool_, time, loaded, layer);
    order.progress = [&](double part) {
        const auto layers = static_cast<double>(1 + loaded.further.size());
        observer_.renders(job.before, (static_cast<double>(layer) + part) / layers);
    };
    headless::frame frame = tool_.render(order);
    check_stopped(observer_);
    if (frame.how == headless::frame::end::ABORTED) throw interrupted();
    if (frame.how == headless::frame::end::FAILED) {
        throw host_error(job.report.files.input.string() + ": " + frame.error);
    }
    restore_depth(*frame.image, loaded, layer);
    return std::move(frame.image);
}

// The pixels of the input's file become the output's. Each further layer takes the
// picture with those before it as its input, in which the first one is a further layer.
picture writing_stage::output_of(frame_job& job) const {
    input_picture& input = job.loaded.input;
    std::vector<further_layer> layers = input.further;
    layers.push_back({input.color, input.depth});
    picture output = result_picture(input, *job.result, job.written, format_,
                                    options_.output_as, job.record);
    const std::optional<channel_place> first_depth = written_depth(input, output);
    for (std::size_t i = 0; i < input.further.size(); ++i) {
        const auto& [color, depth] = input.further[i];
        input_picture next{.file = std::move(output),
                           .color = color,
                           .depth = depth == input.depth ? first_depth : depth,
                           .encoding = input.encoding,
                           .display = input.display,
                           .area = input.area,
                           .further = layers};
        output = result_picture(next, *job.further_results[i], job.written, format_,
                                options_.output_as, job.record);
    }
    if (!options_.output_as.diameter_channel.empty()) add_diameters(job, output);
    return output;
}

// For the first layer, and for those that are blurred by a depth of their own. In a part
// that has such a channel by then the name of the layer stands before.
void writing_stage::add_diameters(const frame_job& job, picture& output) const {
    const loaded_frame& loaded = job.loaded;
    const input_picture& input = loaded.input;
    const auto add = [&](const color_channels& color, const Image& depth) {
        const OIIO::ImageSpec& spec = output[color.part].spec;
        const channel_name plain{"", options_.output_as.diameter_channel};
        const channel_name layered{color.layer, options_.output_as.diameter_channel};
        const bool is_taken = find_channel(spec, plain).has_value();
        add_float_channel(output[color.part], (is_taken ? layered : plain).full(),
                          input.area, signed_blurs(job.forecast, depth));
    };
    add(input.color, tool_depth(loaded));
    for (std::size_t i = 0; i < input.further.size() && !loaded.depth_map; ++i) {
        const auto& [color, depth] = input.further[i];
        if (depth != input.depth) add(color, tool_depth(loaded, i + 1));
    }
}

void writing_stage::run(frame_job& job) {
    run_stage(job, &frame_report::write_seconds, [&] {
        const frame_files& files = job.report.files;
        check_stopped(observer_);
        write_picture(output_of(job), files.output);
        // not left out for a stop: a frame that is there has its preview, and is counted
        if (!files.preview.empty()) write_preview(*preview_of(job), files.preview);
        observer_.writes_frame();
    });
}

Owned<Image> writing_stage::preview_of(const frame_job& job) const {
    const input_picture& input = job.loaded.input;
    const auto shown = [&](const Image& image) {
        return cropped(image, input.area, input.display);
    };
    if (options_.view == view_kind::RESULT) return shown(*job.result);
    const loaded_frame& loaded = job.loaded;
    const empty_pixels empty(file_depth(loaded), job.forecast.depth, loaded.reading);
    const Owned<Image> in_file = shown(file_depth(loaded));
    const Owned<Image> for_tool = shown(tool_depth(loaded));
    return made_view(options_.view, *shown(*loaded.image),
                     {*in_file, *for_tool, empty, loaded.reading.large_is_near()},
                     job.forecast);
}

}  // namespace focusfall
