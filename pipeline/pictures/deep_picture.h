#pragma once
// OpenEXR pictures with any number of samples a pixel, "deep" ones, made flat.

#include "pipeline/pictures/picture.h"

namespace focusfall {

// The header of the flat picture that a deep one with this header gives.
OIIO::ImageSpec flat_header(OIIO::ImageSpec deep);

// Reads the deep part `index` of an open file and flattens it. Red, green, blue, alpha
// and Y of layers that look like pictures are composited, the nearest sample over those
// behind it, as premultiplied colours; samples that overlap in depth count at their
// nearer end. All other channels, among them the depth, have the value of the front
// surface: the nearest sample with which a tenth of the pixel is covered, or half of what
// is covered at all if that is less. A pixel without samples is 0, and 1e30 in Z. False
// when the library finds a fault, which it keeps. Throws std::bad_alloc. [any thread, one
// at a time for a file]
//
// With `halves`, each pixel becomes two more, flattened by themselves: what is in front,
// and what lies behind it, which has no alpha where all is in front. The samples are
// parted where they differ least in blur from their half: in 1 / depth, with which blur
// is linear wherever the focus is, by how much is seen of them. What is in front covers a
// hundredth of the pixel, at least, and lies a hundredth of its depth before the rest. A
// half's depth, and all that is no colour, is that of the sample in the middle of what is
// seen of it.
struct deep_halves {
    picture_part front;
    picture_part behind;
};
bool read_flattened(OIIO::ImageInput& input, int index, picture_part& part,
                    deep_halves* halves = nullptr);

}  // namespace focusfall
