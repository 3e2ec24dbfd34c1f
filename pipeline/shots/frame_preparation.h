#pragma once
// What happens to a frame between loading and the tool: the steps of the folder
// preparation, as the choices and the tool's controls ask for them.
//
//     const depth_reading reading = depth_reading_of(tool, time, opened, choices);
//     const FrameForecast forecast = forecast_of(tool, time, opened, reading);
//     loaded_frame frame = loader.load(std::move(opened));
//     prepare(frame, choices, reading, forecast);

#include "host/headless_host.h"
#include "pipeline/preparation/depth_steps.h"
#include "pipeline/regions/overscan_scale.h"
#include "pipeline/shots/frame_loader.h"

namespace focusfall {

// How the tool, with its controls at `time`, is to read the depth of a frame. Throws
// host_error that names the file when the controls contradict the choices. [any thread]
depth_reading depth_reading_of(const headless::tool& tool, TimeStamp time,
                               const opened_frame& opened, const load_choices& choices);

// Where the depth of a layer, in that component, has pixels of its own. A depth map has
// them everywhere: it was extended when it was loaded.
window depth_window(const loaded_frame& frame, Image::Component component,
                    std::size_t layer = 0);

// Values at `time` for the order of a frame: those that overscan asks for, and the
// control "FocusPosition", which is a depth of the file, as the tool is to have it.
// [any thread]
control_values order_values(const headless::tool& tool, TimeStamp time,
                            const input_picture& input, const depth_reading& reading);

// Carries out the choices on a frame that was loaded by them: its colour is changed in
// place, the depth for the tool beside the file's, and notes tell what a user should
// know. `forecast` is the tool's for this frame. Throws host_error that names the file,
// also when there is no memory. [any thread, one for a frame]
void prepare(loaded_frame& frame, const load_choices& choices,
             const depth_reading& reading, const FrameForecast& forecast);

// The order by which the tool renders a layer of a frame that was prepared; its images
// are those of the frame. [any thread]
headless::render_order order_of(const headless::tool& tool, TimeStamp time,
                                const loaded_frame& frame, std::size_t layer = 0);

// Puts the depth of the file in the place of the tool's into a result of a layer.
void restore_depth(Image& result, const loaded_frame& frame, std::size_t layer);

}  // namespace focusfall
