#pragma once
// The memory of images' pixels.

#include <cstddef>
#include <memory>

namespace headless {

// Memory for that many floats, not initialised; a kept block of the same size, else from
// the system. Throws std::bad_alloc. [any thread]
std::unique_ptr<float[]> new_pixels(std::size_t floats);

// Takes back memory that new_pixels gave for `floats`. Two blocks of 4 MB or more are
// kept for the next images of their size: the frames of a shot have a source and a result
// of one size, and fresh memory costs a page fault for each page, up to a fifth of a fast
// frame's time. [any thread]
void recycle_pixels(std::unique_ptr<float[]> pixels, std::size_t floats) noexcept;

// Gives the kept blocks back to the system. [any thread]
void forget_kept_pixels() noexcept;

}  // namespace headless
