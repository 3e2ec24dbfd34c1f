#include "programs/openfx/geometry.h"

#include <algorithm>
#include <cmath>

namespace focusfall {

namespace {

// Hosts write very large numbers for regions without an end.
constexpr double ENDLESS = 1e8;

// A thousandth of a pixel is what products of scales and sizes may be off.
constexpr double SLACK = 1e-3;

int whole(double coordinate) {
    return static_cast<int>(std::clamp(coordinate, -ENDLESS, ENDLESS));
}

}  // namespace

ofx::pixel_rect pixel_scale::pixels(const ofx::rect& region) const {
    return {whole(std::floor(region.x1 * x / aspect + SLACK)),
            whole(std::floor(region.y1 * y + SLACK)),
            whole(std::ceil(region.x2 * x / aspect - SLACK)),
            whole(std::ceil(region.y2 * y - SLACK))};
}

bool holds(const ofx::pixel_rect& outer, const ofx::pixel_rect& inner) {
    return outer.x1 <= inner.x1 && outer.y1 <= inner.y1 && outer.x2 >= inner.x2 &&
           outer.y2 >= inner.y2;
}

ofx::pixel_rect common(const ofx::pixel_rect& a, const ofx::pixel_rect& b) {
    const int x = std::max(a.x1, b.x1);
    const int y = std::max(a.y1, b.y1);
    return {x, y, std::max(x, std::min(a.x2, b.x2)), std::max(y, std::min(a.y2, b.y2))};
}

window window_of(const ofx::pixel_rect& r) { return {r.x1, -r.y2, width(r), height(r)}; }

ofx::rect blurred_region(const ofx::rect& source, const ofx::rect& format,
                         bool many_sizes) {
    if (is_empty(format)) return source;
    if (is_empty(source)) return format;
    if (source.x1 < -ENDLESS || source.y1 < -ENDLESS || source.x2 > ENDLESS ||
        source.y2 > ENDLESS) {
        return format;
    }
    if (!many_sizes) return source;
    return {std::min(source.x1, format.x1), std::min(source.y1, format.y1),
            std::max(source.x2, format.x2), std::max(source.y2, format.y2)};
}

}  // namespace focusfall
