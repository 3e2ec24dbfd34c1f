// Scatters one sample as a copy of the kernel of its circle of confusion.

#include <algorithm>
#include <cmath>

#include <boost/thread/lock_guard.hpp>

#include "plugin/record/focusfall_interface.h"
#include "plugin/splat/add_weighted.h"
#include "plugin/splat/kernel_index.h"

namespace {

// A kernel and where its centre goes.
struct stamp {
    const float* weights;  // row by row
    std::int32_t radius;   // pixels; the side is 2 * radius + 1
    std::int32_t x;
    std::int32_t y;
    float weight;  // of the whole stamp
};

void add_stamp(focusfall_interface& filter, const stamp& kernel, const float* color) {
    // find the rows and columns that the stamp covers
    const std::int32_t top = std::max(0, kernel.y - kernel.radius);
    const std::int32_t bottom =
        std::min(filter.color_accumulator.height - 1, kernel.y + kernel.radius);
    const std::int32_t left = std::max(0, kernel.x - kernel.radius);
    const std::int32_t right =
        std::min(filter.color_accumulator.width - 1, kernel.x + kernel.radius);
    if (left > right) return;

    const std::int32_t side = 2 * kernel.radius + 1;
    for (std::int32_t row = top; row <= bottom; ++row) {
        auto* pixels = reinterpret_cast<std::byte*>(filter.out_rgba_data) +
                       std::ptrdiff_t{row} * filter.color_accumulator.row_stride;
        auto* norm = reinterpret_cast<std::byte*>(filter.norm_data) +
                     std::ptrdiff_t{row} * filter.weight_accumulator.row_stride;
        const std::ptrdiff_t first =
            std::ptrdiff_t{row - kernel.y + kernel.radius} * side +
            (left - kernel.x + kernel.radius);

        const boost::lock_guard<boost::mutex> lock(
            *filter.row_locks[static_cast<std::size_t>(row)]);
        add_run(reinterpret_cast<color_rgba_f*>(pixels) + left,
                reinterpret_cast<float*>(norm) + left, kernel.weights + first, color,
                kernel.weight, right - left + 1);
    }
}

}  // namespace

void focusfall_interface::splat_sample(const depth_sample& s) {
    const std::size_t index = kernel_index(*this, s.depth, kernels.size() - 1);
    const std::vector<float>& weights = kernels[index];
    if (weights.empty()) return;  // no kernel could be made for that diameter
    const std::int32_t radius = kernel_radius(*this, index);

    // split the position between the four pixels around it
    const float column = std::floor(s.x);
    const float row = std::floor(s.y);
    const float fx = s.x - column;
    const float fy = s.y - row;
    for (std::int32_t dy = 0; dy <= 1; ++dy) {
        const float wy = dy == 0 ? 1.0F - fy : fy;
        if (!(wy > 0.0F)) continue;
        for (std::int32_t dx = 0; dx <= 1; ++dx) {
            const float wx = dx == 0 ? 1.0F - fx : fx;
            if (!(wx > 0.0F)) continue;
            const stamp kernel{weights.data(), radius,
                               static_cast<std::int32_t>(column) + dx,
                               static_cast<std::int32_t>(row) + dy, (wx * s.weight) * wy};
            add_stamp(*this, kernel, &s.r);
        }
    }
}
