#pragma once
// A guess at what lies behind other sources: where a surface ends before a deeper one,
// the deeper one goes on behind it.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "plugin/layered/seed_level.h"
#include "plugin/layered/visible_picture.h"

namespace layered {

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
    bool sow_row(std::int32_t y);
    bool sow_pixel(std::int32_t x, std::int32_t y);
    void sum_up(std::int32_t to, std::int32_t first_row, std::int32_t last_row);
    void fill(std::int32_t number, std::int32_t first_row, std::int32_t last_row);
    // Whether any pixel needs a run of cells of a level.
    bool is_read(std::int32_t number, std::int32_t x, std::int32_t y) const;
    void measure_distances();
    // Of the cells of DISTANCE_LEVEL from (x, y) on: how many cells each is from the
    // nearest with seeds; how many pixels that is, at least; and from how many on none of
    // them are seen.
    const std::int32_t* cells_to_seeds(std::int32_t x, std::int32_t y) const;
    static float pixels_to_seeds(std::int32_t cells);
    float reach_of_seeds() const;

    visible_picture picture_ = {};
    std::vector<seed_level> levels_;  // the first has a cell for 2 x 2 pixels
    std::vector<char> sown_;          // by band
    // With a border of a cell.
    std::vector<std::int32_t> cells_to_seeds_;
};

}  // namespace layered
