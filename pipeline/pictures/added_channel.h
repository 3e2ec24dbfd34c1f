#pragma once
// One more channel for a picture that is about to be written.

#include <string>
#include <vector>

#include "pipeline/pictures/file_windows.h"
#include "pipeline/pictures/picture.h"

namespace focusfall {

// Gives `part`, in a format with named channels, a channel `name` of floats after all
// others; `values` are those of `area`, row by row, and pixels outside it get 0. The part
// must not have a channel of that name. Throws std::bad_alloc. [any thread]
void add_float_channel(picture_part& part, const std::string& name, const window& area,
                       const std::vector<float>& values);

}  // namespace focusfall
