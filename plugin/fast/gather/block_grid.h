#pragma once
// What is known of a block of sources as a whole: how far they reach, so that blocks
// which reach no pixel of a macro tile are skipped unread.

#include <cstddef>
#include <cstdint>
#include <vector>

namespace gather {

// Sources grouped by blur radius. Across a depth edge neighbours have very different
// radii, so the tests for a whole vector (none covered, all fully covered) rarely
// succeed; within one group they do. The gather goes over the sources once per group.
struct reach_groups {
    std::int32_t count = 1;
    float step = NO_END;  // pixels of reach from group to group

    // The groups for EDGE with kernels up to that radius, in pixels. Small radii gain
    // nothing from groups, and neither do other forms: they use the default, one group.
    static reach_groups up_to(std::int32_t radius) {
        constexpr std::int32_t MIN_RADIUS = 32;
        if (radius < MIN_RADIUS) return {};
        return {4, static_cast<float>(radius) / 4.0F};
    }

    // The sources of a group have reaches from `from` to less than `to`, in pixels.
    float from(std::int32_t group) const { return static_cast<float>(group) * step; }
    float to(std::int32_t group) const {
        return group + 1 < count ? from(group + 1) : NO_END;
    }

  private:
    static constexpr float NO_END = 1e30F;  // pixels, beyond any reach
};

// One record per block, BLOCK_COLUMNS x BLOCK_ROWS sources.
struct block_grid {
    struct block {
        float reach;           // the largest, pixels; NO_REACH for none
        bool opaque;           // alpha is 1 everywhere
        std::uint32_t groups;  // bit i: some sources are of group i

        bool has(std::int32_t group) const { return (groups >> group & 1U) != 0; }
    };
    reach_groups groups;
    std::int32_t columns = 0;   // blocks
    std::int32_t rows = 0;      // blocks
    std::vector<block> blocks;  // row by row

    // Makes room for that many blocks, which are unset. Throws std::bad_alloc. [render
    // thread]
    void resize(std::int32_t new_columns, std::int32_t new_rows) {
        columns = new_columns;
        rows = new_rows;
        blocks.resize(static_cast<std::size_t>(columns) * static_cast<std::size_t>(rows));
    }
    // First block of a row of blocks.
    block* row(std::int32_t number) { return blocks.data() + index(number); }
    const block* row(std::int32_t number) const { return blocks.data() + index(number); }

  private:
    std::ptrdiff_t index(std::int32_t row) const { return std::ptrdiff_t{row} * columns; }
};

}  // namespace gather
