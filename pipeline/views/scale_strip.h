#pragma once
// The strip below a view that tells what its colours mean.

#include <functional>
#include <string>
#include <vector>

#include "host/api/image.h"
#include "pipeline/views/palette.h"

namespace focusfall {

// `picture` with a bar of colours below it, from part 0 at the left to part 1 at the
// right, and `labels` at equal distances along it. They may hold digits, the letters "e",
// "p" and "x", blanks, points and signs; others are left blank, and so are all of them
// in a picture too narrow for them. Throws std::bad_alloc.
Owned<Image> with_scale(const Image& picture,
                        const std::function<view_color(float part)>& color_of,
                        const std::vector<std::string>& labels);

}  // namespace focusfall
