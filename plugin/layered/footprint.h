#pragma once
// Memory that the layers of a frame take beside that of the fast tool, in bytes.

#include <cstdint>

#include "host/api/forecast.h"
#include "plugin/fast/stamps.h"
#include "plugin/layered/hidden_sources.h"
#include "plugin/layered/layer_gather.h"

// Of the diameters, of the pyramid that hidden sources are guessed by, and of hidden
// sources for a third of the pixels: more than most pictures have. Where every source is
// a stamp, also of the pixels between the layers, and of the stamps of one layer, which
// may be all.
inline std::uint64_t layer_bytes(const FrameShape& shape) {
    constexpr std::uint64_t CELL_BYTES = 24;
    constexpr std::uint64_t HIDDEN_BYTES =
        sizeof(layered::hidden_run) / gather::BLOCK_COLUMNS;
    constexpr std::uint64_t COMPOSED_BYTES = layered::COMPOSED * sizeof(float);
    const std::uint64_t pixels = static_cast<std::uint64_t>(shape.width) *
                                 static_cast<std::uint64_t>(shape.height);
    // a cell for four pixels, and a third more for the further levels
    std::uint64_t bytes = sizeof(float) + CELL_BYTES / 3 + HIDDEN_BYTES / 3;
    // lists that double their room when they are full
    if (shape.has_blur_image) bytes += COMPOSED_BYTES + 2 * sizeof(stamped_source);
    return pixels * bytes;
}
