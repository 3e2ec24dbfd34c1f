// Which sources matter to a register tile of the gather; included once for each kind of
// vectors.

#if defined(FOCUSFALL_FAST_HITS_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef FOCUSFALL_FAST_HITS_INL_H_
#undef FOCUSFALL_FAST_HITS_INL_H_
#else
#define FOCUSFALL_FAST_HITS_INL_H_
#endif

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>

#include <hwy/highway.h>

#include "fast/gather.h"
#include "fast/rules-inl.h"
#include "fast/window-inl.h"

HWY_BEFORE_NAMESPACE();
namespace HWY_NAMESPACE {
namespace {

// Offsets of sources, each as one number: BLOCK_ROWS * dx + row in the block. One list
// for all rows, since short loops of changing lengths are slow.
struct offset_list {
    std::unique_ptr<std::int32_t[]> codes;
    std::int32_t* last;  // beyond the last

    explicit offset_list(std::int32_t most)
        : codes(new std::int32_t[static_cast<std::size_t>(most + TILE_COLUMNS)]),
          last(codes.get()) {}

    void clear() { last = codes.get(); }
    bool empty() const { return last == codes.get(); }
    // for range loops
    const std::int32_t* begin() const { return codes.get(); }
    const std::int32_t* end() const { return last; }
};
constexpr std::int32_t offset_code(std::int32_t dx, std::int32_t row) {
    return BLOCK_ROWS * dx + row;
}
constexpr std::int32_t code_row(std::int32_t code) { return code & (BLOCK_ROWS - 1); }
constexpr std::int32_t code_dx(std::int32_t code) {
    return (code - code_row(code)) / BLOCK_ROWS;
}

// What matters to one register tile among one block of source rows.
struct hit_lists {
    offset_list partial;  // weighted each for itself
    offset_list single;   // weight 1 everywhere
    offset_list four;     // the same for it and the three columns on its right
    offset_list sixteen;
    offset_list whole;  // the same for TILE_COLUMNS columns and all rows
    offset_list mixed;  // groups of TILE_COLUMNS columns that differ from row to row

    explicit hit_lists(std::int32_t most)
        : partial(most),
          single(most),
          four(most / 4),
          sixteen(most / 16),
          whole(most / 16),
          mixed(most / 16) {}

