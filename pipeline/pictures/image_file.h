#pragma once
// Host images written to files without a picture that they came from.

#include <filesystem>

#include <OpenImageIO/imageio.h>

#include "host/api/image.h"

namespace focusfall {

// Writes an image's red, green, blue and alpha, where the format allows it in `type` and
// with Z in float beside them; other formats get no Z, and display-encoded colour of 16
// bits, or 8 where they hold no more. The file appears whole or not at all. Throws
// headless::host_error. [any thread]
void write_image(const Image& image, const std::filesystem::path& file,
                 OIIO::TypeDesc type = OIIO::TypeDesc::HALF);

// Writes the colour for viewing, as it looks before black: 8 bits a channel, sRGB,
// without alpha. Throws headless::host_error. [any thread]
void write_preview(const Image& image, const std::filesystem::path& file);

}  // namespace focusfall
