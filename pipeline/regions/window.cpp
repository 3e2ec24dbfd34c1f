#include "pipeline/regions/window.h"

#include <algorithm>

namespace focusfall {

window united(const window& a, const window& b) {
    const std::int64_t x = std::min(a.x, b.x);
    const std::int64_t y = std::min(a.y, b.y);
    return {x, y, std::max(a.x + a.width, b.x + b.width) - x,
            std::max(a.y + a.height, b.y + b.height) - y};
}

window common(const window& a, const window& b) {
    const std::int64_t x = std::max(a.x, b.x);
    const std::int64_t y = std::max(a.y, b.y);
    const std::int64_t width = std::min(a.x + a.width, b.x + b.width) - x;
    const std::int64_t height = std::min(a.y + a.height, b.y + b.height) - y;
    return {x, y, std::max<std::int64_t>(width, 0), std::max<std::int64_t>(height, 0)};
}

std::string shown(const window& w) {
    std::string text = std::to_string(w.width) + " x " + std::to_string(w.height);
    if (w.x != 0 || w.y != 0) {
        text += " from " + std::to_string(w.x) + ", " + std::to_string(w.y);
    }
    return text;
}

}  // namespace focusfall
