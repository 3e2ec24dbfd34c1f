#pragma once
// What the values of a depth channel are like.

#include <cstdint>
#include <optional>
#include <vector>

#include "host/api/image.h"
#include "pipeline/preparation/depth_steps.h"

namespace focusfall {

// Signs do not count: a camera may look along negative Z. A plain value.
struct depth_statistics {
    std::uint64_t pixels = 0;
    std::uint64_t empty = 0;           // of these
    std::optional<float> empty_value;  // that most of the empty ones carry
    bool is_negative = false;          // most of the others are below 0

    // Of the pixels that are not empty; all 0 when there are none.
    float lowest = 0.0F;
    float tenth = 0.0F;  // a tenth of them is not larger
    float median = 0.0F;
    float highest = 0.0F;
    // How many lie in each of equal steps from the lowest to the highest; the steps are
    // equal ratios when it `is_logarithmic`. Empty when all pixels are.
    std::vector<std::uint64_t> histogram;
    bool is_logarithmic = false;

    bool has_depth() const { return empty < pixels; }
};

// Of a component of the whole `depth`, with the alpha of `color`, an image of the same
// size. Throws std::bad_alloc. [any thread]
depth_statistics statistics_of(const Image& depth, Image::Component component,
                               const Image& color, const empty_pixels& empty);

// By how much of the range of the depths, without their sign, the lower third of the
// picture, which is usually nearer, has larger ones than the upper third. Empty pixels do
// not count. Never throws. [any thread]
double rise_to_bottom(const Image& depth, Image::Component component, const Image& color,
                      const empty_pixels& empty);
// Beyond this, up or down, it tells which values are near.
inline constexpr double CLEAR_RISE = 0.1;

}  // namespace focusfall
