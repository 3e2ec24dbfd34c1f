#pragma once
// A level of the pyramid that guesses at what lies behind other sources.

#include <cstddef>
#include <cstdint>

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

// Cells with sums of seeds while levels are joined, then with their means and a weight of
// 1. Rows have a column more on either side, which repeats the outermost. The functions
// that take a run are about the cells of row y from x on, a multiple of BLOCK_COLUMNS.
// [any thread; one writes a row]
class seed_level {
  public:
    // The cells are unset; memory is kept. Throws std::bad_alloc.
    void resize(std::int32_t width, std::int32_t height);
    std::int32_t width() const { return width_; }
    std::int32_t height() const { return height_; }

    // Column 0 of a row.
    float* row(std::int32_t y, std::int32_t quantity) {
        return floats_.data() + index(y, quantity);
    }
    const float* row(std::int32_t y, std::int32_t quantity) const {
        return floats_.data() + index(y, quantity);
    }

    // Leaves a row without seeds: where the weight is 0, the other quantities are not
    // read.
    void clear_row(std::int32_t y);
    void add_seed(const float* seed, float weight, std::int32_t x, std::int32_t y) {
        float* sum = row(y, seed_run::WEIGHT) + x;
        const bool is_first = !(*sum > 0.0F);
        for (std::int32_t q = 0; q < seed_run::QUANTITIES; ++q, sum += stride_)
            *sum = (is_first ? 0.0F : *sum) + weight * seed[q];
    }
    // Makes the sums of a row from those of a level twice as fine.
    void sum_up_row(const seed_level& fine, std::int32_t y);
    // Makes means from the sums of a run; cells without seeds, and by degrees those whose
    // seeds weigh little, get what goes on there by the next coarser level, if any.
    void fill_run(const seed_level* coarse, std::int32_t x, std::int32_t y);
    void fill_margins(std::int32_t y);
    // What goes on behind the `columns` pixels of the picture from (x, y) on, by the
    // finest level; a weight says how much of it there is, 0 .. 1. False where nothing
    // can be seen of it, and `to` is not filled: all that its blur reaches is covered by
    // the surface in front. `distances` are those to the nearest seeds, at least, from
    // each DISTANCE_SIDE pixels of the run.
    bool means_behind(const visible_picture& picture, std::int32_t x, std::int32_t y,
                      std::int32_t columns, const float* distances, seed_run& to) const;
    static constexpr std::int32_t DISTANCE_SIDE = 8;

  private:
    static constexpr std::ptrdiff_t MARGIN = 16;  // floats, a cache line

    std::ptrdiff_t index(std::int32_t y, std::int32_t quantity) const {
        return (std::ptrdiff_t{y} * seed_run::QUANTITIES + quantity) * stride_ + MARGIN;
    }

    std::int32_t width_ = 0;
    std::int32_t height_ = 0;
    std::ptrdiff_t stride_ = 0;  // floats, from quantity to quantity
    gather::aligned_floats floats_;
};

}  // namespace layered
