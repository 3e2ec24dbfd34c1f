#include "pipeline/inspection/pixel_report.h"

#include <algorithm>
#include <string>
#include <vector>

#include "host/error.h"
#include "pipeline/shots/frame_preparation.h"
#include "pipeline/shots/render_forecast.h"
#include "pipeline/views/signed_blur.h"

namespace focusfall {

namespace {

std::string shown_pixel(std::int64_t x, std::int64_t y) {
    return "pixel " + std::to_string(x) + "," + std::to_string(y);
}

}  // namespace

frame_probe::frame_probe(frame_loader& loader, const load_choices& choices,
                         const frame_files& files, const headless::tool& tool,
                         TimeStamp time, bool needs_depth)
    : files_(files), tool_(tool), time_(time) {
    // a colour channel needs no Z
    const bool reads_z = tool.forecast({.time = time}, {}).depth == Image::Z;
    opened_frame opened = loader.open(files, needs_depth && reads_z);
    reading_ = depth_reading_of(tool, time, opened, choices);
    frame_ = std::make_shared<loaded_frame>(loader.load(std::move(opened)));
    look_again();

    const Image& depth = file_depth(*frame_);
    empty_.emplace(depth, forecast_.depth, reading_);
    if (!reading_.choices.changes_values()) return;
    tool_depth_ = mapped_depth(depth, forecast_.depth, *frame_->image, frame_->input.area,
                               depth_window(*frame_, forecast_.depth), reading_);
}

frame_probe::frame_probe(std::shared_ptr<loaded_frame> frame, const frame_files& files,
                         const headless::tool& tool, TimeStamp time)
    : files_(files),
      tool_(tool),
      time_(time),
      reading_(frame->reading),
      frame_(std::move(frame)) {
    look_again();
    empty_.emplace(file_depth(*frame_), forecast_.depth, reading_);
}

void frame_probe::look_again() {
    forecast_ = forecast_of(tool_, time_, frame_->input, reading_, false);
}

bool frame_probe::has_depth() const {
    return frame_->depth_map || frame_->input.depth || forecast_.depth != Image::Z;
}

void frame_probe::check(std::int64_t x, std::int64_t y) const {
    const window& display = frame_->input.display;
    if (x >= 0 && y >= 0 && x < display.width && y < display.height) return;
    throw headless::host_error(
        files_.input.string() + ": " + shown_pixel(x, y) +
        " is outside the picture, which is " + std::to_string(display.width) + " x " +
        std::to_string(display.height) + "; its top left pixel is 0,0");
}

pixel_report frame_probe::at(std::int64_t x, std::int64_t y) const {
    check(x, y);
    const window& area = frame_->input.area;
    const auto column = static_cast<std::int32_t>(frame_->input.display.x + x - area.x);
    const auto row = static_cast<std::int32_t>(frame_->input.display.y + y - area.y);
    const float* color = frame_->image->Pixel(column, row);
    pixel_report pixel;
    pixel.x = x;
    pixel.y = y;
    pixel.red = color[Image::RED];
    pixel.green = color[Image::GREEN];
    pixel.blue = color[Image::BLUE];
    pixel.alpha = color[Image::ALPHA];
    if (!has_depth()) return pixel;
    pixel.depth = file_depth(*frame_).Pixel(column, row)[forecast_.depth];
    pixel.is_empty = empty_->holds(*pixel.depth, pixel.alpha);
    const float depth = (tool_depth_ ? *tool_depth_ : tool_depth(*frame_))
                            .Pixel(column, row)[forecast_.depth];
    if (forecast_.distance_of && forecast_.is_measured) {
        pixel.distance_mm = forecast_.distance_of(depth);
    }
    if (forecast_.blur_of) pixel.diameter = signed_blur(forecast_, depth);
    return pixel;
}

float frame_probe::depth_around(std::int64_t x, std::int64_t y) const {
    check(x, y);
    if (!has_depth()) {
        throw headless::host_error(files_.input.string() +
                                   ": has no depth; give a depth map by --depth-map, or "
                                   "a channel by --depth-channel");
    }
    const window& display = frame_->input.display;
    std::vector<float> depths;
    for (std::int64_t row = std::max<std::int64_t>(y - 1, 0);
         row <= std::min(y + 1, display.height - 1); ++row) {
        for (std::int64_t column = std::max<std::int64_t>(x - 1, 0);
             column <= std::min(x + 1, display.width - 1); ++column) {
            const pixel_report pixel = at(column, row);
            if (pixel.is_empty) continue;
            // the focus is a plane, whatever the map measures
            const double along =
                reading_.camera
                    ? reading_.camera->cosine(display.x + column, display.y + row)
                    : 1.0;
            depths.push_back(
                static_cast<float>(static_cast<double>(*pixel.depth) * along));
        }
    }
    if (depths.empty()) {
        const auto& file = files_.depth_map.empty() ? files_.input : files_.depth_map;
        throw headless::host_error(file.string() + ": nothing was seen at " +
                                   shown_pixel(x, y) +
                                   ", all depths there are empty; choose a pixel on an "
                                   "object");
    }
    const auto middle =
        depths.begin() + static_cast<std::ptrdiff_t>((depths.size() - 1) / 2);
    std::ranges::nth_element(depths, middle);
    return *middle;
}

}  // namespace focusfall
