#pragma once
// What lies behind other sources: what a picture of the background shows there, or else a
// guess.

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <vector>

#include "host/api/image.h"
#include "plugin/fast/gather/gather.h"
#include "plugin/layered/depth_layers.h"
#include "plugin/layered/mixed_edges.h"
#include "plugin/layered/seed_pyramid.h"

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

// How sources are blurred; borrowed, and constant meanwhile.
struct source_kind {
    const depth_layers* layers;
    const gather::closed_form* form;    // null: none
    const gather::kernel_terms* terms;  // by index in the kernel table, with a form
    std::size_t last;                   // that table's last index
    bool keep_transparent;              // pixels with an alpha of 0 are sources
};

// A picture of what lies behind the visible one, as large. Borrowed, and constant
// meanwhile.
struct background_picture {
    const Image* colors = nullptr;  // null: there is none
    // The signed diameters that `columns` of its pixels from (x, y) on have. [any thread]
    std::function<void(std::int32_t x, std::int32_t y, std::int32_t columns, float* to)>
        diameters = {};
};

// The background comes first. It is a source where it lies deeper than the visible one,
// and where that is transparent, however deep it lies. Behind pixels where it is neither,
// or shows nothing, the guess goes on.
class hidden_sources {
  public:
    // Memory is kept from frame to frame. Without a guess there is none. Throws
    // std::bad_alloc. [render thread]
    void prepare(const visible_picture& picture, const seed_pyramid* guess,
                 const background_picture& background, const source_kind& kind);
    // The parts of mixed pixels that a surface before them has, by row of blocks; they
    // are sources as hidden ones are. Borrowed until all rows are loaded.
    void add_mixed(const std::vector<std::vector<mixed_pixel>>& mixed) {
        mixed_ = &mixed;
    }
    // Makes the sources of a row of blocks and widens what is known of the blocks by
    // them. Throws std::bad_alloc. [one thread a row of blocks]
    void load(std::int32_t block_row, gather::block_grid::block* blocks);
    // Whether there are any. [render thread, after all rows]
    bool any() const;

    // Whether block `column` of the row of blocks with row y may have some of that layer.
    bool has(std::int32_t layer, std::int32_t column, std::int32_t y) const {
        const row_of_blocks& row =
            rows_[static_cast<std::size_t>(y / gather::BLOCK_ROWS)];
        return (row.layers[static_cast<std::size_t>(column)] >> layer & 1U) != 0;
    }
    // The sources of the pixels of block `column` in row y; null where there are none.
    const hidden_run* run_at(std::int32_t column, std::int32_t y) const {
        const row_of_blocks& row =
            rows_[static_cast<std::size_t>(y / gather::BLOCK_ROWS)];
        const std::ptrdiff_t below = y % gather::BLOCK_ROWS;
        return row.by_place[static_cast<std::size_t>(below * columns_ + column)];
    }
    void release();

  private:
    struct hidden_source {
        float weight = 0.0F;  // 0: none
        float red = 0.0F;
        float green = 0.0F;
        float blue = 0.0F;
        float alpha = 0.0F;
        float diameter = 0.0F;  // signed
    };
    struct row_of_blocks {
        std::vector<const hidden_run*> by_place;  // row by row; null: none
        std::vector<std::uint32_t> layers;        // by block: those of its runs
        std::deque<hidden_run> runs;  // those of an earlier frame are used again
        std::size_t used = 0;
    };

    bool load_run(std::int32_t x, std::int32_t y, std::int32_t columns,
                  gather::block_grid::block& block, hidden_run& run) const;
    static hidden_source source_of(const seed_run& guess, std::int32_t i);
    // The background's source at (x, y), of that diameter.
    hidden_source background_at(std::int32_t x, std::int32_t y, float diameter) const;
    // Stores the mixed pixels of the run; false where there are none.
    bool store_mixed(std::int32_t x, std::int32_t y, bool any,
                     gather::block_grid::block& block, hidden_run& run) const;
    // Where that lies which hides others at (x, y).
    float own_diameter(std::int32_t x, std::int32_t y) const;
    void store(const hidden_source& source, std::int32_t x, std::int32_t y,
               gather::block_grid::block& block, hidden_run& run) const;

    visible_picture picture_ = {};
    const seed_pyramid* guess_ = nullptr;  // null: none
    background_picture background_;
    const std::vector<std::vector<mixed_pixel>>* mixed_ = nullptr;  // null: none
    source_kind kind_ = {};
    std::int32_t columns_ = 0;  // blocks
    std::vector<row_of_blocks> rows_;
};

}  // namespace layered
