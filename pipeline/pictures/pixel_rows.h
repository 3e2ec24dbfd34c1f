#pragma once
// Rows of pixels, as files and images hold them.

#include <cstddef>
#include <cstdint>

#include <OpenImageIO/parallel.h>
#include <OpenImageIO/typedesc.h>

namespace focusfall {

// Numbers of one channel: the first one, and the bytes from each to the next. `Byte` is
// std::byte or const std::byte.
template <class Byte>
struct number_row {
    Byte* first;
    std::ptrdiff_t step;
    OIIO::TypeDesc type;

    operator number_row<const Byte>() const { return {first, step, type}; }
};

// Converts `count` numbers as the library for files does: whole numbers are parts of the
// largest one. The two do not overlap. [any thread]
void convert_row(const number_row<const std::byte>& from, std::int64_t count,
                 const number_row<std::byte>& to);

// Calls work(y) for 0 <= y < rows, on the threads of the library for files. `work` throws
// nothing.
template <class Work>
void for_each_row(std::int64_t rows, const Work& work) {
    constexpr std::int64_t CHUNK = 16;  // rows that a thread takes at a time
    OIIO::parallel_for_chunked(0, rows, CHUNK,
                               [&work](std::int64_t begin, std::int64_t end) {
                                   for (std::int64_t y = begin; y < end; ++y) work(y);
                               });
}

}  // namespace focusfall
