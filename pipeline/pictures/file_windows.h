#pragma once
// The windows that a file's header gives.

#include <OpenImageIO/imageio.h>

#include "pipeline/regions/window.h"

namespace focusfall {

// Where the pixels lie.
window data_window(const OIIO::ImageSpec& spec);
// The part that is shown; a file without a display window shows its data window.
window display_window(const OIIO::ImageSpec& spec);

}  // namespace focusfall
