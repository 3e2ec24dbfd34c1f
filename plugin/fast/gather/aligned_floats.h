#pragma once
// Memory for floats that are loaded as vectors.

#include <algorithm>
#include <cstddef>
#include <new>

#include <hwy/aligned_allocator.h>

#include "host/api/large_pages.h"

namespace gather {

// Floats that start on a cache line, so that vectors at multiples of their size never
// straddle two. [one thread, but for the floats themselves]
class aligned_floats {
  public:
    aligned_floats() = default;
    // `size` floats of that value. Throws std::bad_alloc.
    aligned_floats(std::size_t size, float value) {
        make_room(size);
        std::fill_n(data(), size, value);
    }

    // Makes room for at least `size` floats. Memory that suffices is kept; otherwise all
    // floats are lost and the new ones unset, so that the thread which fills them is the
    // first to touch their pages. Throws std::bad_alloc, and is empty then.
    void make_room(std::size_t size) {
        if (size <= size_) return;
        size_ = 0;
        floats_.reset();  // before the new ones exist: a frame's floats are large
        floats_ = hwy::AllocateAligned<float>(size);
        if (!floats_) throw std::bad_alloc();
        prefer_large_pages(floats_.get(), size * sizeof(float));
        size_ = size;
    }

    std::size_t size() const { return size_; }
    float* data() { return floats_.get(); }
    const float* data() const { return floats_.get(); }
    float& operator[](std::size_t i) { return floats_[i]; }
    float operator[](std::size_t i) const { return floats_[i]; }

  private:
    std::size_t size_ = 0;
    hwy::AlignedFreeUniquePtr<float[]> floats_;
};

}  // namespace gather
