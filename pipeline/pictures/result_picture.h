#pragma once
// The picture that a render writes: the input's, with the tool's result in its place.

#include <filesystem>
#include <optional>
#include <string>

#include "pipeline/pictures/host_images.h"

namespace focusfall {

// What the input brought, and where its colour, depth and windows are.
struct input_picture {
    picture file;
    color_channels color;
    std::optional<channel_place> depth;
    color_encoding encoding = color_encoding::linear();
    window display;
    window area;  // what the tool renders
};

// How the command line wants the output.
struct output_choices {
    OIIO::TypeDesc type =
        OIIO::TypeDesc::UNKNOWN;  // of the colours; unknown: the input's
    std::string compression;      // empty: as the input's
    std::optional<color_encoding> encoding;
};

// What of the input does not arrive in `file` as it is, apart from what the tool makes,
// as the end of a sentence about the file; empty when all does.
std::string expected_losses(const input_picture& input, const std::filesystem::path& file,
                            const output_choices& choices);

// The picture to write to `file` for the tool's `result` in the input's area. A format
// that holds channels by name gets all of the input's, bit for bit but for the colour and
// the depth, its header with `record` in the attribute "focusfall", and the area as its
// data window, losslessly compressed where that takes it; others get the colour of the
// display window. Throws headless::host_error.
picture result_picture(const input_picture& input, const Image& result,
                       const std::filesystem::path& file, const output_choices& choices,
                       const std::string& record);

}  // namespace focusfall
