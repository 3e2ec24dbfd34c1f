#pragma once
// How the gather divides the picture, in pixels. docs/gather.md shows it in one drawing.

#include <cstdint>

namespace gather {

// Register tile: the output pixels whose sums the innermost loop keeps in registers.
inline constexpr std::int32_t TILE_COLUMNS = 16;  // the lanes of the widest vectors
inline constexpr std::int32_t TILE_ROWS = 4;

// Macro tile: the output pixels of one piece of work, owned by one worker thread. Large
// enough that what is prepared for it is used often, small enough for the cache.
inline constexpr std::int32_t MACRO_COLUMNS = 128;
inline constexpr std::int32_t MACRO_ROWS = 64;
inline constexpr std::int32_t TILES_ACROSS = MACRO_COLUMNS / TILE_COLUMNS;
inline constexpr std::int32_t MACRO_TILES = TILES_ACROSS * (MACRO_ROWS / TILE_ROWS);

// Block: the sources whose largest reach is kept, so that they can be skipped together.
inline constexpr std::int32_t BLOCK_COLUMNS = 64;
inline constexpr std::int32_t BLOCK_ROWS = 8;

// Columns on either side of the picture that the gather may read: the rest of the last
// block, and what vectors read that begin in it.
inline constexpr std::int32_t GATHER_MARGIN = BLOCK_COLUMNS + 2 * TILE_COLUMNS;

// How many pieces of `piece` pixels cover `size` pixels; the last may be cut off.
constexpr std::int32_t pieces(std::int32_t size, std::int32_t piece) {
    return (size + piece - 1) / piece;
}

}  // namespace gather
