#include "plugin/fast/stamps.h"

#include <algorithm>

#include "lens/kernel_sizes.h"
#include "plugin/kernels/kernel_shapes.h"
#include "plugin/kernels/kernel_weights.h"
#include "plugin/splat/stamp.h"

void stamp_list::reset(std::int32_t rows) {
    // the lists keep their memory from frame to frame
    rows_.resize(static_cast<std::size_t>(rows));
    for (auto& row : rows_) row.clear();
    waiting_.clear();
    listed_ = false;
}

bool stamp_list::begin_batch(const focusfall_interface& params) {
    // the first batch: list each kernel that some source needs once, largest index first
    if (!listed_) {
        for (const auto& row : rows_) {
            for (const stamped_source& s : row) waiting_.push_back(s.kernel);
        }
        std::ranges::sort(waiting_, std::greater());
        waiting_.erase(std::unique(waiting_.begin(), waiting_.end()), waiting_.end());
        kernels_ = waiting_.size();
        listed_ = true;
    }
    // take kernels from the smallest on until their weights fill the batch; one that is
    // larger than a batch is a batch of its own
    batch_.clear();
    std::size_t bytes = 0;
    while (!waiting_.empty()) {
        const std::int32_t radius = lens::kernel_radius(waiting_.back());
        const std::size_t side = 2 * static_cast<std::size_t>(radius) + 1;
        bytes += side * side * sizeof(float);
        if (bytes > BATCH_BYTES && !batch_.empty()) break;
        batch_.push_back({waiting_.back(), radius, {}});
        waiting_.pop_back();
    }
    return !batch_.empty();
}

void stamp_list::make_batch_kernel(const focusfall_interface& params, std::int32_t style,
                                   const Image* custom, std::int32_t number) {
    kernel& made = batch_[static_cast<std::size_t>(number)];
    if (made.index == 0) {  // unblurred: the pixel itself
        made.weights = {1.0F};
        return;
    }
    const double diameter = lens::kernel_diameter(made.index);
    const Owned<Image> picture(
        custom ? make_kernel(params, diameter, diameter, custom, KERNEL_MIN_SIZE)
               : make_style_kernel(params, style, diameter, KERNEL_MIN_SIZE));
    load_kernel_weights(params, picture.get(), made.weights);
}

void stamp_list::add_to_band(focusfall_interface& target, const Image& picture,
                             std::int32_t band) const {
    const auto rows = static_cast<std::int32_t>(rows_.size());
    const std::int32_t first_row = band * BAND_ROWS;
    const std::int32_t last_row = std::min(first_row + BAND_ROWS, rows) - 1;
    // the last kernel of a batch is its largest: no source further off reaches the band
    const std::int32_t reach = batch_.back().radius;
    std::vector<const kernel*> by_index(batch_.back().index - batch_.front().index + 1);
    for (const kernel& k : batch_) by_index[k.index - batch_.front().index] = &k;

    // row by row, so that a pixel's sums do not depend on which thread fills its band
    for (std::int32_t y = std::max(0, first_row - reach);
         y <= std::min(rows - 1, last_row + reach); ++y) {
        for (const stamped_source& s : rows_[static_cast<std::size_t>(y)]) {
            if (s.kernel < batch_.front().index || s.kernel > batch_.back().index)
                continue;
            const kernel& shape = *by_index[s.kernel - batch_.front().index];
            if (shape.weights.empty()) continue;
            const float* pixel = picture.Pixel(s.x, y);
            const float color[] = {pixel[Image::RED], pixel[Image::GREEN],
                                   pixel[Image::BLUE], pixel[Image::ALPHA]};
            add_stamp(target, {shape.weights.data(), shape.radius, s.x, y, 1.0F}, color,
                      first_row, last_row);
        }
    }
}
