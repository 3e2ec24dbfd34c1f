#pragma once
// The colour image and its kernels, one plane a quantity.

#include <cstddef>
#include <cstdint>
#include <vector>

#include <hwy/aligned_allocator.h>
#include <boost/align/aligned_allocator.hpp>

#include "plugin/fast/gather/closed_form.h"

// A vector for vector registers: starts on a cache line.
using aligned_floats = std::vector<float, boost::alignment::aligned_allocator<float, 64>>;

// The planes of one row lie behind one another, then follow those of the next row. Beside
// the picture lie `margin` columns without a source on either side, so that the gather
// reads there without looking.
class source_planes {
  public:
    // SHAPE and SECOND as closed_form.h tells; WEIGHT is 1 / the sum of the kernel, and
    // the colours are multiplied by it. Without a source these are 0, and SHAPE and
    // SECOND what no_source gives. FLAT has no SECOND.
    enum plane : std::int32_t { SHAPE, SECOND, WEIGHT, RED, GREEN, BLUE, ALPHA, PLANES };

    // Gives the planes a size; they are unset, so that the threads which fill them are
    // the first to touch their memory. It is kept from frame to frame.
    void resize(std::int32_t width, std::int32_t height, std::int32_t margin);
    // Fills the margins of a row. [one thread a row]
    void clear_margins(std::int32_t y, const kernel_terms& no_source);

    std::int32_t width() const { return width_; }
    std::int32_t height() const { return height_; }
    std::ptrdiff_t plane_stride() const { return plane_stride_; }  // floats
    std::ptrdiff_t row_stride() const { return row_stride_; }      // floats

    // Column 0 of a plane of a row.
    float* row(std::int32_t y, plane p) { return data_.get() + index(y, p); }
    const float* row(std::int32_t y, plane p) const { return data_.get() + index(y, p); }

  private:
    std::size_t index(std::int32_t y, plane p) const {
        return static_cast<std::size_t>(y * row_stride_ + p * plane_stride_ + margin_);
    }

    std::int32_t width_ = 0;
    std::int32_t height_ = 0;
    std::int32_t margin_ = 0;
    std::ptrdiff_t plane_stride_ = 0;
    std::ptrdiff_t row_stride_ = 0;
    std::size_t capacity_ = 0;
    hwy::AlignedFreeUniquePtr<float[]> data_;
};
