#pragma once
// A guess at what lies behind other sources: where a surface ends before a deeper one,
// the deeper one goes on behind it.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "plugin/fast/gather/aligned_floats.h"
#include "plugin/fast/gather/tiling.h"
#include "plugin/layered/visible_picture.h"

namespace layered {

// How much of a depth edge a step in depth is that is so many gaps high, 0 .. 1: it
// becomes one by degrees.
inline float part_of_edge(float gaps) {
    return std::clamp((gaps - 0.75F) * 0.5F, 0.0F, 1.0F);
}

// What goes on behind up to BLOCK_COLUMNS pixels of a row, or cells of a level: for each
// quantity their values side by side.
struct seed_run {
    // Where WEIGHT is 0, nothing is known, and the others mean nothing.
    enum quantity : std::int32_t {
        WEIGHT,
        RED,
        GREEN,
        BLUE,
        ALPHA,
        DIAMETER,
        QUANTITIES
    };

    float values[QUANTITIES][gather::BLOCK_COLUMNS];
};

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

    // What goes on behind the pixels of block `x / BLOCK_COLUMNS` in row y; a weight says
    // how much of it there is, 0 .. 1. False where there is nothing, and `to` is not
    // filled. [any thread, when all is spread]
    bool behind(std::int32_t x, std::int32_t y, std::int32_t columns, seed_run& to) const;

    void release();

  private:
    // Sums of seeds while levels are joined, then their means, with a weight of 1. Rows
    // have a column more on either side, which repeats the outermost.
    struct level {
        std::int32_t width = 0;
        std::int32_t height = 0;
        std::ptrdiff_t stride = 0;  // floats, from quantity to quantity
        gather::aligned_floats floats;

        void resize(std::int32_t new_width, std::int32_t new_height);
        // Column 0 of a row.
        float* row(std::int32_t y, std::int32_t quantity) {
            return floats.data() + index(y, quantity);
        }
        const float* row(std::int32_t y, std::int32_t quantity) const {
            return floats.data() + index(y, quantity);
        }
        // Sums up the cells of the finer level `from`, for a run of cells from (x, y) on.
        void sum_up(const level& from, std::int32_t x, std::int32_t y);
        // The means at half the coordinates of a finer level, each from the four cells
        // around, for `columns` places from (x, y) on; x is even.
        void between(std::int32_t x, std::int32_t y, std::int32_t columns,
                     seed_run& to) const;

      private:
        static constexpr std::ptrdiff_t MARGIN = 16;  // floats, a cache line

        std::ptrdiff_t index(std::int32_t y, std::int32_t quantity) const {
            return (std::ptrdiff_t{y} * seed_run::QUANTITIES + quantity) * stride +
                   MARGIN;
        }
    };

    bool sow_row(std::int32_t y);
    bool sow_pixel(std::int32_t x, std::int32_t y);
    void add_seed(const float* seed, float weight, std::int32_t x, std::int32_t y);
    void sum_up(std::int32_t to, std::int32_t first_row, std::int32_t last_row);
    void fill(std::int32_t number, std::int32_t first_row, std::int32_t last_row);
    void fill_run(std::int32_t number, std::int32_t x, std::int32_t y);
    void measure_distances();
    // Whether what goes on behind pixels can be seen, 1 or 0: it is not where all that
    // its blur reaches is covered by the surface in front. False where no pixel's can.
    bool find_seen(std::int32_t x, std::int32_t y, std::int32_t columns,
                   float* seen) const;

    visible_picture picture_ = {};
    std::vector<level> levels_;  // the first has a cell for 2 x 2 pixels
    std::vector<char> sown_;     // by band
    // How many cells of DISTANCE_LEVEL each of them is from the nearest with seeds.
    std::vector<std::int32_t> cells_to_seeds_;
};

}  // namespace layered
