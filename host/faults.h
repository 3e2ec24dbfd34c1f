#pragma once
// Faults on purpose, for tests of how a tool takes them.

#include <functional>

#include "host/api/export.h"

namespace headless {

// Calls `hook` whenever an image is about to be made, by the host or a tool; it may throw
// in the place of a failing allocation, or abort a render. An empty function ends that.
// Not to be called while images are made on another thread.
HOST_API void set_image_hook(std::function<void()> hook);

}  // namespace headless
