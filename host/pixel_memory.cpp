#include "host/pixel_memory.h"

#include <mutex>
#include <utility>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace headless {

namespace {

// 4 MB: the allocator itself keeps smaller blocks
constexpr std::size_t LARGE_FLOATS = std::size_t{1} << 20;

struct kept_block {
    std::mutex mutex;
    std::unique_ptr<float[]> pixels;
    std::size_t floats = 0;
};

// Never destroyed: images may outlive all other objects of the program. It lies in memory
// of the binary, so that nothing stays behind when a library that has it is unloaded.
union undying_block {
    undying_block() : block() {}
    ~undying_block() {}

    kept_block block;
};

kept_block& kept() {
    static undying_block undying;
    return undying.block;
}

// The kept block, whatever its size.
std::unique_ptr<float[]> exchange_kept(std::unique_ptr<float[]> pixels,
                                       std::size_t& floats) {
    kept_block& block = kept();
    const std::lock_guard lock(block.mutex);
    std::swap(block.floats, floats);
    return std::exchange(block.pixels, std::move(pixels));
}

// Asks for large pages where the pixels fill at least one: the first touch of a page
// costs a fault, and a new image consists of such pages.
void prefer_large_pages([[maybe_unused]] float* pixels,
                        [[maybe_unused]] std::size_t floats) {
#if defined(__linux__)
    constexpr std::size_t LARGE_PAGE = 2U << 20;
    void* first = pixels;
    std::size_t bytes = floats * sizeof(float);
    if (!std::align(LARGE_PAGE, LARGE_PAGE, first, bytes)) return;
    madvise(first, bytes, MADV_HUGEPAGE);  // a wish, which may be refused
#endif
}

}  // namespace

std::unique_ptr<float[]> new_pixels(std::size_t floats) {
    if (floats >= LARGE_FLOATS) {
        // a kept block of another size is freed: no frame needs more memory because of it
        std::size_t size = 0;
        auto pixels = exchange_kept(nullptr, size);
        if (pixels && size == floats) return pixels;
    }
    auto pixels = std::make_unique_for_overwrite<float[]>(floats);
    prefer_large_pages(pixels.get(), floats);
    return pixels;
}

void recycle_pixels(std::unique_ptr<float[]> pixels, std::size_t floats) noexcept {
    if (pixels && floats >= LARGE_FLOATS) exchange_kept(std::move(pixels), floats);
}

void forget_kept_pixels() noexcept {
    std::size_t none = 0;
    exchange_kept(nullptr, none);
}

}  // namespace headless
