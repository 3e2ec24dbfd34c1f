#pragma once
// Rectangles of pixels in the coordinates of a picture, rows counted downwards.

#include <cstdint>
#include <string>

namespace focusfall {

struct window {
    std::int64_t x = 0;
    std::int64_t y = 0;
    std::int64_t width = 0;
    std::int64_t height = 0;

    friend bool operator==(const window&, const window&) = default;
};

// The smallest window that holds both.
window united(const window& a, const window& b);
// What both hold; of no width or height when that is nothing.
window common(const window& a, const window& b);

// "640 x 480", and where it starts when that is not 0, 0.
std::string shown(const window& w);

}  // namespace focusfall
