#include "host/pixel_memory.h"

#include <array>
#include <mutex>
#include <utility>

#include "host/api/large_pages.h"

namespace headless {

namespace {

// 4 MB: the allocator itself keeps smaller blocks
constexpr std::size_t LARGE_FLOATS = std::size_t{1} << 20;

struct kept_blocks {
    std::mutex mutex;
    std::array<std::unique_ptr<float[]>, 2> pixels;  // all of one size
    std::size_t floats = 0;
};

// Never destroyed: images may outlive all other objects of the program. They lie in
// memory of the binary, so that nothing stays behind when a library that has it is
// unloaded.
union undying_blocks {
    undying_blocks() : blocks() {}
    ~undying_blocks() {}

    kept_blocks blocks;
};

kept_blocks& kept() {
    static undying_blocks undying;
    return undying.blocks;
}

// Puts a block of that size among the kept ones. A null block takes one out, if there is
// any. Kept ones of another size are freed: no frame needs more memory because of them.
std::unique_ptr<float[]> exchange_kept(std::unique_ptr<float[]> pixels,
                                       std::size_t floats) {
    kept_blocks& kept_now = kept();
    std::array<std::unique_ptr<float[]>, 2> freed;  // after the lock is gone
    const std::lock_guard lock(kept_now.mutex);
    if (kept_now.floats != floats) freed.swap(kept_now.pixels);
    kept_now.floats = floats;
    for (std::unique_ptr<float[]>& block : kept_now.pixels) {
        if (!block == !pixels) continue;
        block.swap(pixels);
        break;
    }
    return pixels;
}

}  // namespace

std::unique_ptr<float[]> new_pixels(std::size_t floats) {
    if (floats >= LARGE_FLOATS) {
        auto pixels = exchange_kept(nullptr, floats);
        if (pixels) return pixels;
    }
    auto pixels = std::make_unique_for_overwrite<float[]>(floats);
    prefer_large_pages(pixels.get(), floats * sizeof(float));
    return pixels;
}

void recycle_pixels(std::unique_ptr<float[]> pixels, std::size_t floats) noexcept {
    if (pixels && floats >= LARGE_FLOATS) exchange_kept(std::move(pixels), floats);
}

void forget_kept_pixels() noexcept { exchange_kept(nullptr, 0); }

}  // namespace headless
