#pragma once
// Deliberate faults, for tests of how a tool handles them.

#include <functional>

#include "host/api/export.h"

namespace headless {

// Calls `hook` whenever an image is about to be made, by the host or a tool, on the
// thread that makes it. The hook may throw, as an allocation that fails would, or abort a
// render. An empty function ends that. Not to be called while another thread makes
// images.
HOST_API void set_image_hook(std::function<void()> hook);

}  // namespace headless
