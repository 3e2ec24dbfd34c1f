#pragma once
// What lies behind other sources, guessed: where a surface ends before a deeper one, the
// deeper one goes on behind it.

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "host/api/image.h"
#include "plugin/fast/gather/gather.h"
#include "plugin/layered/depth_layers.h"
#include "plugin/layered/diameter_map.h"

namespace layered {

// The hidden sources of 64 pixels of a row, one plane for each quantity as in
// gather::source_planes, and where they lie in depth: at least two layers behind the
// source before them, so that no layer has two sources of one pixel. Pixels without a
// hidden source lie at depth_layers::NOWHERE.
//
// Where there is no closed form, SHAPE is the blur diameter in pixels and WEIGHT how much
// of the source there is.
struct hidden_run {
    static constexpr std::int32_t POSITION = gather::source_planes::PLANES;

    float planes[POSITION + 1][gather::BLOCK_COLUMNS];
    std::uint32_t layers;  // those that some of the sources are of
};

// What the guess follows from; borrowed, and constant meanwhile.
struct visible_picture {
    const Image* colors;
    const diameter_map* diameters;
    const depth_layers* layers;
    const gather::closed_form* form;    // null: none
    const gather::kernel_terms* terms;  // by index in the kernel table, with a form
    std::size_t last;                   // that table's last index
    float largest;                      // blur diameter, pixels
    float tolerance;                    // pixels of diameter that are no depth edge
    bool keep_transparent;              // pixels with an alpha of 0 are sources
};

// Seeds are sown on the nearer side of each depth edge, in the colour of the deeper one.
// A pyramid of their means fills what is between them, finest level first (Gortler et
// al., "The Lumigraph", 1996, call it push-pull).
//
// The steps, each on all threads: sow, join_levels, spread for each of the levels
// spread_levels() - 1 .. 0, load.
class hidden_sources {
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
    // Makes the sources of a row of blocks and widens what is known of the blocks by
    // them. Throws std::bad_alloc. [one thread a row of blocks]
    void load(std::int32_t block_row, gather::block_grid::block* blocks);

    // The sources of the pixels of block `column` in row y; null where there are none.
    const hidden_run* run_at(std::int32_t column, std::int32_t y) const {
        const row_of_blocks& row =
            rows_[static_cast<std::size_t>(y / gather::BLOCK_ROWS)];
        const std::int32_t run = row.index[static_cast<std::size_t>(
            y % gather::BLOCK_ROWS * columns_ + column)];
        return run < 0 ? nullptr : &row.runs[static_cast<std::size_t>(run)];
    }
    void release();

  private:
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
    struct row_of_blocks {
        std::vector<std::int32_t> index;  // of the run of each row and block; -1: none
        std::vector<hidden_run> runs;
    };

    // How far two signed diameters are apart at a depth edge, at least.
    float gap(float a, float b) const;
    bool sow_row(std::int32_t y, cell* cells) const;
    bool sow_pixel(std::int32_t x, std::int32_t y, cell& to) const;
    void sum_up(std::int32_t to, std::int32_t first_row, std::int32_t last_row);
    void fill(std::int32_t number, std::int32_t first_row, std::int32_t last_row);
    bool load_run(std::int32_t x, std::int32_t y, std::int32_t columns,
                  gather::block_grid::block& block, hidden_run& run) const;
    void store(const cell& source, float own, std::int32_t i,
               gather::block_grid::block& block, hidden_run& run) const;

    visible_picture picture_ = {};
    std::int32_t columns_ = 0;   // blocks
    std::vector<level> levels_;  // the first has a cell for 2 x 2 pixels
    std::vector<char> sown_;     // by band
    std::vector<row_of_blocks> rows_;
};

}  // namespace layered
