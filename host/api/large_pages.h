#pragma once
// Memory in large pages.

#include <cstddef>
#include <memory>

#if defined(__linux__)
#include <sys/mman.h>
#endif

// Asks for large pages for memory that nobody has touched yet, where it fills at least
// one: the first touch of a page costs a fault, and pixels fill thousands of small ones;
// rows that lie far apart are also found faster later. A wish, which may be refused. Does
// nothing elsewhere than on Linux. [any thread]
inline void prefer_large_pages([[maybe_unused]] void* memory,
                               [[maybe_unused]] std::size_t bytes) noexcept {
#if defined(__linux__)
    constexpr std::size_t LARGE_PAGE = 2U << 20;
    if (!std::align(LARGE_PAGE, LARGE_PAGE, memory, bytes)) return;
    madvise(memory, bytes, MADV_HUGEPAGE);
#endif
}
