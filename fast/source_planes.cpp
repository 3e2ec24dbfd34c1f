#include "fast/source_planes.h"

#include <algorithm>

namespace {

constexpr std::int32_t LINE = 16;  // floats in a cache line
constexpr std::ptrdiff_t PAGE = 1024;    // floats in 4 KiB

}  // namespace

void source_planes::resize(std::int32_t width, std::int32_t height, std::int32_t margin) {
    width_ = width;
    height_ = height;
    margin_ = (margin + LINE - 1) / LINE * LINE;
    plane_stride_ = (width + LINE - 1) / LINE * LINE + 2 * margin_;
    // planes or rows a multiple of a page apart would share few sets of the cache
    if (plane_stride_ % PAGE == 0) plane_stride_ += LINE;
    row_stride_ = PLANES * plane_stride_;
    if (row_stride_ % PAGE == 0) row_stride_ += LINE;
    data_.resize(static_cast<std::size_t>(height * row_stride_));
}
