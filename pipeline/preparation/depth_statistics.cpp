#include "pipeline/preparation/depth_statistics.h"

#include <algorithm>
#include <cmath>

namespace focusfall {

namespace {

constexpr std::size_t BINS = 48;

// Calls work(depth, whether it is empty) for every pixel from row `first` to `end`.
template <class Work>
void for_each_pixel(const Image& depth, Image::Component component, const Image& color,
                    const empty_pixels& empty, std::int32_t first, std::int32_t end,
                    Work work) {
    for (std::int32_t y = first; y < end; ++y) {
        for (std::int32_t x = 0; x < depth.Width(); ++x) {
            const float value = depth.Pixel(x, y)[component];
            work(value, empty.holds(value, color.Pixel(x, y)[Image::ALPHA]));
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

depth_statistics statistics_of(const Image& depth, Image::Component component,
                               const Image& color, const empty_pixels& empty) {
    std::vector<float> depths;
    std::vector<float> empties;
    std::uint64_t negative = 0;
    const auto sort_in = [&](float value, bool is_empty) {
        if (is_empty) {
            empties.push_back(value);
        } else {
            depths.push_back(std::abs(value));
            if (value < 0.0F) ++negative;
        }
    };
    for_each_pixel(depth, component, color, empty, 0, depth.Height(), sort_in);

    depth_statistics s;
    s.pixels = depths.size() + empties.size();
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

double rise_to_bottom(const Image& depth, Image::Component component, const Image& color,
                      const empty_pixels& empty) {
    float lowest = INFINITY;
    float highest = 0.0F;
    const auto mean_of_rows = [&](std::int32_t first, std::int32_t end) {
        double sum = 0.0;
        std::uint64_t count = 0;
        for_each_pixel(depth, component, color, empty, first, end,
                       [&](float value, bool is_empty) {
                           if (is_empty) return;
                           const float size = std::abs(value);
                           lowest = std::min(lowest, size);
                           highest = std::max(highest, size);
                           sum += double{size};
                           ++count;
                       });
        return count > 0 ? sum / static_cast<double>(count) : std::nan("");
    };
    const std::int32_t height = depth.Height();
    const double top = mean_of_rows(0, height / 3);
    mean_of_rows(height / 3, height - height / 3);
    const double bottom = mean_of_rows(height - height / 3, height);
    const double rise = (bottom - top) / (double{highest} - double{lowest});
    return std::isfinite(rise) ? rise : 0.0;
}

}  // namespace focusfall
