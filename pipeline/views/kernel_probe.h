#pragma once
// Kernels, measured by rendering a single bright pixel, and pictures of them.

#include <string>
#include <vector>

#include "host/headless_host.h"

namespace focusfall {

// The kernel that `tool` uses for a blur of `diameter` pixels, 0.01 or more: its weights
// in red, green and blue, in a square image with a border of one pixel in which they are
// 0. The tool's style at `time` is used, and `blur_image`, or without it the one that is
// connected; all its controls stay as they are. Throws headless::host_error, and
// `interrupted` when the tool was aborted. [render thread]
Owned<Image> probed_kernel(headless::tool& tool, double diameter, TimeStamp time = 0,
                           Image* blur_image = nullptr);

// The kernel in brightness: its largest weight is white, negative weights are blue.
// Throws like Image's constructor. [any thread]
Owned<Image> kernel_picture(const Image& kernel);

// Rows of such pictures, all drawn to one scale, a whole factor. Above each column stands
// the one of `labels`, of which digits, points and blanks are drawn. No row may be longer
// than the first. Throws like Image's constructor. [any thread]
Owned<Image> kernel_sheet(const std::vector<std::vector<Owned<Image>>>& rows,
                          const std::vector<std::string>& labels);

}  // namespace focusfall
