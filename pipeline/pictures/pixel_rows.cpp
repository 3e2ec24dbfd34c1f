#include "pipeline/pictures/pixel_rows.h"

#include <algorithm>
#include <array>
#include <cstring>

#include <OpenImageIO/imageio.h>

namespace focusfall {

namespace {

// Numbers that are converted at a time.
constexpr std::int64_t RUN = 256;
constexpr std::size_t LARGEST = 8;  // bytes of a number

template <std::size_t SIZE>
void copy_sized(const std::byte* from, std::ptrdiff_t from_step, std::int64_t count,
                std::byte* to, std::ptrdiff_t to_step) {
    for (std::int64_t i = 0; i < count; ++i) {
        std::memcpy(to, from, SIZE);
        from += from_step;
        to += to_step;
    }
}

void copy_numbers(std::size_t size, const std::byte* from, std::ptrdiff_t from_step,
                  std::int64_t count, std::byte* to, std::ptrdiff_t to_step) {
    switch (size) {
        case 1: return copy_sized<1>(from, from_step, count, to, to_step);
        case 2: return copy_sized<2>(from, from_step, count, to, to_step);
        case 4: return copy_sized<4>(from, from_step, count, to, to_step);
        default: return copy_sized<LARGEST>(from, from_step, count, to, to_step);
    }
}

}  // namespace

// The library converts many numbers that lie close together far faster than one by one.
void convert_row(const number_row<const std::byte>& from, std::int64_t count,
                 const number_row<std::byte>& to) {
    const std::size_t from_size = from.type.size();
    const std::size_t to_size = to.type.size();
    if (from.type == to.type) {
        return copy_numbers(from_size, from.first, from.step, count, to.first, to.step);
    }
    alignas(LARGEST) std::array<std::byte, RUN * LARGEST> stored;
    alignas(LARGEST) std::array<std::byte, RUN * LARGEST> converted;
    for (std::int64_t i = 0; i < count; i += RUN) {
        const std::int64_t run = std::min(RUN, count - i);
        copy_numbers(from_size, from.first + i * from.step, from.step, run, stored.data(),
                     static_cast<std::ptrdiff_t>(from_size));
        OIIO::convert_pixel_values(from.type, stored.data(), to.type, converted.data(),
                                   static_cast<int>(run));
        copy_numbers(to_size, converted.data(), static_cast<std::ptrdiff_t>(to_size), run,
                     to.first + i * to.step, to.step);
    }
}

}  // namespace focusfall
