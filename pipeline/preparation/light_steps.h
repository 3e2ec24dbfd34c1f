#pragma once
// Steps on the colour of a frame before it is blurred. [any thread, with an image of its
// own]

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/api/image.h"

namespace focusfall {

// How much brighter lights become that a picture holds clipped.
struct highlight_gain {
    float gain = 1.0F;       // of what is white, above 1
    float threshold = 0.0F;  // light below 1, up to which all stays
};

// What a user wants done to the light of a picture. As it starts, nothing.
struct light_choices {
    bool drop_non_finite = false;
    std::optional<highlight_gain> highlights;
};

// The gain and the threshold of "GAIN,THRESHOLD". Throws headless::host_error that shows
// how to write it.
highlight_gain parsed_highlights(const std::string& text);
// The text that gives them back.
std::string shown(const highlight_gain& highlights);

// Multiplies each pixel's colour by 1 at the threshold and below, by the gain from a
// brightness of 1 on, and in between by what a smooth step makes of it. The luminance of
// the colour counts, not multiplied by alpha: a red that is clipped stays red. Never
// throws.
void lift_highlights(Image& image, const highlight_gain& highlights);

// A pixel with a colour or an alpha that is not a number or infinite.
struct pixel_place {
    std::int32_t x = 0;
    std::int32_t y = 0;
};
// All of these, row by row. Throws std::bad_alloc.
std::vector<pixel_place> non_finite_pixels(const Image& image);

// How many pixels of the image the blur would spread them to: those in the square of the
// diameter that `diameter_at` tells for each. Nothing when they are too many to count
// quickly. Throws std::bad_alloc.
std::optional<std::size_t> reach_of(
    const std::vector<pixel_place>& pixels, const Image& image,
    const std::function<float(const pixel_place&)>& diameter_at);

// Gives them the mean of the finite pixels next to them, the outer ones first, so that
// they are no sources of light any more and leave neither a hole nor a dark spot. Black
// and transparent when no pixel of the image is finite. Throws std::bad_alloc.
void fill_pixels(Image& image, const std::vector<pixel_place>& pixels);

}  // namespace focusfall
