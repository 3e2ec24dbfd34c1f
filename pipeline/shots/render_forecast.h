#pragma once
// What a frame will cost, told from the controls before it is rendered.

#include <cstdint>
#include <string>

#include "host/headless_host.h"
#include "pipeline/shots/frame_loader.h"

namespace focusfall {

// Diameter of the largest blur at `time`, as a part of the width of the picture that is
// shown; 0 for a tool without a lens. Infinite when the lens is focused at its focal
// length.
double largest_blur(const headless::tool& tool, TimeStamp time);

// Bytes of the weights of all kernels up to a blur in pixels, for a picture `width`
// pixels wide.
std::uint64_t kernel_table_bytes(double blur, std::int64_t width);

// What of a frame is known before its pixels are read.
struct planned_frame {
    const opened_frame& header;
    bool has_map;
    double blur;     // the largest, pixels
    bool has_table;  // whether the tool makes all kernels up to that beforehand
    bool in_shot;    // whether others are read and written meanwhile
};

// Bytes that reading, rendering and writing the frame takes.
std::uint64_t render_bytes(const planned_frame& frame);

// Which control to change when the blur is too much.
const char* blur_control(const headless::tool& tool, TimeStamp time);

// Why a frame with that largest blur stays as it is, and what would blur it; empty when
// it is blurred, and for a tool without a lens.
std::string no_blur_note(const headless::tool& tool, TimeStamp time, double blur);

// Tells that no depth of the frame lies at the focus, with the depths that there are;
// empty when one does, when nothing is blurred, and for a tool without a lens.
std::string no_focus_note(const headless::tool& tool, TimeStamp time,
                          const loaded_frame& frame);

}  // namespace focusfall
