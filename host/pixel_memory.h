#pragma once
// The memory of images' pixels.

#include <cstddef>
#include <memory>

namespace headless {

// Memory for that many floats, not initialised. Throws std::bad_alloc. [any thread]
std::unique_ptr<float[]> new_pixels(std::size_t floats);

// Takes back memory that new_pixels gave for `floats`. The last large block is kept, and
// serves the next image of its size: frames follow one another with images of one size,
// and memory from the system costs a page fault for each of its pages, up to a fifth of a
// fast frame's time. [any thread]
void recycle_pixels(std::unique_ptr<float[]> pixels, std::size_t floats) noexcept;

// Gives the kept block back to the system. [any thread]
void forget_kept_pixels() noexcept;

}  // namespace headless
