#pragma once
// Memory of a frame with blur of the fast tool beside its images, in bytes. Records count
// by their size; what lists need beside their elements is as near as makes no difference.

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "plugin/fast/gather/offset_table.h"
#include "plugin/fast/gather/source_planes.h"
#include "plugin/fast/gather/tiling.h"
#include "plugin/fast/stamps.h"
#include "plugin/render/footprint.h"

// Of the sources of a frame that is gathered: a float a plane, margins included.
inline std::uint64_t source_bytes(std::int32_t width, std::int32_t height) {
    const std::int64_t columns = std::int64_t{width} + 2 * gather::GATHER_MARGIN;
    return static_cast<std::uint64_t>(columns * height) * gather::source_planes::PLANES *
           sizeof(float);
}

// Of the tables of a gather up to kernel `last`: what is known of each offset, and of
// each kernel together with what its weight follows from.
inline std::uint64_t gather_table_bytes(std::size_t last) {
    constexpr std::uint64_t OFFSET_BYTES = 9 * sizeof(float);
    constexpr std::uint64_t KERNEL_BYTES =
        sizeof(gather::kernel_terms) + 5 * sizeof(double);
    const auto reach = static_cast<std::uint64_t>(lens::kernel_radius(last));
    const std::uint64_t across = 2 * reach + 2 * gather::MACRO_COLUMNS;
    const std::uint64_t down =
        2 * reach + 4 * (gather::TILE_ROWS + gather::BLOCK_ROWS) + 1;
    return across * down * OFFSET_BYTES + (last + 1) * KERNEL_BYTES;
}

// Of the stamps of a frame where all pixels have one, in lists that double when they are
// full.
inline constexpr std::uint64_t STAMP_BYTES =
    2 * (sizeof(stamped_source) + sizeof(stamped_source::kernel));

// Of the kernels of a batch of stamps, when there are those up to `last`.
inline std::uint64_t batch_bytes(std::size_t last) {
    return std::min<std::uint64_t>(stamp_list::BATCH_BYTES, kernel_table_bytes(last));
}
