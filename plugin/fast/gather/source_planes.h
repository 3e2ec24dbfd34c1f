#pragma once
// The sources of a frame: the pixels of the colour image with their kernels.

#include <cstddef>
#include <cstdint>

#include "plugin/fast/gather/aligned_floats.h"
#include "plugin/fast/gather/closed_form.h"

namespace gather {

// One plane of floats for each quantity of a source, so that a vector holds the same
// quantity of neighbouring sources. Memory has all planes of row 0 one after the other,
// then those of row 1, and so on. On either side of the picture are `margin` columns
// without sources, so that the gather reads there without checks.
class source_planes {
  public:
    // SHAPE, REACH and INVERSE_FOURTH are those of kernel_terms; the last two share a
    // plane, since no closed form needs both, and EDGE needs neither. WEIGHT is the
    // kernel's weight, and the colours are multiplied by it. Pixels without a source have
    // the terms of no_source and colours of 0.
    enum plane : std::int32_t {
        SHAPE,
        REACH,
        INVERSE_FOURTH = REACH,
        WEIGHT,
        RED,
        GREEN,
        BLUE,
        ALPHA,
        PLANES
    };

    // Gives the planes a size, and margins of at least `margin` columns, in pixels; all
    // floats are unset. Memory is kept from frame to frame. Throws std::bad_alloc.
    // [render thread]
    void resize(std::int32_t width, std::int32_t height, std::int32_t margin);
    // Fills the margins of row `y` with pixels without a source. [one thread per row]
    void clear_margins(std::int32_t y, closed_form form);

    std::int32_t width() const { return width_; }
    std::int32_t height() const { return height_; }
    std::ptrdiff_t plane_stride() const { return plane_stride_; }  // floats
    std::ptrdiff_t row_stride() const { return row_stride_; }      // floats

    // Column 0 of plane `p` of row `y`; margins are before it and behind the last column.
    // Borrowed until the next resize. [any thread; one writes a row]
    float* row(std::int32_t y, plane p) { return floats_.data() + index(y, p); }
    const float* row(std::int32_t y, plane p) const {
        return floats_.data() + index(y, p);
    }

  private:
    std::size_t index(std::int32_t y, plane p) const {
        return static_cast<std::size_t>(y * row_stride_ + p * plane_stride_ + margin_);
    }

    std::int32_t width_ = 0;
    std::int32_t height_ = 0;
    std::int32_t margin_ = 0;
    std::ptrdiff_t plane_stride_ = 0;
    std::ptrdiff_t row_stride_ = 0;
    aligned_floats floats_;
};

}  // namespace gather
