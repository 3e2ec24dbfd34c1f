#pragma once
// The sources of one row of the picture that reach a slab, sorted by their radius.

#include <algorithm>
#include <cstdint>
#include <vector>

#include "plugin/fast/gather/gather.h"
#include "plugin/fast/gather/slab.h"

namespace gather {

// One for each thread; its memory serves row after row. [one thread]
class row_sources {
  public:
    // Room for the rows of a frame. Throws std::bad_alloc.
    explicit row_sources(const gather_frame& frame)
        : planes_(frame.planes),
          reach_(frame.offsets->reach),
          ends_(static_cast<std::size_t>(reach_) + 1),
          columns_(room()),
          terms_(source_planes::PLANES * room()) {}

    // Takes the sources of row `y` that reach the slab at `x`: those of the largest
    // radius first, those of one radius from left to right. Never throws.
    void take(std::int32_t x, std::int32_t y) {
        const std::int32_t first = std::max(0, x - reach_);
        const std::int32_t last = std::min(planes_->width(), x + SLAB_COLUMNS + reach_);
        const float* const reach = planes_->row(y, source_planes::REACH);
        row_ = planes_->row(y, source_planes::SHAPE);
        const auto reaches = [&](std::int32_t i) {
            const std::int32_t gap = std::max({0, x - i, i - (x + SLAB_COLUMNS - 1)});
            return reach[i] > static_cast<float>(gap);
        };
        std::ranges::fill(ends_, 0);
        for (std::int32_t i = first; i < last; ++i) {
            if (reaches(i)) ++ends_[radius_of(reach[i])];
        }
        // from here on, where the next source of each radius goes
        count_ = 0;
        for (auto end = ends_.rbegin(); end != ends_.rend(); ++end) {
            const std::int32_t of_radius = *end;
            *end = count_;
            count_ += of_radius;
        }
        for (std::int32_t i = first; i < last; ++i) {
            if (reaches(i)) store(i, ends_[radius_of(reach[i])]++);
        }
    }

    std::int32_t count() const { return count_; }
    // Of source `number`, pixels.
    std::int32_t radius(std::int32_t number) const {
        return static_cast<std::int32_t>(radius_of(plane(source_planes::REACH)[number]));
    }
    std::int32_t column(std::int32_t number) const {
        return columns_[static_cast<std::size_t>(number)];
    }
    // A plane of all sources; as many floats as vectors have may be read past the last.
    const float* plane(std::int32_t p) const {
        return terms_.data() + static_cast<std::size_t>(p) * room();
    }

  private:
    // weights end half a pixel behind the last of the kernel
    static std::size_t radius_of(float reach) { return static_cast<std::size_t>(reach); }
    std::size_t room() const {
        return static_cast<std::size_t>(SLAB_COLUMNS + 2 * reach_ + TILE_COLUMNS);
    }
    void store(std::int32_t from, std::int32_t to) {
        columns_[static_cast<std::size_t>(to)] = from;
        for (std::int32_t p = 0; p < source_planes::PLANES; ++p) {
            terms_[static_cast<std::size_t>(p) * room() + static_cast<std::size_t>(to)] =
                row_[p * planes_->plane_stride() + from];
        }
    }

    const source_planes* planes_;
    std::int32_t reach_;
    const float* row_ = nullptr;
    std::int32_t count_ = 0;
    std::vector<std::int32_t> ends_;  // by radius
    std::vector<std::int32_t> columns_;
    std::vector<float> terms_;  // plane by plane
};

}  // namespace gather
