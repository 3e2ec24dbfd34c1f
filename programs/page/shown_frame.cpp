#include "programs/page/shown_frame.h"

#include <utility>

#include "host/error.h"
#include "pipeline/pictures/host_image.h"
#include "pipeline/preparation/depth_statistics.h"
#include "pipeline/shots/frame_preparation.h"
#include "pipeline/shots/render_forecast.h"
#include "pipeline/shots/shot_files.h"
#include "pipeline/views/view.h"
#include "programs/page/scaled_frame.h"

namespace focusfall {

namespace {

// As many as 1280 x 720 has: the blur of such a picture takes about 16 ms.
constexpr std::int64_t SMALL_PIXELS = std::int64_t{1280} * 720;
constexpr std::int64_t QUICK_PIXELS = SMALL_PIXELS / 4;

bool same_controls(const depth_controls& a, const depth_controls& b) {
    return a.is_lens == b.is_lens && a.normalized == b.normalized &&
           a.inverted == b.inverted && a.in_millimetres == b.in_millimetres &&
           a.near_distance == b.near_distance && a.far_distance == b.far_distance &&
           a.focal_length == b.focal_length && a.filmback_width == b.filmback_width;
}

view_kind kind_of(page_view view) {
    if (view == page_view::DEPTH) return view_kind::DEPTH;
    return view == page_view::FOCUS ? view_kind::FOCUS : view_kind::DIAMETER;
}

}  // namespace

shown_frame::shown_frame(const shot_options& shot, reading_stage& reader,
                         const headless::tool& tool, int number)
    : number_(number),
      files_(files_of(shot, number)),
      follows_controls_(shot.load.depth.changes_values()) {
    frame_job job;
    job.report.frame = number;
    job.report.files = files_;
    reader.run(job);
    if (job.report.outcome == frame_outcome::FAILED) {
        throw headless::host_error(job.report.error);
    }
    forecast_ = job.forecast;
    full_ = std::make_shared<loaded_frame>(std::move(job.loaded));
    // only what is written needs the file's own pixels
    for (picture_part& part : full_->input.file) part.pixels.reset();
    full_->reading.controls = depth_controls_of(tool, number);
    small_ = exceeds(*full_, SMALL_PIXELS)
                 ? std::make_shared<loaded_frame>(scaled_frame(*full_, SMALL_PIXELS))
                 : full_;
    quick_ = is_small()
                 ? small_
                 : std::make_shared<loaded_frame>(scaled_frame(*small_, QUICK_PIXELS));
    const Image& depth = file_depth(*small_);
    const depth_statistics found =
        statistics_of(depth, forecast_.depth, *small_->image,
                      empty_pixels(depth, forecast_.depth, small_->reading));
    if (found.has_depth()) depth_range_ = {found.lowest, found.highest};
}

bool shown_frame::is_current(const headless::tool& tool) const {
    if (tool.forecast({.time = TimeStamp(number_)}, {}).depth != forecast_.depth) {
        return false;
    }
    return !follows_controls_ ||
           same_controls(depth_controls_of(tool, number_), full_->reading.controls);
}

Owned<Image> shown_frame::view(page_view kind, detail wanted,
                               const headless::tool& tool) const {
    const loaded_frame& frame = at(wanted);
    const auto shown = [&](const Image& image) {
        const window whole{0, 0, image.Width(), image.Height()};
        return cropped(image, whole, display_in(frame, image));
    };
    if (kind == page_view::INPUT) return shown(*frame.image);
    const FrameForecast forecast =
        forecast_of(tool, number_, full_->input, full_->reading, frame.blur_image.get());
    const empty_pixels empty(file_depth(frame), forecast.depth, frame.reading);
    const Owned<Image> in_file = shown(file_depth(frame));
    const Owned<Image> for_tool = shown(tool_depth(frame));
    return made_view(kind_of(kind), *shown(*frame.image),
                     {*in_file, *for_tool, empty, frame.reading.large_is_near()},
                     forecast);
}

}  // namespace focusfall
