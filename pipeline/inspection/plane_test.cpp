#include "pipeline/inspection/plane_test.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace focusfall {

namespace {

// Five pixels at equal distances in a row, and the same in the rows beside it, half a
// distance away: a cone has straight lines too, but not side by side.
constexpr std::int32_t POINTS = 5;
constexpr std::int32_t ROWS = 3;
// A piece spans a sixth of the picture: the longer, the more a wrong reading bends it.
constexpr std::int32_t STEPS_PER_WIDTH = 24;
// Pieces begin this many times for each of their steps.
constexpr std::int32_t PIECES_PER_STEP = 4;

// Focal lengths in picture widths, from very wide lenses to long ones.
constexpr std::array LENSES{0.4, 0.5, 0.6, 0.7, 0.85, 1.0, 1.2, 1.4, 1.7, 2.0, 2.5};
constexpr double USUAL_LENS = 1.4;  // 50 mm on full frame

// Row by row.
using numbers = std::array<double, static_cast<std::size_t>(ROWS* POINTS)>;

struct piece {
    numbers values;
    numbers radius_sq;  // from the middle, in picture widths squared
};

constexpr std::size_t index_of(std::int32_t row, std::int32_t point) {
    return static_cast<std::size_t>(row) * POINTS + static_cast<std::size_t>(point);
}

bool has_pixels(const piece& p) {
    return std::ranges::all_of(p.values,
                               [](double v) { return std::isfinite(v) && v > 0.0; });
}

// Whether the readings would disagree on the middle row of a plane by three times the
// tolerance.
bool is_steep(const piece& p, double tolerance) {
    const auto* row = &p.values[index_of(ROWS / 2, 0)];
    const auto [low, high] = std::minmax_element(row, row + POINTS);
    const double step = (*high - *low) / (*high * (POINTS - 1));
    return 2.0 * step * step > 3.0 * tolerance;
}

template <class Reading>
bool is_flat(const piece& p, double tolerance, Reading reading) {
    numbers t{};
    for (std::size_t i = 0; i < t.size(); ++i) {
        t[i] = reading(p.values[i], p.radius_sq[i]);
    }
    const double most = tolerance * *std::ranges::max_element(t);
    const auto bends = [&](std::size_t before, std::size_t at, std::size_t behind) {
        return std::abs(t[before] - 2.0 * t[at] + t[behind]) > most;
    };
    for (std::int32_t i = 0; i < POINTS; ++i) {
        if (bends(index_of(0, i), index_of(1, i), index_of(2, i))) return false;
    }
    for (std::int32_t row = 0; row < ROWS; ++row) {
        for (std::int32_t i = 1; i + 1 < POINTS; ++i) {
            const std::size_t at = index_of(row, i);
            if (bends(at - 1, at, at + 1)) return false;
        }
    }
    return true;
}

// The piece whose points lie (dx, dy) apart, one of which is 0, and its rows as above.
piece piece_at(const depth_grid& depth, std::int32_t x, std::int32_t y, std::int32_t dx,
               std::int32_t dy) {
    piece p{};
    for (std::int32_t row = 0; row < ROWS; ++row) {
        for (std::int32_t i = 0; i < POINTS; ++i) {
            const std::int32_t px = x + i * dx + row * (dy / 2);
            const std::int32_t py = y + i * dy + row * (dx / 2);
            const auto pixel =
                static_cast<std::size_t>(py) * static_cast<std::size_t>(depth.width) +
                static_cast<std::size_t>(px);
            const double across = (px + 0.5 - depth.width / 2.0) / depth.width;
            const double up = (py + 0.5 - depth.height / 2.0) / depth.width;
            p.values[index_of(row, i)] = static_cast<double>(depth.values[pixel]);
            p.radius_sq[index_of(row, i)] = across * across + up * up;
        }
    }
    return p;
}

// Calls work(piece) for all pieces of the grid, across and down.
template <class Work>
void for_each_piece(const depth_grid& depth, Work work) {
    const std::int32_t step = std::max(4, depth.width / STEPS_PER_WIDTH);
    const std::int32_t stride = std::max(1, step / PIECES_PER_STEP);
    const std::int32_t reach = (POINTS - 1) * step;
    const std::int32_t side = (ROWS - 1) * (step / 2);
    for (std::int32_t y = 0; y < depth.height; y += stride) {
        for (std::int32_t x = 0; x < depth.width; x += stride) {
            if (x + reach < depth.width && y + side < depth.height) {
                work(piece_at(depth, x, y, step, 0));
            }
            if (x + side < depth.width && y + reach < depth.height) {
                work(piece_at(depth, x, y, 0, step));
            }
        }
    }
}

}  // namespace

plane_evidence tested_for_planes(const depth_grid& depth) {
    const double tolerance = 3e-4 + 4.0 * depth.rounding;
    plane_evidence evidence;
    std::array<std::uint64_t, LENSES.size()> by_lens{};
    for_each_piece(depth, [&](const piece& p) {
        if (!has_pixels(p) || !is_steep(p, tolerance)) return;
        ++evidence.pieces;
        const auto is_planar = [](double v, double) { return 1.0 / v; };
        const auto is_inverse = [](double v, double) { return v; };
        if (is_flat(p, tolerance, is_planar)) ++evidence.planar;
        if (is_flat(p, tolerance, is_inverse)) ++evidence.inverse;
        for (std::size_t i = 0; i < LENSES.size(); ++i) {
            const double focal_sq = LENSES[i] * LENSES[i];
            const auto is_ray = [focal_sq](double v, double radius_sq) {
                return std::sqrt(1.0 + radius_sq / focal_sq) / v;
            };
            if (is_flat(p, tolerance, is_ray)) ++by_lens[i];
        }
    });
    const auto best = std::ranges::max_element(by_lens);
    evidence.ray = *best;
    evidence.ray_lens = LENSES[static_cast<std::size_t>(best - by_lens.begin())];
    const auto usual = std::ranges::find(LENSES, USUAL_LENS);
    evidence.usual_ray = by_lens[static_cast<std::size_t>(usual - LENSES.begin())];
    return evidence;
}

}  // namespace focusfall
