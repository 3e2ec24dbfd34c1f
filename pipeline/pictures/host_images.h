#pragma once
// From a file's channels to the host's images and back.

#include <optional>

#include "pipeline/pictures/channel_choice.h"
#include "pipeline/pictures/color_encoding.h"
#include "pipeline/pictures/window.h"

namespace focusfall {

// The curve of a file's colours: what its header says, else sRGB for whole-number pixels
// and Linear for others. Throws headless::host_error, without the file's name, for a
// colour space that is not known.
color_encoding stored_encoding(const OIIO::ImageSpec& spec);

// What the tool gets of a file: the pixels of `area`, with linear colour multiplied by
// alpha, alpha 1 where the file has none, and zeros for what is missing or lies outside
// the data window. Throws what making an image throws.
Owned<Image> host_image(const picture& file, const std::optional<color_channels>& color,
                        const std::optional<channel_place>& depth, const window& area,
                        const color_encoding& encoding);

// Overwrites channel `channel` of `part` by a component of `image`, whose first pixel
// lies at the part's first one.
void store_component(const Image& image, Image::Component component, picture_part& part,
                     std::size_t channel);

// Light to stored numbers, in place, not multiplied by alpha where `unassociated`.
void encode_image(Image& image, const color_encoding& encoding, bool unassociated);

// Keeps colour and alpha within 0 and 1, in place; what is no number becomes 0.
void bound_image(Image& image);

// The pixels of `inside`, which lies in the `area` that the image shows.
Owned<Image> cropped(const Image& image, const window& area, const window& inside);

}  // namespace focusfall
