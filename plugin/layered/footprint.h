#pragma once
// Memory that the layers of a frame take beside that of the fast tool, in bytes.

#include <cstdint>

#include "host/api/forecast.h"
#include "plugin/layered/hidden_sources.h"

// Of the diameters, of the pyramid that hidden sources are guessed by, and of hidden
// sources for a third of the pixels: more than most pictures have.
inline std::uint64_t layer_bytes(const FrameShape& shape) {
    constexpr std::uint64_t CELL_BYTES = 24;
    constexpr std::uint64_t HIDDEN_BYTES =
        sizeof(layered::hidden_run) / gather::BLOCK_COLUMNS;
    const std::uint64_t pixels = static_cast<std::uint64_t>(shape.width) *
                                 static_cast<std::uint64_t>(shape.height);
    // a cell for four pixels, and a third more for the further levels
    return pixels * (sizeof(float) + CELL_BYTES / 3 + HIDDEN_BYTES / 3);
}
