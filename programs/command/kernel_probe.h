#pragma once
// Kernels as the tool really scatters them, and pictures of them.

#include <vector>

#include "host/headless_host.h"

namespace focusfall {

// What `tool` makes of one bright pixel whose blur is `diameter` pixels wide, at least
// 0.01: the weights in red, green and blue, and a border of one pixel that must be empty.
// Sets the controls of the lens, so the style's controls are left to the caller. Throws
// headless::host_error, and `interrupted` when the tool was aborted.
Owned<Image> probed_kernel(headless::tool& tool, double diameter);

// Rows of kernels side by side for looking. Each is scaled so that its largest weight is
// white, negative weights show in blue, and small ones are enlarged by whole factors. No
// row is longer than the first. Throws like Image's constructor.
Owned<Image> kernel_sheet(const std::vector<std::vector<Owned<Image>>>& rows);

}  // namespace focusfall
