#pragma once
// What a frame will cost, and whether depth will blur it, from what the tool says before
// the frame is rendered.

#include <cstdint>
#include <string>

#include "host/headless_host.h"
#include "pipeline/shots/shot_options.h"

namespace focusfall {

// What the tool says of the frame, whose depth it gets by `reading`. Throws nothing of
// its own. [any thread]
FrameForecast forecast_of(const headless::tool& tool, TimeStamp time,
                          const opened_frame& opened, const depth_reading& reading);

// The same of a frame with that input, with or without a blur image.
FrameForecast forecast_of(const headless::tool& tool, TimeStamp time,
                          const input_picture& input, const depth_reading& reading,
                          bool has_blur_image);

// Bytes that reading, rendering and writing the frame takes, those of the frames that are
// read and written meanwhile included when it is `in_shot`.
std::uint64_t render_bytes(const opened_frame& opened, const shot_options& options,
                           const FrameForecast& forecast, bool in_shot);

// Whether the result of the frame may lie in the memory of the image that is rendered,
// because nothing needs that afterwards.
bool overwrites_image(const input_picture& input, const shot_options& options,
                      const FrameForecast& forecast);

// What is written of the frame: the data windows of its colour and depth, and as far
// around them as the largest blur reaches, within the area that is rendered. Beyond it
// there is nothing.
window result_window(const input_picture& input, const FrameForecast& forecast);

// Bytes besides that a channel of diameters takes while the frame is written.
std::uint64_t diameter_bytes(const input_picture& input);

// Why a frame of that forecast stays as it is, and what would blur it; empty when it is
// blurred, and for a tool without a lens.
std::string no_blur_note(const FrameForecast& forecast);

// Tells that no depth of the frame lies at the focus, with the depths that there are;
// empty when one does, when nothing is blurred, and for a tool without a lens.
std::string no_focus_note(const headless::tool& tool, TimeStamp time,
                          const FrameForecast& forecast, const loaded_frame& frame);

}  // namespace focusfall
