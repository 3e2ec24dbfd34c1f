#include "plugin/fast/gather/source_planes.h"

#include <algorithm>
#include <new>

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

    const auto size = static_cast<std::size_t>(height * row_stride_);
    if (size <= capacity_) return;
    capacity_ = 0;
    data_.reset();  // before the new ones are there: frames are large
    data_ = hwy::AllocateAligned<float>(size);
    if (!data_) throw std::bad_alloc();
    capacity_ = size;
}

void source_planes::clear_margins(std::int32_t y, const kernel_terms& no_source) {
    for (std::int32_t i = 0; i < PLANES; ++i) {
        const float value = i == SHAPE    ? no_source.shape
                            : i == SECOND ? no_source.second
                                          : 0.0F;
        float* const pixels = row(y, static_cast<plane>(i));
        std::fill(pixels - margin_, pixels, value);
        std::fill(pixels + width_, pixels - margin_ + plane_stride_, value);
    }
}
