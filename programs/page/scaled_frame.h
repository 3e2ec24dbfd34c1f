#pragma once
// A frame in fewer pixels, which renders fast enough to follow a hand.

#include "pipeline/shots/frame_loader.h"

namespace focusfall {

// The frame in about `max_pixels`, with its own shape: its first layer as it was
// prepared. Colours are means of the pixels that come together; depths are those of one
// of them, for a mean of two depths is where nothing is. What the tool is told of the
// frame's windows stays, so the blur is as wide in the picture. Throws std::bad_alloc.
// [any thread]
loaded_frame scaled_frame(const loaded_frame& frame, std::int64_t max_pixels);

// Whether the frame has more.
bool exceeds(const loaded_frame& frame, std::int64_t max_pixels);

// Where the display window lies in an image that shows all of the frame's area.
window display_in(const loaded_frame& frame, const Image& image);

}  // namespace focusfall
