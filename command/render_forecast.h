#pragma once
// What a frame will cost, told from the controls before it is rendered.

#include <cstdint>
#include <string>

#include "command/frame_loader.h"
#include "host/headless_host.h"

// Diameter in pixels of the largest blur at `time`, of a picture that is `width` pixels
// wide; 0 for a tool without a lens. Infinite when the lens is focused at its focal
// length.
double largest_blur(const headless::tool& tool, TimeStamp time, std::int64_t width);

// Bytes of the weights of all kernels up to that blur, for a picture `width` pixels wide.
std::uint64_t kernel_table_bytes(double blur, std::int64_t width);

// Bytes that reading, rendering and writing the frame takes, for a largest blur in
// pixels. `in_shot` counts the frames read and written meanwhile.
std::uint64_t render_bytes(const loaded_frame& frame, double blur, bool in_shot);

// Which control to change when the blur is too much.
const char* blur_control(const headless::tool& tool, TimeStamp time);

// Why a frame with that largest blur stays as it is, and what would blur it; empty when
// it is blurred, and for a tool without a lens.
std::string no_blur_note(const headless::tool& tool, TimeStamp time, double blur);
