// Scatters one sample as a copy of the kernel of its circle of confusion.

#include <cmath>

#include <boost/thread/lock_guard.hpp>

#include "plugin/record/focusfall_interface.h"
#include "plugin/splat/kernel_index.h"
#include "plugin/splat/stamp.h"

void focusfall_interface::splat_sample(const depth_sample& s) {
    const std::size_t index = kernel_index(*this, s.depth, kernels.size() - 1);
    const std::vector<float>& weights = kernels[index];
    if (weights.empty()) return;  // no kernel could be made for that diameter
    const std::int32_t radius = lens::kernel_radius(index);

    // several threads add to a row at once
    const auto lock_row = [this](std::int32_t y) {
        return boost::lock_guard<boost::mutex>(*row_locks[static_cast<std::size_t>(y)]);
    };

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
            add_stamp(*this, kernel, &s.r, 0, color_accumulator.height - 1, lock_row);
        }
    }
}
