#pragma once
// The depth of what lies outside of a picture's own pixels.

#include "host/api/image.h"
#include "pipeline/regions/window.h"

namespace focusfall {

// Gives the pixels of `image`, which shows `area`, outside of `inside` the value that
// `component` has at the nearest pixel of `inside`. A picture may be smaller than what is
// blurred; with a depth of 0 there, the nothing around it would lie at the lens, be
// spread with the largest blur, and darken the picture's borders where the blur is
// normalised. Does nothing when the image shows no pixel of `inside`. Never throws. [any
// thread]
void extend_depth(Image& image, Image::Component component, const window& area,
                  const window& inside);

}  // namespace focusfall
