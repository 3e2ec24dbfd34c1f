#include "pipeline/preparation/scaled_map.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>
#include <vector>

namespace focusfall {

namespace {

using tint = std::array<float, 3>;

// As bright as it looks, about: the root of the light from 0 to 1.
tint tint_of(const float* pixel) {
    tint seen{};
    for (std::size_t i = 0; i < seen.size(); ++i) {
        const float light = pixel[i];
        seen[i] = std::sqrt(light > 0.0F ? std::min(light, 1.0F) : 0.0F);
    }
    return seen;
}

float squared_distance(const tint& a, const tint& b) {
    float sum = 0.0F;
    for (std::size_t i = 0; i < a.size(); ++i) sum += (a[i] - b[i]) * (a[i] - b[i]);
    return sum;
}

// One axis of the stretch.
struct axis {
    std::int64_t first = 0;    // pixel of the picture
    std::int64_t pixels = 0;   // that the map is stretched over
    std::int32_t samples = 0;  // of the map

    // Where the centre of a pixel falls, counted from the centre of the first sample.
    float sample_at(std::int64_t pixel) const {
        const double part =
            (static_cast<double>(pixel - first) + 0.5) / static_cast<double>(pixels);
        return static_cast<float>(part * samples - 0.5);
    }
    std::int32_t clamped(std::int32_t sample) const {
        return std::clamp(sample, 0, samples - 1);
    }
    // The pixels whose mean colour stands for a sample: those it covers, at least one.
    std::pair<std::int32_t, std::int32_t> covered(std::int32_t sample) const {
        const std::int64_t start = sample * pixels / samples;
        const std::int64_t end = (sample + 1) * pixels / samples;
        return {static_cast<std::int32_t>(first + start),
                static_cast<std::int32_t>(first + std::max(end, start + 1))};
    }
};

// The mean tint of the picture under each sample of the map.
std::vector<tint> tints_of_samples(const Image& picture, const axis& across,
                                   const axis& down) {
    std::vector<tint> tints;
    tints.reserve(static_cast<std::size_t>(across.samples) *
                  static_cast<std::size_t>(down.samples));
    for (std::int32_t row = 0; row < down.samples; ++row) {
        const auto [top, bottom] = down.covered(row);
        for (std::int32_t column = 0; column < across.samples; ++column) {
            const auto [left, right] = across.covered(column);
            tint sum{};
            for (std::int32_t y = top; y < bottom; ++y) {
                for (std::int32_t x = left; x < right; ++x) {
                    const tint seen = tint_of(picture.Pixel(x, y));
                    for (std::size_t i = 0; i < sum.size(); ++i) sum[i] += seen[i];
                }
            }
            const auto count = static_cast<float>((bottom - top) * (right - left));
            for (float& component : sum) component /= count;
            tints.push_back(sum);
        }
    }
    return tints;
}

// Chooses the sample of the map for a pixel of the picture.
class guided_choice {
  public:
    guided_choice(const Image& map, const Image& picture, const window& inside)
        : map_(map),
          picture_(picture),
          across_{inside.x, inside.width, map.Width()},
          down_{inside.y, inside.height, map.Height()},
          tints_(tints_of_samples(picture, across_, down_)) {}

    const float* sample_for(std::int32_t x, std::int32_t y) const {
        const float column = across_.sample_at(x);
        const float row = down_.sample_at(y);
        const auto before = static_cast<std::int32_t>(std::floor(column));
        const auto above = static_cast<std::int32_t>(std::floor(row));
        const tint seen = tint_of(picture_.Pixel(x, y));
        float lowest = INFINITY;
        const float* chosen = nullptr;
        for (const std::int32_t r : {above, above + 1}) {
            for (const std::int32_t c : {before, before + 1}) {
                const std::int32_t sx = across_.clamped(c);
                const std::int32_t sy = down_.clamped(r);
                const float score =
                    squared(column - static_cast<float>(c)) +
                    squared(row - static_cast<float>(r)) +
                    squared_distance(seen, tint_of_sample(sx, sy)) / squared(TINT_STEP);
                if (score >= lowest) continue;
                lowest = score;
                chosen = map_.Pixel(sx, sy);
            }
        }
        return chosen;
    }

  private:
    // counts as much as the distance from sample to sample
    static constexpr float TINT_STEP = 0.1F;

    static constexpr float squared(float value) { return value * value; }
    const tint& tint_of_sample(std::int32_t x, std::int32_t y) const {
        return tints_[static_cast<std::size_t>(std::int64_t{y} * across_.samples + x)];
    }

    const Image& map_;
    const Image& picture_;
    axis across_;
    axis down_;
    std::vector<tint> tints_;
};

}  // namespace

Owned<Image> scaled_map(const Image& map, const Image& picture, const window& inside) {
    const std::int32_t components = map.Components();
    Owned<Image> scaled(new Image(picture.Width(), picture.Height(), components));
    std::fill_n(scaled->Pixel(0, 0),
                std::int64_t{picture.Width()} * picture.Height() * components, 0.0F);
    const guided_choice choice(map, picture, inside);
    for (std::int64_t y = inside.y; y < inside.y + inside.height; ++y) {
        for (std::int64_t x = inside.x; x < inside.x + inside.width; ++x) {
            const auto px = static_cast<std::int32_t>(x);
            const auto py = static_cast<std::int32_t>(y);
            std::copy_n(choice.sample_for(px, py), components, scaled->Pixel(px, py));
        }
    }
    return scaled;
}

}  // namespace focusfall
