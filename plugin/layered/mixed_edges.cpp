#include "plugin/layered/mixed_edges.h"

#include <array>
#include <bit>
#include <cstddef>

#include "plugin/layered/depth_steps.h"

using gather::BLOCK_COLUMNS;

namespace layered {

namespace {

// So many gaps and layers deep is an edge at least, far enough for layers of their own,
// and so many gaps more until its pixels are taken apart wholly.
constexpr float EDGE_GAPS = 2.75F;
constexpr float EDGE_LAYERS = 1.375F;
constexpr float MORE_GAPS = 2.0F;
constexpr float OPAQUE = 0.999F;
// So many times as bright as its surface is a pixel that holds a light, and from so many
// times on wholly.
constexpr float LIT = 2.0F;
constexpr float WHOLLY_LIT = 3.0F;

constexpr auto COLORS = std::to_array({Image::RED, Image::GREEN, Image::BLUE});

// The middle one last: the same to the last bit when the others change places, as red
// and blue do in the pictures of some hosts.
float product(const float* a, const float* b) {
    return a[0] * b[0] + a[2] * b[2] + a[1] * b[1];
}

bool is_opaque(const float* pixel) {
    return is_finite(pixel) && pixel[Image::ALPHA] > OPAQUE;
}

// How much of `mixed` is `front` and the rest `deeper`, as far as it is a mean of them.
float part_of(const float* mixed, const float* deeper, const float* front) {
    float span[3];
    float from[3];
    float rest[3];
    for (std::size_t i = 0; i < 3; ++i) {
        span[i] = front[COLORS[i]] - deeper[COLORS[i]];
        from[i] = mixed[COLORS[i]] - deeper[COLORS[i]];
    }
    const float square = product(span, span);
    if (!(square > 1e-6F)) return 0.0F;
    const float part = std::clamp(product(span, from) / square, 0.0F, 1.0F);
    for (std::size_t i = 0; i < 3; ++i) rest[i] = from[i] - part * span[i];
    const float error = std::sqrt(product(rest, rest) / square);
    return part * std::clamp(1.5F - 5.0F * error, 0.0F, 1.0F);
}

// Widens `found` by the pixel, when it is mixed.
void find_at(const visible_picture& picture, const depth_layers& layers, std::int32_t x,
             std::int32_t y, std::vector<mixed_pixel>& found) {
    constexpr std::int32_t STEPS[][2] = {{1, 0}, {-1, 0}, {0, 1}, {0, -1}};
    const diameter_map& map = *picture.diameters;
    const float own = map.row(y)[x];
    const float* const pixel = picture.colors->Pixel(x, y);
    if (!is_opaque(pixel)) return;
    mixed_pixel best = {
        .x = x, .y = y, .diameter = 0.0F, .part = 0.0F, .front = {}, .deeper = {}};
    for (const auto& [dx, dy] : STEPS) {
        // the pixel before it is far before it, and the one behind it of its own surface
        const auto inside = [&](std::int32_t px, std::int32_t py) {
            return px >= 0 && py >= 0 && px < map.width() && py < map.height();
        };
        if (!inside(x + dx, y + dy) || !inside(x - dx, y - dy)) continue;
        const float front = map.row(y + dy)[x + dx];
        const float edge = picture.gap(own, front);
        const float least =
            std::max(front + EDGE_GAPS * edge, layers.behind(front, EDGE_LAYERS));
        const float behind = map.row(y - dy)[x - dx];
        if (!(own > least) || std::abs(behind - own) > 0.5F * edge + 0.5F) {
            continue;
        }
        const float* const front_color = picture.colors->Pixel(x + dx, y + dy);
        const float* const deeper = picture.colors->Pixel(x - dx, y - dy);
        if (!is_opaque(front_color) || !is_opaque(deeper)) continue;
        const float part = part_of(pixel, deeper, front_color);
        // by degrees: how far the pixel is taken apart
        const float how_far = std::min((own - least) / (MORE_GAPS * edge), 1.0F);
        if (!(part * how_far > best.part)) continue;
        best.diameter = front;
        best.part = part * how_far;
        for (std::size_t i = 0; i < 3; ++i) {
            const auto c = COLORS[i];
            const float of_front = std::max(0.0F, pixel[c] - (1.0F - part) * deeper[c]);
            best.front[i] = of_front * how_far;
            best.deeper[i] = pixel[c] + (deeper[c] - pixel[c]) * how_far;
        }
    }
    if (best.part > 0.0F) found.push_back(best);
}

float brightness(const float* pixel) {
    return std::max({pixel[Image::RED], pixel[Image::GREEN], pixel[Image::BLUE]});
}

// Widens `found` by the pixel, when it is lit.
void find_light_at(const visible_picture& picture, std::int32_t x, std::int32_t y,
                   std::vector<lit_pixel>& found) {
    const diameter_map& map = *picture.diameters;
    const float own = map.row(y)[x];
    const float* const pixel = picture.colors->Pixel(x, y);
    if (!is_opaque(pixel)) return;
    // the darkest pixel of its surface beside it, and the brightest one behind
    const float* surface = nullptr;
    const float* light = nullptr;
    float gaps = 0.0F;
    for (std::int32_t py = std::max(y - 1, 0); py <= std::min(y + 1, map.height() - 1);
         ++py) {
        for (std::int32_t px = std::max(x - 1, 0); px <= std::min(x + 1, map.width() - 1);
             ++px) {
            const float beside = map.row(py)[px];
            const float* const color = picture.colors->Pixel(px, py);
            if (!is_opaque(color)) continue;
            const float count = (beside - own) / picture.gap(own, beside);
            if (count > EDGE_GAPS) {
                if (!light || brightness(color) > brightness(light)) {
                    light = color;
                    gaps = count;
                }
            } else if (std::abs(count) < 0.5F) {
                if (!surface || brightness(color) < brightness(surface)) surface = color;
            }
        }
    }
    if (!light || !surface) return;
    const float times = brightness(pixel) / std::max(brightness(surface), 1e-3F);
    if (!(times > LIT)) return;
    const float of_light = part_of(pixel, surface, light);
    const float how_far = std::min(
        {(times - LIT) / (WHOLLY_LIT - LIT), (gaps - EDGE_GAPS) / MORE_GAPS, 1.0F});
    if (!(of_light * how_far > 0.0F)) return;
    lit_pixel lit = {.x = x, .y = y, .part = 1.0F - of_light * how_far, .front = {}};
    for (std::size_t i = 0; i < 3; ++i) {
        const auto c = COLORS[i];
        lit.front[i] = std::max(0.0F, pixel[c] - of_light * how_far * light[c]);
    }
    found.push_back(lit);
}

// Calls find(picture, x, y, found) for each pixel of the row that is beside a depth edge,
// as `beside` tells.
template <class Beside, class Find, class Found>
void find_at_edges(const visible_picture& picture, std::int32_t y, Beside beside,
                   Find find, Found& found) {
    const diameter_map& map = *picture.diameters;
    const float least = EDGE_GAPS * picture.tolerance;
    for (std::int32_t x = 0; x < map.width(); x += BLOCK_COLUMNS) {
        run_bits left = beside(map, x, y, least);
        for (; left != 0; left &= left - 1)
            find(picture, x + std::countr_zero(left), y, found);
    }
}

}  // namespace

void find_lit(const visible_picture& picture, std::int32_t y,
              std::vector<lit_pixel>& found) {
    find_at_edges(picture, y, deeper_beside, find_light_at, found);
}

void find_mixed(const visible_picture& picture, const depth_layers& layers,
                std::int32_t y, std::vector<mixed_pixel>& found) {
    const auto find = [&layers](const visible_picture& of, std::int32_t x,
                                std::int32_t row, std::vector<mixed_pixel>& to) {
        find_at(of, layers, x, row, to);
    };
    find_at_edges(picture, y, nearer_beside, find, found);
}

}  // namespace layered
