#include "pipeline/preparation/light_steps.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "host/error.h"
#include "host/text.h"

namespace focusfall {

namespace {

// Red, green, blue and alpha come first in a pixel.
constexpr std::int32_t COLORS = Image::ALPHA + 1;

bool is_finite(const float* pixel) {
    return std::all_of(pixel, pixel + COLORS, [](float c) { return std::isfinite(c); });
}

// By the weights of Rec. 709.
float luminance_of(const float* pixel) {
    return 0.2126F * pixel[Image::RED] + 0.7152F * pixel[Image::GREEN] +
           0.0722F * pixel[Image::BLUE];
}

// Calls work(x, y) for the pixels next to one, in the image.
template <class Work>
void for_each_neighbour(const Image& image, const pixel_place& at, Work work) {
    for (std::int32_t y = std::max(at.y - 1, 0);
         y <= std::min(at.y + 1, image.Height() - 1); ++y) {
        for (std::int32_t x = std::max(at.x - 1, 0);
             x <= std::min(at.x + 1, image.Width() - 1); ++x) {
            if (x != at.x || y != at.y) work(x, y);
        }
    }
}

// Fills pixels from their finite neighbours, rim after rim.
class pixel_filling {
  public:
    pixel_filling(Image& image, const std::vector<pixel_place>& pixels) : image_(image) {
        states_.resize(index(0, image.Height()), state::FILLED);
        for (const pixel_place& at : pixels) {
            states_[index(at.x, at.y)] = state::WAITING;
            std::fill_n(image.Pixel(at.x, at.y), COLORS, 0.0F);
        }
        for (const pixel_place& at : pixels) {
            bool at_rim = false;
            for_each_neighbour(image, at, [&](std::int32_t x, std::int32_t y) {
                at_rim = at_rim || states_[index(x, y)] == state::FILLED;
            });
            if (at_rim) rim_.push_back(at);
        }
    }

    // Fills the pixels that have filled neighbours; false when there were none.
    bool fills_next_rim() {
        if (rim_.empty()) return false;
        for (const pixel_place& at : rim_) fill(at);
        for (const pixel_place& at : rim_) states_[index(at.x, at.y)] = state::FILLED;
        std::vector<pixel_place> next;
        for (const pixel_place& at : rim_) {
            for_each_neighbour(image_, at, [&](std::int32_t x, std::int32_t y) {
                state& there = states_[index(x, y)];
                if (there != state::WAITING) return;
                there = state::IN_RIM;
                next.push_back({x, y});
            });
        }
        rim_ = std::move(next);
        return true;
    }

  private:
    enum class state : unsigned char { FILLED, WAITING, IN_RIM };

    std::size_t index(std::int32_t x, std::int32_t y) const {
        return static_cast<std::size_t>(std::int64_t{y} * image_.Width() + x);
    }

    void fill(const pixel_place& at) {
        float* pixel = image_.Pixel(at.x, at.y);
        float count = 0.0F;
        for_each_neighbour(image_, at, [&](std::int32_t x, std::int32_t y) {
            if (states_[index(x, y)] != state::FILLED) return;
            for (std::int32_t i = 0; i < COLORS; ++i) pixel[i] += image_.Pixel(x, y)[i];
            count += 1.0F;
        });
        for (std::int32_t i = 0; i < COLORS; ++i) pixel[i] /= count;
    }

    Image& image_;
    std::vector<state> states_;
    std::vector<pixel_place> rim_;  // next to filled ones
};

}  // namespace

highlight_gain parsed_highlights(const std::string& text) {
    constexpr double LARGEST_GAIN = 1e6;
    const std::size_t comma = text.find(',');
    if (comma != text.npos) {
        const auto gain = headless::number_in(text.substr(0, comma));
        const auto threshold = headless::number_in(text.substr(comma + 1));
        if (gain && threshold && *gain >= 1.0 && *gain <= LARGEST_GAIN &&
            *threshold >= 0.0 && *threshold < 1.0) {
            return {static_cast<float>(*gain), static_cast<float>(*threshold)};
        }
    }
    throw headless::host_error("highlights \"" + text +
                               "\": write GAIN,THRESHOLD, as in 8,0.8: a gain from 1 on "
                               "and a light from 0 to below 1");
}

std::string shown(const highlight_gain& highlights) {
    return headless::shortest(highlights.gain) + "," +
           headless::shortest(highlights.threshold);
}

void lift_highlights(Image& image, const highlight_gain& highlights) {
    for (std::int32_t y = 0; y < image.Height(); ++y) {
        for (std::int32_t x = 0; x < image.Width(); ++x) {
            float* pixel = image.Pixel(x, y);
            const float alpha = pixel[Image::ALPHA];
            const float luminance = luminance_of(pixel);
            const float light = alpha > 0.0F ? luminance / alpha : luminance;
            if (!(light > highlights.threshold)) continue;
            const float part = std::min(
                (light - highlights.threshold) / (1.0F - highlights.threshold), 1.0F);
            const float step = part * part * (3.0F - 2.0F * part);
            const float factor = 1.0F + (highlights.gain - 1.0F) * step;
            for (std::int32_t i = 0; i < Image::ALPHA; ++i) pixel[i] *= factor;
        }
    }
}

std::vector<pixel_place> non_finite_pixels(const Image& image) {
    std::vector<pixel_place> found;
    for (std::int32_t y = 0; y < image.Height(); ++y) {
        for (std::int32_t x = 0; x < image.Width(); ++x) {
            if (!is_finite(image.Pixel(x, y))) found.push_back({x, y});
        }
    }
    return found;
}

std::optional<std::size_t> reach_of(
    const std::vector<pixel_place>& pixels, const Image& image,
    const std::function<float(const pixel_place&)>& diameter_at) {
    constexpr std::size_t QUICKLY_COUNTED = 10'000;
    if (pixels.size() > QUICKLY_COUNTED) return std::nullopt;
    const auto width = static_cast<std::size_t>(image.Width());
    std::vector<bool> reached(width * static_cast<std::size_t>(image.Height()));
    for (const pixel_place& at : pixels) {
        // a kernel is a square with an odd side, and its zeros spread what is infinite
        // too
        const float diameter = std::max(diameter_at(at), 0.0F);
        const float widest = static_cast<float>(std::max(image.Width(), image.Height()));
        const auto radius = static_cast<std::int32_t>(
            std::ceil(std::min(diameter, 2.0F * widest)) / 2.0F);
        const std::int32_t left = std::max(at.x - radius, 0);
        const std::int32_t right = std::min(at.x + radius, image.Width() - 1);
        const std::int32_t bottom = std::min(at.y + radius, image.Height() - 1);
        for (std::int32_t y = std::max(at.y - radius, 0); y <= bottom; ++y) {
            const auto row =
                reached.begin() + static_cast<std::ptrdiff_t>(y) * image.Width();
            std::fill(row + left, row + right + 1, true);
        }
    }
    return static_cast<std::size_t>(std::count(reached.begin(), reached.end(), true));
}

void fill_pixels(Image& image, const std::vector<pixel_place>& pixels) {
    pixel_filling filling(image, pixels);
    while (filling.fills_next_rim()) {
    }
}

}  // namespace focusfall
