#pragma once
// What the values of a depth channel are like, and which of its pixels are empty.

#include <cstdint>
#include <optional>
#include <vector>

#include "host/api/image.h"

namespace focusfall {

// Signs do not count: a camera may look along negative Z. A plain value.
struct depth_statistics {
    std::uint64_t pixels = 0;
    std::uint64_t empty = 0;           // of these; where nothing was seen
    std::optional<float> empty_value;  // that most of the empty ones carry
    bool zero_is_empty = false;        // 0 is no distance where others are larger than 1
    bool alpha_counts = false;         // some pixels are seen, so that others are not
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
    // Whether a pixel with this depth and alpha is empty: transparent, not finite, or
    // with one of the values by which renderers say that they met nothing.
    bool is_empty(float depth, float alpha) const;
};

// Of a component of the whole `depth`, with the alpha of `color`, an image of the same
// size. Throws std::bad_alloc. [any thread]
depth_statistics statistics_of(const Image& depth, Image::Component component,
                               const Image& color);

}  // namespace focusfall
