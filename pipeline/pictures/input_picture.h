#pragma once
// A frame's input: the picture, and what was chosen of it.

#include <optional>
#include <string>
#include <vector>

#include "pipeline/pictures/channel_choice.h"
#include "pipeline/pictures/color_encoding.h"
#include "pipeline/pictures/file_windows.h"
#include "pipeline/pictures/picture.h"

namespace focusfall {

// A layer or view that is rendered besides the first one of a frame, with the same
// settings and in the same area.
struct further_layer {
    color_channels color;
    std::optional<channel_place> depth;  // its own, or that of the first
};

// The input's file, where its colour, depth and windows are, and how its colours are
// stored. The parts of the file have no pixels while only the headers were read.
struct input_picture {
    picture file;
    color_channels color;
    std::optional<channel_place> depth;
    color_encoding encoding = color_encoding::linear();
    window display;  // the display window of the colour
    window area;  // what the tool renders: this and the data windows of colour and depth
    std::vector<further_layer> further = {};
    std::vector<std::string> lost = {};  // what the file has besides, and cannot be kept
    std::string note = {};  // what was not read as it stands in the file; mostly empty
};

}  // namespace focusfall