    void clear() {
        partial.clear();
        single.clear();
        four.clear();
        sixteen.clear();
        whole.clear();
        mixed.clear();
    }
};

// Writes the offsets dx + i for the bits i of 16, dx and row being those of `code`, to
// `end`; gives the new end.
HWY_INLINE std::int32_t* write_offsets(std::int32_t* end, std::int32_t code,
                                       std::uint32_t bits) {
    const hn::RebindToSigned<vector_tag> integer_tag;
    for (std::int32_t i = 0; i < TILE_COLUMNS; i += LANES) {
        const std::uint32_t part = bits >> i & ((1U << LANES) - 1);
        std::uint8_t bytes[8] = {};
        std::memcpy(bytes, &part, sizeof part);
        const auto codes =
            hn::Add(hn::Mul(hn::Iota(integer_tag, i), hn::Set(integer_tag, BLOCK_ROWS)),
                    hn::Set(integer_tag, code));
        // by way of a register: compressing into memory is slow
        hn::StoreU(hn::Compress(codes, hn::LoadMaskBits(integer_tag, bytes)), integer_tag,
                   end);
        end += hwy::PopCount(part);
    }
    return end;
}

// Bit i of 16 tells whether a[i] > b[i], or a[i] >= b[i].
template <class Compare>
HWY_INLINE std::uint32_t bits_where(const float* a, const float* b, Compare compare) {
    const vector_tag tag;
    std::uint32_t bits = 0;
    for (std::int32_t i = 0; i < TILE_COLUMNS; i += LANES) {
        std::uint8_t bytes[8] = {};
        hn::StoreMaskBits(tag, compare(hn::LoadU(tag, a + i), hn::LoadU(tag, b + i)),
                          bytes);
        std::uint32_t part = 0;
        std::memcpy(&part, bytes, sizeof part);
        bits |= part << i;
    }
    return bits;
}
HWY_INLINE std::uint32_t bits_above(const float* a, const float* b) {
    return bits_where(a, b, [](vector p, vector q) HWY_ATTR { return hn::Gt(p, q); });
}
HWY_INLINE std::uint32_t bits_reached(const float* a, const float* b) {
    return bits_where(a, b, [](vector p, vector q) HWY_ATTR { return hn::Ge(p, q); });
}
constexpr std::uint32_t ALL_COLUMNS = (1U << TILE_COLUMNS) - 1;

// The block as the register tile at column `x`, `dy` rows above it, sees it.
HWY_INLINE tile_view look_at(const block_view& block, const source_window& window,
                             const offset_table& offsets, std::int32_t x,
                             std::int32_t dy) {
    return {block.source + x,
            window.data - window.first_column + x,
            window.row_factors - window.first_column + x,
            window.column_factors - window.macro_column + x,
            offsets.index(0, dy),
            block.plane_stride,
            block.row_stride,
            window.row_factor_stride,
            window.column_factor_stride};
}

// How many columns off a source of that reach matters at most.
HWY_INLINE std::int32_t half_chord(closed_form form, float reach, std::int32_t dy) {
    if (reach < 0.0F) return -1;  // NO_REACH
    if (form == closed_form::GAUSSIAN || form == closed_form::LAPLACIAN) {
        return static_cast<float>(dy) < reach ? static_cast<std::int32_t>(reach) : -1;
    }
    const float square = (reach + 1.0F) * (reach + 1.0F) - static_cast<float>(dy * dy);
    return square > 0.0F ? static_cast<std::int32_t>(std::sqrt(square)) + 1 : -1;
}

// Sorts the groups of offsets from `first_dx` to `last_dx` by what all rows of the block
// have in common.
HWY_INLINE void find_groups(const gather_frame& frame, const source_window& window,
                            const tile_view& view, std::int32_t first_dx,
                            std::int32_t last_dx, hit_lists& lists) {
    const std::ptrdiff_t row = BLOCK_ROWS * window.row_stride;
    const float* most = view.window + row + source_window::MAX_REACH * window.part_stride;
    const float* least =
        view.window + row + source_window::MIN_REACH * window.part_stride;
    const float* miss = frame.offsets->block_miss.data() + view.offset;
    const float* full = frame.offsets->block_full.data() + view.offset;
    std::int32_t* whole = lists.whole.last;
    std::int32_t* mixed = lists.mixed.last;
    for (std::int32_t dx = first_dx; dx <= last_dx; dx += TILE_COLUMNS) {
        if (bits_above(most + dx, miss + dx) == 0) continue;
        const bool all =
            window.with_groups && bits_reached(least + dx, full + dx) == ALL_COLUMNS;
        (all ? *whole++ : *mixed++) = offset_code(dx, 0);
    }
    lists.whole.last = whole;
    lists.mixed.last = mixed;
}

// Sorts the offsets of the mixed groups, row by row, by what they add to the tile.
// Without branches, which could not be foretold.
template <bool WITH_SUMS>
HWY_INLINE void sort_mixed(const gather_frame& frame, const source_window& window,
                           const tile_view& view, std::int32_t rows, hit_lists& lists) {
    const offset_table& offsets = *frame.offsets;
    // in registers meanwhile
    std::int32_t* partial = lists.partial.last;
    std::int32_t* single = lists.single.last;
    std::int32_t* four = lists.four.last;
    std::int32_t* sixteen = lists.sixteen.last;
    // without sums of groups no bits make one
    const std::uint32_t group = window.with_groups ? ALL_COLUMNS : ~0U;
    for (const std::int32_t first : lists.mixed) {
        const float* reach = view.window + code_dx(first);
        std::ptrdiff_t offset = view.offset + code_dx(first);
        for (std::int32_t code = first; code < first + rows; ++code) {
            const std::uint32_t some =
                bits_above(reach + source_window::MAX_REACH * window.part_stride,
                           offsets.miss.data() + offset);
            std::uint32_t full = 0;
            if (WITH_SUMS) {
                full = bits_reached(reach + source_window::MIN_REACH * window.part_stride,
                                    offsets.full.data() + offset);
            }
            partial = write_offsets(partial, code, some & ~full);
            if (WITH_SUMS) {
                *sixteen = code;
                sixteen += full == group ? 1 : 0;
                const std::uint32_t rest = full == group ? 0 : full;
                const std::uint32_t pairs = rest & rest >> 1;
                const std::uint32_t fours = pairs & pairs >> 2 & 0x1111;
                four = write_offsets(four, code, fours);
                single = write_offsets(single, code, rest & ~(fours * 0xF));
            }
            reach += window.row_stride;
            offset += offsets.stride;
        }
    }
    lists.partial.last = partial;
    lists.single.last = single;
    lists.four.last = four;
    lists.sixteen.last = sixteen;
}

// Finds the sources that matter to the tile at column `x`, `dy` rows above the block of
// `rows` rows.
HWY_NOINLINE void find_hits(const gather_frame& frame, const source_window& window,
                            const tile_view& view, std::int32_t dy, std::int32_t rows,
                            std::int32_t x, hit_lists& lists) {
    lists.clear();
    const offset_table& offsets = *frame.offsets;
    const std::int32_t half =
        half_chord(frame.form, window.largest_reach,
                   std::max({0, -(dy + rows - 1), dy - (TILE_ROWS - 1)}));
    // a reach with a fraction may end a column beyond its kernel, and the table
    const std::int32_t first_dx =
        std::max({-half & -TILE_COLUMNS, -offsets.columns, window.first_column - x});
    const std::int32_t last_dx = std::min(half, window.last_column - x - 1);
    if (half < 0 || first_dx > last_dx) return;
    find_groups(frame, window, view, first_dx, last_dx, lists);
    if (frame.with_sums) {
        sort_mixed<true>(frame, window, view, rows, lists);
    } else {
        sort_mixed<false>(frame, window, view, rows, lists);
    }
}

}  // namespace
}  // namespace HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
