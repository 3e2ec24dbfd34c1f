#include "pipeline/inspection/plane_test.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace focusfall {

namespace {

// Five pixels at equal distances in a row.
constexpr std::int32_t POINTS = 5;
// A run spans a sixth of the picture: the longer, the more a wrong reading bends it.
constexpr std::int32_t STEPS_PER_WIDTH = 24;
// Runs begin this many times for each of their steps.
constexpr std::int32_t RUNS_PER_STEP = 4;

// Focal lengths in picture widths, from very wide lenses to long ones.
constexpr std::array LENSES{0.4, 0.5, 0.6, 0.7, 0.85, 1.0, 1.2, 1.4, 1.7, 2.0, 2.5};
constexpr double USUAL_LENS = 1.4;  // 50 mm on full frame

struct run {
    std::array<double, POINTS> values;
    std::array<double, POINTS> radius_sq;  // from the middle, in picture widths squared
};

bool has_pixels(const run& r) {
    return std::ranges::all_of(r.values,
                               [](double v) { return std::isfinite(v) && v > 0.0; });
}

// Whether the readings would disagree on a plane by three times the tolerance.
bool is_steep(const run& r, double tolerance) {
    const auto [low, high] = std::ranges::minmax(r.values);
    const double step = (high - low) / (high * (POINTS - 1));
    return 2.0 * step * step > 3.0 * tolerance;
}

template <class Reading>
bool is_straight(const run& r, double tolerance, Reading reading) {
    std::array<double, POINTS> t{};
    for (std::size_t i = 0; i < POINTS; ++i) t[i] = reading(r.values[i], r.radius_sq[i]);
    const double largest = *std::ranges::max_element(t);
    for (std::size_t i = 1; i + 1 < POINTS; ++i) {
        const double bend = t[i - 1] - 2.0 * t[i] + t[i + 1];
        if (std::abs(bend) > tolerance * largest) return false;
    }
    return true;
}

run run_at(const depth_grid& depth, std::int32_t x, std::int32_t y, std::int32_t dx,
           std::int32_t dy) {
    run r{};
    for (std::int32_t i = 0; i < POINTS; ++i) {
        const std::int32_t px = x + i * dx;
        const std::int32_t py = y + i * dy;
        const auto index =
            static_cast<std::size_t>(py) * static_cast<std::size_t>(depth.width) +
            static_cast<std::size_t>(px);
        const double across = (px + 0.5 - depth.width / 2.0) / depth.width;
        const double up = (py + 0.5 - depth.height / 2.0) / depth.width;
        const auto at = static_cast<std::size_t>(i);
        r.values[at] = static_cast<double>(depth.values[index]);
        r.radius_sq[at] = across * across + up * up;
    }
    return r;
}

// Calls work(run) for all runs of the grid, across and down.
template <class Work>
void for_each_run(const depth_grid& depth, Work work) {
    const std::int32_t step = std::max(4, depth.width / STEPS_PER_WIDTH);
    const std::int32_t stride = std::max(1, step / RUNS_PER_STEP);
    const std::int32_t reach = (POINTS - 1) * step;
    for (std::int32_t y = 0; y < depth.height; y += stride) {
        for (std::int32_t x = 0; x < depth.width; x += stride) {
            if (x + reach < depth.width) work(run_at(depth, x, y, step, 0));
            if (y + reach < depth.height) work(run_at(depth, x, y, 0, step));
        }
    }
}

}  // namespace

plane_evidence tested_for_planes(const depth_grid& depth) {
    const double tolerance = 3e-4 + 4.0 * depth.rounding;
    plane_evidence evidence;
    std::array<std::uint64_t, LENSES.size()> by_lens{};
    for_each_run(depth, [&](const run& r) {
        if (!has_pixels(r) || !is_steep(r, tolerance)) return;
        ++evidence.runs;
        const auto is_planar = [](double v, double) { return 1.0 / v; };
        const auto is_inverse = [](double v, double) { return v; };
        if (is_straight(r, tolerance, is_planar)) ++evidence.planar;
        if (is_straight(r, tolerance, is_inverse)) ++evidence.inverse;
        for (std::size_t i = 0; i < LENSES.size(); ++i) {
            const double focal_sq = LENSES[i] * LENSES[i];
            const auto is_ray = [focal_sq](double v, double radius_sq) {
                return std::sqrt(1.0 + radius_sq / focal_sq) / v;
            };
            if (is_straight(r, tolerance, is_ray)) ++by_lens[i];
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
