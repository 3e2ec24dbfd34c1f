#pragma once
// Where the pixels of a frame lie in depth.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "plugin/fast/gather/aligned_floats.h"
#include "plugin/fast/gather/tiling.h"

namespace layered {

// The signed blur diameter of each pixel, with margins as the planes of the sources have
// them.
class diameter_map {
  public:
    // The diameters are unset; memory is kept from frame to frame. Throws std::bad_alloc.
    // [render thread]
    void resize(std::int32_t width, std::int32_t height) {
        width_ = width;
        height_ = height;
        stride_ = gather::pieces(width, gather::BLOCK_COLUMNS) * gather::BLOCK_COLUMNS +
                  2 * gather::GATHER_MARGIN;
        floats_.make_room(static_cast<std::size_t>(stride_) *
                          static_cast<std::size_t>(height));
        runs_ = gather::pieces(width, gather::BLOCK_COLUMNS);
        layers_.resize(static_cast<std::size_t>(runs_) *
                       static_cast<std::size_t>(height));
    }
    // Repeats the outermost diameters of a row beyond it. [one thread a row]
    void fill_margins(std::int32_t y) {
        std::fill_n(row(y) - gather::GATHER_MARGIN, gather::GATHER_MARGIN, *row(y));
        std::fill(row(y) + width_, row(y) - gather::GATHER_MARGIN + stride_,
                  row(y)[width_ - 1]);
    }

    std::int32_t width() const { return width_; }
    std::int32_t height() const { return height_; }
    // Column 0 of a row.
    float* row(std::int32_t y) { return floats_.data() + index(y); }
    const float* row(std::int32_t y) const { return floats_.data() + index(y); }

    // The layers that the sources of a run of BLOCK_COLUMNS pixels are of: bit l is set
    // for layer l.
    std::uint32_t& layers(std::int32_t run, std::int32_t y) {
        return layers_[index_of_run(run, y)];
    }
    std::uint32_t layers(std::int32_t run, std::int32_t y) const {
        return layers_[index_of_run(run, y)];
    }

  private:
    std::ptrdiff_t index(std::int32_t y) const {
        return std::ptrdiff_t{y} * stride_ + gather::GATHER_MARGIN;
    }

    std::size_t index_of_run(std::int32_t run, std::int32_t y) const {
        return static_cast<std::size_t>(std::ptrdiff_t{y} * runs_ + run);
    }

    std::int32_t width_ = 0;
    std::int32_t height_ = 0;
    std::int32_t stride_ = 0;  // floats
    gather::aligned_floats floats_;
    std::int32_t runs_ = 0;  // of a row
    std::vector<std::uint32_t> layers_;
};

}  // namespace layered
