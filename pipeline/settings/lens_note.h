#pragma once
// Lens values that do not belong together.

#include <string>

#include "host/headless_host.h"

namespace focusfall {

// Says that the aperture's diameter is not what focal length and f-stop make it, and
// which of them count: the tool keeps the three consistent, but no further than their
// ranges go. Looks at the key times of the three; empty when all is well, when another
// type of settings does without a lens, and for a tool without one.
std::string lens_note(const headless::tool& tool);

}  // namespace focusfall
