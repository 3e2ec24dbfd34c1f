#pragma once
// Pictures for a browser.

#include <string>

#include "host/api/image.h"
#include "pipeline/regions/window.h"
#include "programs/page/page_view.h"

namespace focusfall {

// The pixels of `inside`, a part of the image, as a JPEG file: premultiplied colour over
// black, by the `look`. A picture that is not `fine` is smaller, and sooner made and
// shown. Throws headless::host_error for an unknown transform, and std::bad_alloc. [any
// thread]
std::string display_picture(const Image& image, const window& inside,
                            const display_look& look, bool fine);

}  // namespace focusfall
