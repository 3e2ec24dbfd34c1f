#pragma once
// What a frame holds at one pixel, and what a tool makes of it.

#include <cstdint>
#include <memory>
#include <optional>
#include <utility>

#include "host/headless_host.h"
#include "pipeline/preparation/depth_steps.h"
#include "pipeline/shots/frame_loader.h"

namespace focusfall {

struct pixel_report {
    std::int64_t x = 0;  // in the display window, whose top left pixel is 0, 0
    std::int64_t y = 0;
    float red = 0.0F;  // light, multiplied by alpha, as the next
    float green = 0.0F;
    float blue = 0.0F;
    float alpha = 0.0F;
    std::optional<float> depth;  // as the file has it
    bool is_empty = false;       // nothing was seen there
    // What the settings make of it.
    std::optional<float> distance_mm;  // where they tell the unit
    std::optional<float>
        diameter;  // of the blur in pixels; below 0 in front of the focus
};

// A frame that is loaded, with what a tool would make of its pixels.
class frame_probe {
  public:
    // Loads the frame of `files` as a render by `tool` at `time` would, by the loader's
    // own `choices`. Throws host_error that names the file at fault, also when the frame
    // has no depth although it `needs_depth`. The tool must outlive this.
    frame_probe(frame_loader& loader, const load_choices& choices,
                const frame_files& files, const headless::tool& tool, TimeStamp time,
                bool needs_depth);
    // Looks at a frame that was loaded, and prepared by its reading.
    frame_probe(std::shared_ptr<loaded_frame> frame, const frame_files& files,
                const headless::tool& tool, TimeStamp time);

    // Follows an edit of the tool's focus.
    void look_again();

    // Throws host_error that names the file, for a pixel outside the display window.
    pixel_report at(std::int64_t x, std::int64_t y) const;
    // The depth of the pixel, as FocusPosition takes it: the median of it and its
    // neighbours without the empty ones, which is a value that one of them has. Throws
    // host_error that names the file, for a frame without depth, outside the display
    // window and where all are empty.
    float depth_around(std::int64_t x, std::int64_t y) const;

    // The input's file with all its pixels, which this then no longer has.
    picture take_file() { return std::move(frame_->input.file); }

  private:
    void check(std::int64_t x, std::int64_t y) const;
    bool has_depth() const;

    frame_files files_;
    const headless::tool& tool_;
    TimeStamp time_;
    depth_reading reading_;
    std::shared_ptr<loaded_frame> frame_;
    FrameForecast forecast_;
    std::optional<empty_pixels> empty_;
    Owned<Image> tool_depth_;  // null: that of the frame
};

}  // namespace focusfall
