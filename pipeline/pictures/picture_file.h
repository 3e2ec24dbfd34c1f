#pragma once
// Pictures as their files hold them, and the short ways between files and host images.

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <OpenImageIO/imageio.h>

#include "host/api/image.h"

namespace focusfall {

// One part of a file: its header, and its pixels in the file's own types, each pixel's
// channels in the order of the header.
struct picture_part {
    OIIO::ImageSpec spec;
    std::unique_ptr<std::byte[]> pixels;
};

// A part with memory for its pixels, which are not set. Throws std::bad_alloc.
picture_part empty_part(OIIO::ImageSpec spec);

// A whole file: one part, or the several of an OpenEXR file.
using picture = std::vector<picture_part>;

// All parts of `file`. Colours stay as stored, and are not multiplied by alpha. `look` is
// called with the headers, before there are pixels; what it throws ends the reading.
// Throws headless::host_error that names the file, for whatever is wrong with it, and
// when its pixels take more than `most_bytes`.
picture read_picture(const std::filesystem::path& file,
                     std::uint64_t most_bytes = UINT64_MAX,
                     const std::function<void(const picture&)>& look = {});

// Writes a file in the format that its name ends in, whole or not at all. Throws
// headless::host_error.
void write_picture(const picture& parts, const std::filesystem::path& file);

// True when the format that the name of `file` ends in holds any channels by name. Throws
// headless::host_error for a name that no format has.
bool holds_named_channels(const std::filesystem::path& file);

// True when that format holds alpha.
bool holds_alpha(const std::filesystem::path& file);

// The pixel type nearest to `type` that the format holds: floats where it can, else whole
// numbers of 16 bits, or 8 when `type` is one of 8.
OIIO::TypeDesc stored_type(const std::filesystem::path& file, OIIO::TypeDesc type);

// Writes an image's red, green, blue and alpha, where the format allows it in `type` and
// with Z in float beside them; other formats get no Z, and display-encoded colour of 16
// bits, or 8 where they hold no more. Throws headless::host_error.
void write_image(const Image& image, const std::filesystem::path& file,
                 OIIO::TypeDesc type = OIIO::TypeDesc::HALF);

// Writes the colour for looking: 8 bits a channel, sRGB. Throws headless::host_error.
void write_preview(const Image& image, const std::filesystem::path& file);

}  // namespace focusfall
