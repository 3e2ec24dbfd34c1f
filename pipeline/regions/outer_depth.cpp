#include "pipeline/regions/outer_depth.h"

namespace focusfall {

void extend_depth(Image& image, Image::Component component, const window& area,
                  const window& inside) {
    const window both = common(area, inside);
    if (both.width < 1 || both.height < 1 || both == area) return;
    const auto left = static_cast<std::int32_t>(both.x - area.x);
    const auto top = static_cast<std::int32_t>(both.y - area.y);
    const auto right = static_cast<std::int32_t>(left + both.width - 1);
    const auto bottom = static_cast<std::int32_t>(top + both.height - 1);

    for (std::int32_t y = top; y <= bottom; ++y) {
        const float first = image.Pixel(left, y)[component];
        const float last = image.Pixel(right, y)[component];
        for (std::int32_t x = 0; x < left; ++x) image.Pixel(x, y)[component] = first;
        for (std::int32_t x = right + 1; x < image.Width(); ++x) {
            image.Pixel(x, y)[component] = last;
        }
    }
    // rows above and below repeat the outermost ones, whose ends are set now
    const auto repeat_row = [&](std::int32_t from, std::int32_t to) {
        for (std::int32_t x = 0; x < image.Width(); ++x) {
            image.Pixel(x, to)[component] = image.Pixel(x, from)[component];
        }
    };
    for (std::int32_t y = 0; y < top; ++y) repeat_row(top, y);
    for (std::int32_t y = bottom + 1; y < image.Height(); ++y) repeat_row(bottom, y);
}

}  // namespace focusfall
