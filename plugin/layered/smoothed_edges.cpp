#include "plugin/layered/smoothed_edges.h"

#include <limits>

#include "plugin/fast/gather/tiling.h"

using gather::BLOCK_COLUMNS;

namespace layered {

namespace {

// How far surfaces may go on unevenly beyond an edge, as a part of the step between them.
constexpr float EVEN = 0.1F;
// So near to the front surface a pixel belongs to it: a part of the step, and so many
// times what the surface changes by from pixel to pixel.
constexpr float AT_FRONT = 0.03F;
constexpr float BEND = 2.0F;
// How much brighter than both surfaces a mean of them may be, for noise.
constexpr float BRIGHTER = 1.1F;

struct step {
    std::int32_t x;
    std::int32_t y;
};
constexpr step LINES[] = {{1, 0}, {0, 1}, {1, 1}, {1, -1}};

// How far the two surfaces lie from the pixel between them.
struct span {
    std::int32_t before;
    std::int32_t after;
};
constexpr span SPANS[] = {{1, 1}, {1, 2}, {2, 1}};

float brightness(const float* pixel) {
    return std::max({pixel[Image::RED], pixel[Image::GREEN], pixel[Image::BLUE]});
}

// Looks along the lines through one pixel.
class line_finder {
  public:
    line_finder(const visible_picture& picture, float max_coc, std::int32_t x,
                std::int32_t y)
        : picture_(picture), max_coc_(max_coc), x_(x), y_(y), own_(at({x, y})) {}

    // The pixel whose depth it gets; itself when its depth is one.
    step surface() const {
        step best = {x_, y_};
        float highest = 0.0F;
        for (const step& line : LINES) {
            for (const span& s : SPANS) {
                const float a = along(line, -s.before);
                const float b = along(line, s.after);
                const float height = std::abs(a - b);
                if (!(height > highest && height >= picture_.gap(a, b))) continue;
                const float a_goes_on = std::abs(a - along(line, -s.before - 1));
                const float b_goes_on = std::abs(b - along(line, s.after + 1));
                if (std::max(a_goes_on, b_goes_on) > EVEN * height) continue;
                const step from = place(line, -s.before);
                const step to = place(line, s.after);
                // surfaces may bend away at their edges
                const float at_front =
                    AT_FRONT * height + BEND * (a < b ? a_goes_on : b_goes_on);
                if (!(own_ > std::min(a, b) + at_front && own_ < std::max(a, b)) ||
                    is_light(from, to)) {
                    continue;
                }
                highest = height;
                best = is_nearer(std::min(a, b), std::max(a, b)) == (a < b) ? from : to;
            }
        }
        return best;
    }

  private:
    step place(const step& line, std::int32_t count) const {
        return {std::clamp(x_ + count * line.x, 0, picture_.diameters->width() - 1),
                std::clamp(y_ + count * line.y, 0, picture_.diameters->height() - 1)};
    }
    float at(const step& to) const { return picture_.diameters->row(to.y)[to.x]; }
    float along(const step& line, std::int32_t count) const {
        return at(place(line, count));
    }

    bool is_light(const step& a, const step& b) const {
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
    // Whether a mean of two surfaces holds more of the nearer one.
    bool is_nearer(float front, float back) const {
        const float z = distance(front);
        // the front also where only infinities are left
        return !(distance(own_) - z >= 0.5F * (distance(back) - z));
    }

    const visible_picture& picture_;
    const float max_coc_;
    const std::int32_t x_;
    const std::int32_t y_;
    const float own_;
};

// Which of `columns` pixels are worth a look: in one of the directions, at least one side
// of a step goes on evenly. `rows` are those from two above to two below, at the first
// pixel.
void mark_steps(const float* const (&rows)[5], float tolerance, std::int32_t columns,
                bool* marked) {
    std::fill_n(marked, columns, false);
    for (const step& line : LINES) {
        const float* const a = rows[2 - 2 * line.y] - 2 * line.x;
        const float* const b = rows[2 - line.y] - line.x;
        const float* const c = rows[2 + line.y] + line.x;
        const float* const d = rows[2 + 2 * line.y] + 2 * line.x;
        for (std::int32_t i = 0; i < columns; ++i) {
            const float height = std::abs(d[i] - a[i]);
            const float even = std::min(std::abs(b[i] - a[i]), std::abs(d[i] - c[i]));
            marked[i] = marked[i] | ((height >= tolerance) & (even <= EVEN * height));
        }
    }
}

}  // namespace

void find_smoothed(const visible_picture& picture, float max_coc, std::int32_t y,
                   std::vector<smoothed_pixel>& found) {
    const diameter_map& map = *picture.diameters;
    for (std::int32_t x = 0; x < map.width(); x += BLOCK_COLUMNS) {
        const std::int32_t columns = std::min(BLOCK_COLUMNS, map.width() - x);
        const float* rows[5];
        for (std::int32_t i = 0; i < 5; ++i)
            rows[i] = map.row(std::clamp(y + i - 2, 0, map.height() - 1)) + x;
        bool marked[BLOCK_COLUMNS];
        mark_steps(rows, picture.tolerance, columns, marked);
        for (std::int32_t i = 0; i < columns; ++i) {
            if (!marked[i]) continue;
            const step from = line_finder(picture, max_coc, x + i, y).surface();
            if (from.x == x + i && from.y == y) continue;
            found.push_back({x + i, y, from.x, from.y});
        }
    }
}

}  // namespace layered
