#include "pipeline/pictures/depth_statistics.h"

#include <algorithm>
#include <cmath>

namespace focusfall {

namespace {

constexpr std::size_t BINS = 48;

// Renderers give 1e10, 1e30 or the largest float to rays that met nothing; no scene is a
// million kilometres deep, in millimetres.
constexpr float FARTHEST = 1e9F;
// Maps from 0 to 1 may go a little beyond.
constexpr float UNIT = 1.01F;
// What is left of such a value in a channel of 16 bits.
constexpr float LARGEST_HALF = 65504.0F;

bool says_nothing(float depth) {
    const float size = std::abs(depth);
    return !(size < FARTHEST) || size == LARGEST_HALF;
}

// Calls work(depth, alpha) for every pixel.
template <class Work>
void for_each_pixel(const Image& depth, Image::Component component, const Image& color,
                    Work work) {
    for (std::int32_t y = 0; y < depth.Height(); ++y) {
        for (std::int32_t x = 0; x < depth.Width(); ++x) {
            work(depth.Pixel(x, y)[component], color.Pixel(x, y)[Image::ALPHA]);
        }
    }
}

// The value that occurs most often; NaN is one value like others.
std::optional<float> commonest(std::vector<float> values) {
    if (values.empty()) return std::nullopt;
    const auto broken =
        std::partition(values.begin(), values.end(), [](float v) { return v == v; });
    std::sort(values.begin(), broken);
    auto best = broken;
    auto best_count = values.end() - broken;
    for (auto run = values.begin(); run != broken;) {
        const auto end = std::upper_bound(run, broken, *run);
        if (end - run > best_count) {
            best = run;
            best_count = end - run;
        }
        run = end;
    }
    return *best;
}

void fill_histogram(depth_statistics& s, const std::vector<float>& depths) {
    constexpr float RATIO_TO_SHOW_BY_LOGARITHM = 20.0F;
    s.is_logarithmic =
        s.lowest > 0.0F && s.highest > s.lowest * RATIO_TO_SHOW_BY_LOGARITHM;
    const auto place = [&](float value) {
        return s.is_logarithmic ? std::log(static_cast<double>(value))
                                : static_cast<double>(value);
    };
    const double start = place(s.lowest);
    const double width = place(s.highest) - start;
    s.histogram.assign(BINS, 0);
    for (const float depth : depths) {
        const double part = width > 0.0 ? (place(depth) - start) / width : 0.0;
        ++s.histogram[std::min(BINS - 1, static_cast<std::size_t>(part * BINS))];
    }
}

}  // namespace

bool depth_statistics::is_empty(float depth, float alpha) const {
    return (alpha_counts && !(alpha > 0.0F)) || says_nothing(depth) ||
           (zero_is_empty && depth == 0.0F);
}

depth_statistics statistics_of(const Image& depth, Image::Component component,
                               const Image& color) {
    depth_statistics s;
    for_each_pixel(depth, component, color, [&](float value, float alpha) {
        ++s.pixels;
        if (alpha > 0.0F) s.alpha_counts = true;
        if (!says_nothing(value) && std::abs(value) > UNIT) s.zero_is_empty = true;
    });

    std::vector<float> depths;
    std::vector<float> empties;
    std::uint64_t negative = 0;
    for_each_pixel(depth, component, color, [&](float value, float alpha) {
        if (s.is_empty(value, alpha)) {
            empties.push_back(value);
        } else {
            depths.push_back(std::abs(value));
            if (value < 0.0F) ++negative;
        }
    });
    s.empty = empties.size();
    s.empty_value = commonest(std::move(empties));
    if (depths.empty()) return s;

    s.is_negative = negative > depths.size() / 2;
    const auto ranked = [&](std::size_t rank) {
        const auto place = depths.begin() + static_cast<std::ptrdiff_t>(rank);
        std::nth_element(depths.begin(), place, depths.end());
        return *place;
    };
    s.tenth = ranked(depths.size() / 10);
    s.median = ranked(depths.size() / 2);
    const auto [lowest, highest] = std::ranges::minmax(depths);
    s.lowest = lowest;
    s.highest = highest;
    fill_histogram(s, depths);
    return s;
}

}  // namespace focusfall
