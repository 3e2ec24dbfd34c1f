#pragma once
// From a file's channels to the host's images and back.

#include <optional>

#include "host/api/image.h"
#include "pipeline/pictures/channel_choice.h"
#include "pipeline/pictures/color_encoding.h"
#include "pipeline/pictures/file_windows.h"

namespace focusfall {

// The curve of a file's colours: what its header says, else sRGB for whole-number pixels
// and Linear for others. Throws headless::host_error, without the file's name, for a
// colour space that is not known.
color_encoding stored_encoding(const OIIO::ImageSpec& spec);

// The image that the tool gets of a file: the pixels of `area` with linear, premultiplied
// colour, alpha 1 where the file has none, and zeros for channels that are not chosen and
// for what lies outside the data window. Throws std::bad_alloc.
Owned<Image> host_image(const picture& file, const std::optional<color_channels>& color,
                        const std::optional<channel_place>& depth, const window& area,
                        const color_encoding& encoding);

// Overwrites channel `channel` of `part` by a component of `image`, which is as large as
// the part's data window.
void store_component(const Image& image, Image::Component component, picture_part& part,
                     std::size_t channel);

// Turns light into stored numbers, in place; colour is divided by alpha first where the
// file wants it `unassociated`.
void encode_image(Image& image, const color_encoding& encoding, bool unassociated);

// Clamps colour and alpha to 0 .. 1, in place; what is not a number becomes 0.
void clamp_image(Image& image);

// A copy of the pixels of `inside`, a part of the `area` that the image shows. Throws
// std::bad_alloc.
Owned<Image> cropped(const Image& image, const window& area, const window& inside);

}  // namespace focusfall
