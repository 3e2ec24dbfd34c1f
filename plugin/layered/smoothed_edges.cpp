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
        : picture_(picture), max_coc_(max_coc), x_(x), y_(y) {}

    // The pixel whose depth it gets; itself when its depth is one. Bit l of `lines` says
    // whether line l is looked at.
    step surface(std::int32_t lines) {
        step best = {x_, y_};
        float highest = 0.0F;
        for (const step& line : LINES) {
            const bool is_looked_at = (lines & 1) != 0;
            lines >>= 1;
            if (!is_looked_at) continue;
            for (std::int32_t i = -REACH; i <= REACH; ++i) {
                const step to = place(line, i);
                line_[REACH + i] = picture_.diameters->row(to.y)[to.x];
            }
            for (const span& s : SPANS) {
                const float height = std::abs(at(s.after) - at(-s.before));
                if (!(height > highest) || !is_between(s, height)) continue;
                const step from = place(line, -s.before);
                const step to = place(line, s.after);
                if (is_light(from, to)) continue;
                highest = height;
                best = belongs_to_first(s) ? from : to;
            }
        }
        return best;
    }

  private:
    static constexpr std::int32_t REACH = 3;

    step place(const step& line, std::int32_t count) const {
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
    float line_[2 * REACH + 1] = {};  // the diameters along it
};

// Rows from two above to two below one, at the first pixel of a run of BLOCK_COLUMNS.
using rows_around = const float* const[5];

// Whether the run has steps at all; most have none.
bool has_steps(const rows_around& rows, float tolerance) {
    std::int32_t steps = 0;
    for (std::int32_t i = 0; i < BLOCK_COLUMNS; ++i) {
        const float across = std::abs(rows[2][i + 2] - rows[2][i - 2]);
        const float down = std::abs(rows[4][i] - rows[0][i]);
        steps += (across >= tolerance ? 1 : 0) | (down >= tolerance ? 1 : 0);
    }
    return steps > 0;
}

// Sets bit l of a pixel's mark where line l is worth a look: the pixel lies between its
// neighbours there, on a step that goes on evenly on one side.
void mark_steps(const rows_around& rows, float tolerance, std::int32_t* marks) {
    std::fill_n(marks, BLOCK_COLUMNS, 0);
    const float* const own = rows[2];
    std::int32_t bit = 1;
    for (const step& line : LINES) {
        const float* const a = rows[2 - 2 * line.y] - 2 * line.x;
        const float* const b = rows[2 - line.y] - line.x;
        const float* const c = rows[2 + line.y] + line.x;
        const float* const d = rows[2 + 2 * line.y] + 2 * line.x;
        for (std::int32_t i = 0; i < BLOCK_COLUMNS; ++i) {
            const float height = std::abs(d[i] - a[i]);
            const float before = std::abs(b[i] - a[i]);
            const float after = std::abs(d[i] - c[i]);
            const float even = before < after ? before : after;
            const float rise = (own[i] - b[i]) * (c[i] - own[i]);
            const std::int32_t is_step =
                (height >= tolerance ? 1 : 0) & (even <= EVEN * height ? 1 : 0);
            marks[i] |= is_step & (rise > 0.0F ? 1 : 0) ? bit : 0;
        }
        bit <<= 1;
    }
}

}  // namespace

void find_smoothed(const visible_picture& picture, float max_coc, std::int32_t y,
                   std::vector<smoothed_pixel>& found) {
    const diameter_map& map = *picture.diameters;
    for (std::int32_t x = 0; x < map.width(); x += BLOCK_COLUMNS) {
        const std::int32_t columns = std::min(BLOCK_COLUMNS, map.width() - x);
        const auto row = [&](std::int32_t above) {
            return map.row(std::clamp(y + above, 0, map.height() - 1)) + x;
        };
        const rows_around rows = {row(-2), row(-1), row(0), row(1), row(2)};
        if (!has_steps(rows, picture.tolerance)) continue;
        std::int32_t marks[BLOCK_COLUMNS];
        mark_steps(rows, picture.tolerance, marks);
        for (std::int32_t i = 0; i < columns; ++i) {
            if (marks[i] == 0) continue;
            const step from = line_finder(picture, max_coc, x + i, y).surface(marks[i]);
            if (from.x == x + i && from.y == y) continue;
            found.push_back({x + i, y, from.x, from.y});
        }
    }
}

}  // namespace layered
