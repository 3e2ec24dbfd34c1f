#include "plugin/layered/smoothed_edges.h"

#include <bit>
#include <limits>

#include "plugin/layered/depth_steps.h"

using gather::BLOCK_COLUMNS;

namespace layered {

namespace {

// So near to the front surface a pixel belongs to it: a part of the step, and so many
// times what the surface changes by from pixel to pixel.
constexpr float AT_FRONT = 0.03F;
constexpr float BEND = 2.0F;
// How much brighter than both surfaces a mean of them may be, for noise.
constexpr float BRIGHTER = 1.1F;

struct pixel_place {
    std::int32_t x;
    std::int32_t y;
};

// How far the two surfaces lie from the pixel between them.
struct span {
    std::int32_t before;
    std::int32_t after;
};
constexpr span SPANS[] = {{1, 1}, {1, 2}, {2, 1}};

float brightness(const float* pixel) {
    if (!is_finite(pixel)) return std::numeric_limits<float>::quiet_NaN();
    return std::max({pixel[Image::RED], pixel[Image::GREEN], pixel[Image::BLUE]});
}

// Looks along the lines through one pixel.
class line_finder {
  public:
    line_finder(const visible_picture& picture, float max_coc, std::int32_t x,
                std::int32_t y)
        : picture_(picture), max_coc_(max_coc), x_(x), y_(y), surface_{x, y} {}

    void look_along(const line_step& line) {
        for (std::int32_t i = -REACH; i <= REACH; ++i) {
            const pixel_place to = place(line, i);
            line_[REACH + i] = picture_.diameters->row(to.y)[to.x];
        }
        for (const span& s : SPANS) {
            const float height = std::abs(at(s.after) - at(-s.before));
            if (!(height > highest_) || !is_between(s, height)) continue;
            const pixel_place from = place(line, -s.before);
            const pixel_place to = place(line, s.after);
            if (is_light(from, to)) continue;
            highest_ = height;
            surface_ = belongs_to_first(s) ? from : to;
        }
    }
    // The pixel whose depth it gets; itself when its depth is one.
    pixel_place surface() const { return surface_; }

  private:
    static constexpr std::int32_t REACH = 3;

    pixel_place place(const line_step& line, std::int32_t count) const {
        return {std::clamp(x_ + count * line.x, 0, picture_.diameters->width() - 1),
                std::clamp(y_ + count * line.y, 0, picture_.diameters->height() - 1)};
    }
    // The diameter so many pixels along the line.
    float at(std::int32_t count) const { return line_[REACH + count]; }

    // Whether the pixel lies between two surfaces there, a step of that height apart.
    bool is_between(const span& s, float height) const {
        const float a = at(-s.before);
        const float b = at(s.after);
        const float a_goes_on = std::abs(a - at(-s.before - 1));
        const float b_goes_on = std::abs(b - at(s.after + 1));
        if (height < picture_.gap(a, b) || std::max(a_goes_on, b_goes_on) > EVEN * height)
            return false;
        // surfaces may bend away at their edges
        const float at_front = AT_FRONT * height + BEND * (a < b ? a_goes_on : b_goes_on);
        return at(0) > std::min(a, b) + at_front && at(0) < std::max(a, b);
    }
    bool is_light(const pixel_place& a, const pixel_place& b) const {
        const auto light = [&](std::int32_t x, std::int32_t y) {
            return brightness(picture_.colors->Pixel(x, y));
        };
        // not-a-number is no mean of surfaces either
        return !(light(x_, y_) <= BRIGHTER * std::max(light(a.x, a.y), light(b.x, b.y)));
    }
    // The distance in units of that in focus, from the lens formula.
    float distance(float diameter) const {
        return diameter < max_coc_ ? max_coc_ / (max_coc_ - diameter)
                                   : std::numeric_limits<float>::infinity();
    }
    // Whether more of the pixel is of the first surface, by the mean of their distances.
    bool belongs_to_first(const span& s) const {
        const float a = at(-s.before);
        const float b = at(s.after);
        const float front = distance(std::min(a, b));
        // the front also where only infinities are left
        const bool is_front =
            !(distance(at(0)) - front >= 0.5F * (distance(std::max(a, b)) - front));
        return is_front == (a < b);
    }

    const visible_picture& picture_;
    const float max_coc_;
    const std::int32_t x_;
    const std::int32_t y_;
    float line_[2 * REACH + 1] = {};  // the diameters along the present line
    float highest_ = 0.0F;            // step so far
    pixel_place surface_;
};

}  // namespace

void find_smoothed(const visible_picture& picture, float max_coc, std::int32_t y,
                   std::vector<smoothed_pixel>& found) {
    const diameter_map& map = *picture.diameters;
    for (std::int32_t first = 0; first < map.width(); first += BLOCK_COLUMNS) {
        run_bits steps[LINE_COUNT];
        if (!steps_along_lines(map, first, y, picture.tolerance, steps)) continue;
        run_bits left = steps[0] | steps[1] | steps[2] | steps[3];
        for (; left != 0; left &= left - 1) {
            const std::int32_t i = std::countr_zero(left);
            const std::int32_t x = first + i;
            line_finder finder(picture, max_coc, x, y);
            for (std::int32_t l = 0; l < LINE_COUNT; ++l) {
                if ((steps[l] >> i & 1U) != 0) finder.look_along(LINES[l]);
            }
            const auto [from_x, from_y] = finder.surface();
            if (from_x != x || from_y != y) found.push_back({x, y, from_x, from_y});
        }
    }
}

}  // namespace layered
