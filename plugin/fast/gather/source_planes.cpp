#include "plugin/fast/gather/source_planes.h"

#include <algorithm>

namespace gather {

namespace {

constexpr std::int32_t LINE = 16;  // floats in a cache line

}  // namespace

void source_planes::resize(std::int32_t width, std::int32_t height, std::int32_t margin) {
    width_ = width;
    height_ = height;
    margin_ = (margin + LINE - 1) / LINE * LINE;
    plane_stride_ = (width + LINE - 1) / LINE * LINE + 2 * margin_;
    // an odd number of lines from plane to plane, so that they, and the rows, spread over
    // all sets of the cache
    if (plane_stride_ / LINE % 2 == 0) plane_stride_ += LINE;
    row_stride_ = PLANES * plane_stride_;
    floats_.make_room(static_cast<std::size_t>(height * row_stride_));
}

void source_planes::clear_margins(std::int32_t y, closed_form form) {
    const kernel_terms none = no_source(form);
    for (std::int32_t i = 0; i < PLANES; ++i) {
        float value = 0.0F;
        if (i == SHAPE) value = none.shape;
        if (i == REACH && !is_edged(form)) value = none.reach;
        float* const pixels = row(y, static_cast<plane>(i));
        std::fill(pixels - margin_, pixels, value);
        std::fill(pixels + width_, pixels - margin_ + plane_stride_, value);
    }
}

}  // namespace gather
