#pragma once
// Sources that are scattered as copies of their kernel: those whose kernel has no closed
// form, such as a custom picture, and those with non-finite colour, which makes pixels
// not-a-number even where the kernel's weight is 0.

#include <cstdint>
#include <vector>

#include "plugin/record/focusfall_interface.h"

// One source; the list that contains it says which row it is in.
struct stamped_source {
    std::int32_t x;
    std::uint32_t kernel;  // index in the kernel table
};

class stamp_list {
  public:
    // Rows of pixels that one call of add_to_band fills.
    static constexpr std::int32_t BAND_ROWS = 16;
    // Limit for the weights of a batch, bytes, unless a single kernel needs more.
    static constexpr std::size_t BATCH_BYTES = 256U << 20;

    // Makes that many empty rows, one for each row of the picture. Throws std::bad_alloc.
    // [render thread]
    void reset(std::int32_t rows);
    // The sources in row `y` of the picture, from left to right. [one thread per row]
    std::vector<stamped_source>& row(std::int32_t y) {
        return rows_[static_cast<std::size_t>(y)];
    }

    // Makes the next batch of kernels the present one, in the order of their index; false
    // when there are no more. Throws std::bad_alloc. [render thread]
    bool begin_batch(const focusfall_interface& params);
    // How many kernels the batch has; each is to be made before the bands are filled.
    std::int32_t batch_size() const { return static_cast<std::int32_t>(batch_.size()); }
    // Which part of all kernels, 0 .. 1, is in this batch and those before it. To be
    // called after begin_batch gave true.
    double part_begun() const {
        return 1.0 - static_cast<double>(waiting_.size()) / static_cast<double>(kernels_);
    }
    // Makes a kernel of the batch, in the style that the frame began with. Throws what
    // making an image throws. [one thread a kernel]
    void make_batch_kernel(const focusfall_interface& params, std::int32_t style,
                           const Image* custom, std::int32_t number);
    // Adds all sources of the batch to rows band * BAND_ROWS on of the accumulators of
    // `target`, with their colours from `picture`. [one thread a band]
    void add_to_band(focusfall_interface& target, const Image& picture,
                     std::int32_t band) const;

  private:
    struct kernel {
        std::uint32_t index;
        std::int32_t radius;
        std::vector<float> weights;  // empty: there is no kernel of that size
    };

    std::vector<std::vector<stamped_source>> rows_;
    std::vector<std::uint32_t> waiting_;  // kernels, last first
    std::size_t kernels_ = 0;             // in `waiting_` before the first batch
    bool listed_ = false;                 // `waiting_` was filled
    std::vector<kernel> batch_;
};
