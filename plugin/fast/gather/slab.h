#pragma once
// The blur of large smooth kernels: each row of sources is added to all rows of output
// pixels by way of a few of them. docs/gather.md tells how.

#include <cstdint>
#include <span>

#include "plugin/fast/gather/gather.h"
#include "plugin/fast/gather/profile_groups.h"

namespace gather {

// Slab: the output pixels of one piece of work, some columns of the whole picture. What a
// row of sources adds to them is made once, whatever its height.
inline constexpr std::int32_t SLAB_COLUMNS = 2 * TILE_COLUMNS;
inline constexpr std::int32_t SLAB_TILES_ACROSS = SLAB_COLUMNS / TILE_COLUMNS;

// From this largest radius on, in pixels, slabs are faster than macro tiles.
inline constexpr std::int32_t SLAB_RADIUS = 32;

// Adds all sources of the frame, whose form has_factors, to `sums`: the register tiles of
// the slab whose first column is `x`, row by row, as many as cover the picture's height.
// The caller zeroes them beforehand. `groups` are those of the frame's largest radius.
// The order of the additions to a pixel does not depend on the width of the machine's
// vectors, as with gather_macro_tile. Throws std::bad_alloc. [worker threads, several
// slabs at once]
void gather_slab(const gather_frame& frame, std::span<const profile_group> groups,
                 std::int32_t x, std::span<tile_sums> sums);

}  // namespace gather
