#pragma once
// A guess at what lies behind other sources: where a surface ends before a deeper one,
// the deeper one goes on behind it.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "host/api/image.h"
#include "plugin/layered/diameter_map.h"

namespace layered {

// What is to be seen of a frame; borrowed, and constant meanwhile.
struct visible_picture {
    const Image* colors;
    const diameter_map* diameters;
    float largest;    // blur diameter, pixels
    float tolerance;  // pixels of diameter that are no depth edge

    // How far two signed diameters are apart at a depth edge, at least: it grows with the
    // blur.
    float gap(float a, float b) const {
        return std::max(tolerance, 0.1F * std::max(std::abs(a), std::abs(b)));
    }
};

// How much of a depth edge a step in depth is that is so many gaps high, 0 .. 1: it
// becomes one by degrees.
inline float part_of_edge(float gaps) {
    return std::clamp((gaps - 0.75F) * 0.5F, 0.0F, 1.0F);
}

// Whether a pixel neither hides nor shows anything, and whether it is a colour at all.
inline bool is_empty(const float* pixel) {
    return !(pixel[Image::ALPHA] > 0.0F) && pixel[Image::RED] == 0.0F &&
           pixel[Image::GREEN] == 0.0F && pixel[Image::BLUE] == 0.0F;
}
inline bool is_finite(const float* pixel) {
    return std::isfinite(pixel[Image::RED] + pixel[Image::GREEN] + pixel[Image::BLUE] +
                         pixel[Image::ALPHA]);
}

// Seeds are sown on the nearer side of each depth edge, in the colour of the deeper one.
// A pyramid of their means fills what is between them, finest level first (Gortler et
// al., "The Lumigraph", 1996, call it push-pull).
//
// The steps, each on all threads: sow, join_levels, spread for each of the levels
// spread_levels() - 1 .. 0.
class seed_pyramid {
  public:
    static constexpr std::int32_t BAND_ROWS = 64;  // pixels that one call of `sow` takes
    static constexpr std::int32_t SPREAD_ROWS = 32;  // cells that one of `spread` takes

    // A mean of seeds, or their sum while levels are joined.
    struct cell {
        float weight = 0.0F;
        float red = 0.0F;
        float green = 0.0F;
        float blue = 0.0F;
        float alpha = 0.0F;
        float diameter = 0.0F;  // signed

        void add(const cell& other, float factor);
        cell mean() const;  // with a weight of 1
    };

    // Memory is kept from frame to frame. Throws std::bad_alloc. [render thread]
    void prepare(const visible_picture& picture);
    std::int32_t bands() const;
    // Sows the seeds of a band; false when it has none. [one thread a band]
    void sow(std::int32_t band);
    // Whether any seeds were sown. [render thread, after all bands]
    bool any() const;
    // Makes the upper levels, which are small. [render thread]
    void join_levels();
    static constexpr std::int32_t spread_levels() { return 3; }
    std::int32_t spread_bands(std::int32_t number) const;
    // Fills the empty cells of a part of a level. [one thread a band]
    void spread(std::int32_t number, std::int32_t band);

    // What goes on behind the pixel at (x, y), in a cell whose weight says how much of it
    // there is, 0 .. 1. [any thread, when all is spread]
    cell behind(std::int32_t x, std::int32_t y) const;

    void release() { levels_ = std::vector<level>(); }

  private:
    struct level {
        std::int32_t width = 0;
        std::int32_t height = 0;
        std::vector<cell> cells;

        cell* row(std::int32_t y) { return cells.data() + std::ptrdiff_t{y} * width; }
        const cell* row(std::int32_t y) const {
            return cells.data() + std::ptrdiff_t{y} * width;
        }
        // The mean at half the coordinates of a finer level, from the four cells around.
        cell between(std::int32_t x, std::int32_t y) const;
    };

    bool sow_row(std::int32_t y, cell* cells) const;
    bool sow_pixel(std::int32_t x, std::int32_t y, cell& to) const;
    void sum_up(std::int32_t to, std::int32_t first_row, std::int32_t last_row);
    void fill(std::int32_t number, std::int32_t first_row, std::int32_t last_row);

    visible_picture picture_ = {};
    std::vector<level> levels_;  // the first has a cell for 2 x 2 pixels
    std::vector<char> sown_;     // by band
};

inline seed_pyramid::cell seed_pyramid::behind(std::int32_t x, std::int32_t y) const {
    const level& finest = levels_.front();
    const float own = picture_.diameters->row(y)[x];
    const cell& near = finest.row(y / 2)[x / 2];
    if (!(near.weight > 0.0F) || near.diameter - own < 0.5F * picture_.tolerance)
        return {};
    cell source = finest.between(x, y);
    source.weight =
        part_of_edge((source.diameter - own) / picture_.gap(source.diameter, own));
    return source;
}

}  // namespace layered
