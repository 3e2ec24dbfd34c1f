// Scatters one sample as a copy of the kernel of its circle of confusion.

#include <algorithm>
#include <cmath>

#include <boost/thread/lock_guard.hpp>

#include "plugin/record/focusfall_interface.h"
#include "plugin/splat/kernel_index.h"
#include "plugin/splat/stamp.h"

namespace {

// Adds the stamp row by row, each under its lock.
void add_locked(focusfall_interface& filter, const stamp& kernel, const float* color) {
    const std::int32_t top = std::max(0, kernel.y - kernel.radius);
    const std::int32_t bottom =
        std::min(filter.color_accumulator.height - 1, kernel.y + kernel.radius);
    for (std::int32_t row = top; row <= bottom; ++row) {
        const boost::lock_guard<boost::mutex> lock(
            *filter.row_locks[static_cast<std::size_t>(row)]);
        add_stamp(filter, kernel, color, row, row);
    }
}

}  // namespace

void focusfall_interface::splat_sample(const depth_sample& s) {
    const std::size_t index = kernel_index(*this, s.depth, kernels.size() - 1);
    const std::vector<float>& weights = kernels[index];
    if (weights.empty()) return;  // no kernel could be made for that diameter
    const std::int32_t radius = lens::kernel_radius(index);

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
            add_locked(*this, kernel, &s.r);
        }
    }
}
