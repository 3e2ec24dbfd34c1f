#pragma once
// Estimates the fast tool's memory for a frame with blur, without its images, in bytes.
// Elements count by their exact size, the overhead of containers approximately. Nothing
// here throws; all is callable from any thread.

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "plugin/fast/gather/offset_table.h"
#include "plugin/fast/gather/source_planes.h"
#include "plugin/fast/gather/tiling.h"
#include "plugin/fast/stamps.h"
#include "plugin/render/footprint.h"

// Bytes of the sources of a gathered frame of width x height pixels: one float for each
// pixel and plane, margins included.
inline std::uint64_t source_bytes(std::int32_t width, std::int32_t height) {
    const std::int64_t columns = width + 2 * std::int64_t{gather::GATHER_MARGIN};
    return static_cast<std::uint64_t>(columns * height) * gather::source_planes::PLANES *
           sizeof(float);
}

// Bytes of the tables of a gather with kernels up to index `last`: the offset table, and
// the terms of each kernel with the sums that they are computed from.
inline std::uint64_t gather_table_bytes(std::size_t last) {
    constexpr std::uint64_t OFFSET_BYTES = 9 * sizeof(float);
    constexpr std::uint64_t KERNEL_BYTES =
        sizeof(gather::kernel_terms) + 5 * sizeof(double);
    const auto reach = static_cast<std::uint64_t>(lens::kernel_radius(last));
    const std::uint64_t across = 2 * (reach + gather::MACRO_COLUMNS);
    const std::uint64_t down =
        2 * (reach + 2 * std::uint64_t{gather::TILE_ROWS + gather::BLOCK_ROWS}) + 1;
    return across * down * OFFSET_BYTES + (last + 1) * KERNEL_BYTES;
}

// Bytes per pixel of the stamps of a frame in which every pixel is one, in lists that
// double their room when they are full.
inline constexpr std::uint64_t STAMP_BYTES =
    2 * (sizeof(stamped_source) + sizeof(stamped_source::kernel));

// Bytes of the weights of one batch of stamp kernels, when kernels up to index `last` are
// needed.
inline std::uint64_t batch_bytes(std::size_t last) {
    return std::min<std::uint64_t>(stamp_list::BATCH_BYTES, kernel_table_bytes(last));
}
