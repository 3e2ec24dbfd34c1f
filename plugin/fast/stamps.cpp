#include "plugin/fast/stamps.h"

#include <algorithm>

#include "lens/kernel_sizes.h"
#include "plugin/kernels/kernel_shapes.h"
#include "plugin/kernels/kernel_weights.h"

void stamp_list::reset(std::int32_t rows) {
    // the lists keep their memory from frame to frame
    rows_.resize(static_cast<std::size_t>(rows));
    for (auto& row : rows_) row.clear();
    waiting_.clear();
    listed_ = false;
}

bool stamp_list::begin_batch() {
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
                                   const Image* custom, std::int32_t number,
                                   bool turned) {
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
    if (turned) std::ranges::reverse(made.weights);
}

std::vector<const stamp_list::kernel*> stamp_list::kernels_by_index() const {
    std::vector<const kernel*> by_index(batch_.back().index - batch_.front().index + 1);
    for (const kernel& k : batch_) by_index[k.index - batch_.front().index] = &k;
    return by_index;
}
