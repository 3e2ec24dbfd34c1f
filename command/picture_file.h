#pragma once
// Pictures as their files hold them, and the short ways between files and host images.

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

#include <OpenImageIO/imageio.h>

#include "host/api/image.h"

// One part of a file: its header, and its pixels in the file's own types, each pixel's
// channels in the order of the header.
struct picture_part {
    OIIO::ImageSpec spec;
    std::vector<std::byte> pixels;
};

// A whole file: one part, or the several of an OpenEXR file.
using picture = std::vector<picture_part>;

// All parts of `file`. Colours stay as stored, and are not multiplied by alpha. Throws
// headless::host_error that names the file, for whatever is wrong with it.
picture read_picture(const std::filesystem::path& file);

// Writes a file in the format that its name ends in, whole or not at all. Throws
// headless::host_error.
void write_picture(const picture& parts, const std::filesystem::path& file);

// True when the format that the name of `file` ends in holds any channels by name. Throws
// headless::host_error for a name that no format has.
bool holds_named_channels(const std::filesystem::path& file);

// Writes an image's red, green, blue and alpha, where the format allows it in `type` and
// with Z in float beside them; other formats get no Z, and display-encoded colour of 16
// bits, or 8 where they hold no more. Throws headless::host_error.
void write_image(const Image& image, const std::filesystem::path& file,
                 OIIO::TypeDesc type = OIIO::TypeDesc::HALF);

// Writes the colour for looking: 8 bits a channel, sRGB. Throws headless::host_error.
void write_preview(const Image& image, const std::filesystem::path& file);
