#pragma once
// A frame's input: the picture, and what was chosen of it.

#include <optional>

#include "pipeline/pictures/channel_choice.h"
#include "pipeline/pictures/color_encoding.h"
#include "pipeline/pictures/picture.h"
#include "pipeline/pictures/window.h"

namespace focusfall {

// The input's file, where its colour, depth and windows are, and how its colours are
// stored. The parts of the file have no pixels while only the headers were read.
struct input_picture {
    picture file;
    color_channels color;
    std::optional<channel_place> depth;
    color_encoding encoding = color_encoding::linear();
    window display;  // the display window of the colour
    window area;  // what the tool renders: this and the data windows of colour and depth
};

}  // namespace focusfall
