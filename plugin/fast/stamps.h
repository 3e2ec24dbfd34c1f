#pragma once
// Sources that are scattered as copies of their kernel: those whose kernel has no closed
// form, such as a custom picture, and those with non-finite colour, which makes pixels
// not-a-number even where the kernel's weight is 0.

#include <algorithm>
#include <cstdint>
#include <vector>

#include "plugin/record/focusfall_interface.h"
#include "plugin/splat/stamp.h"

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
    bool begin_batch();
    // How many kernels the batch has; each is to be made before the bands are filled.
    std::int32_t batch_size() const { return static_cast<std::int32_t>(batch_.size()); }
    // Which part of all kernels, 0 .. 1, is in this batch and those before it. To be
    // called after begin_batch gave true.
    double part_begun() const {
        return 1.0 - static_cast<double>(waiting_.size()) / static_cast<double>(kernels_);
    }
    // Makes a kernel of the batch, in the style that the frame began with, turned around
    // if so said. Throws what making an image throws. [one thread a kernel]
    void make_batch_kernel(const focusfall_interface& params, std::int32_t style,
                           const Image* custom, std::int32_t number, bool turned = false);

    // What a source adds.
    struct appearance {
        float color[4];  // red, green, blue, alpha
        float weight;    // of the whole stamp
    };
    // Adds all sources of the batch to rows band * BAND_ROWS on of the accumulators of
    // `target`; `look(x, y)` gives the appearance of a source. [one thread a band]
    template <class Look>
    void add_to_band(focusfall_interface& target, const Look& look,
                     std::int32_t band) const;

  private:
    struct kernel {
        std::uint32_t index;
        std::int32_t radius;
        std::vector<float> weights;  // empty: there is no kernel of that size
    };
    // The kernels of the batch, by their distance from its first index.
    std::vector<const kernel*> kernels_by_index() const;

    std::vector<std::vector<stamped_source>> rows_;
    std::vector<std::uint32_t> waiting_;  // kernels, last first
    std::size_t kernels_ = 0;             // in `waiting_` before the first batch
    bool listed_ = false;                 // `waiting_` was filled
    std::vector<kernel> batch_;
};

template <class Look>
void stamp_list::add_to_band(focusfall_interface& target, const Look& look,
                             std::int32_t band) const {
    const auto rows = static_cast<std::int32_t>(rows_.size());
    const std::int32_t first_row = band * BAND_ROWS;
    const std::int32_t last_row = std::min(first_row + BAND_ROWS, rows) - 1;
    // the last kernel of a batch is its largest: no source further off reaches the band
    const std::int32_t reach = batch_.back().radius;
    const std::vector<const kernel*> by_index = kernels_by_index();

    const auto no_guard = [](std::int32_t) { return 0; };  // no thread shares a band

    // row by row, so that a pixel's sums do not depend on which thread fills its band
    for (std::int32_t y = std::max(0, first_row - reach);
         y <= std::min(rows - 1, last_row + reach); ++y) {
        for (const stamped_source& s : rows_[static_cast<std::size_t>(y)]) {
            if (s.kernel < batch_.front().index || s.kernel > batch_.back().index)
                continue;
            const kernel& shape = *by_index[s.kernel - batch_.front().index];
            if (shape.weights.empty()) continue;
            const appearance a = look(s.x, y);
            add_stamp(target, {shape.weights.data(), shape.radius, s.x, y, a.weight},
                      a.color, first_row, last_row, no_guard);
        }
    }
}

// The appearance of a pixel's own source.
inline stamp_list::appearance appearance_of(const Image& picture, std::int32_t x,
                                            std::int32_t y) {
    const float* pixel = picture.Pixel(x, y);
    return {.color = {pixel[Image::RED], pixel[Image::GREEN], pixel[Image::BLUE],
                      pixel[Image::ALPHA]},
            .weight = 1.0F};
}
