#pragma once
// Finds where neighbouring pixels are apart in depth: most are not, which vectors tell of
// many at once.

#include <cstdint>

#include "plugin/layered/diameter_map.h"

namespace layered {

// One bit for each of the BLOCK_COLUMNS pixels of a run.
using run_bits = std::uint64_t;
static_assert(gather::BLOCK_COLUMNS == 64);

// From a pixel to the next of a line through it.
struct line_step {
    std::int32_t x;
    std::int32_t y;
};
inline constexpr line_step LINES[] = {{1, 0}, {0, 1}, {1, 1}, {1, -1}};
inline constexpr std::int32_t LINE_COUNT = 4;

// The functions below are about the pixels of row `y` from `x` on, a multiple of
// BLOCK_COLUMNS; the bits of columns outside the picture are 0. [any thread]

// Those with one of their four neighbours deeper than they are by at least that many
// pixels of diameter.
run_bits deeper_beside(const diameter_map& map, std::int32_t x, std::int32_t y,
                       float least);
// Those with one of them nearer by more than that.
run_bits nearer_beside(const diameter_map& map, std::int32_t x, std::int32_t y,
                       float least);

// How far surfaces may go on unevenly beyond an edge, as a part of the step between them.
inline constexpr float EVEN = 0.1F;
// For each line, those that may lie between two surfaces along it, at least `least`
// apart: they lie between their neighbours, on a step that goes on evenly on one side,
// and on both as far as two pixels on either side tell. False where the run has no steps.
bool steps_along_lines(const diameter_map& map, std::int32_t x, std::int32_t y,
                       float least, run_bits (&lines)[LINE_COUNT]);

}  // namespace layered
