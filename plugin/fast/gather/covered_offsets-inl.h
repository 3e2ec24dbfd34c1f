// Which sources of a window have weight in a register tile; included once for each kind
// of vectors.
//
// The offsets dx .. dx + 15 from a register tile, with dx a multiple of 16, are a strip.
// A strip is first judged for all rows of the window at once: most are out of reach, or
// fully covered. Only those that stay undecided are judged row by row.
//
// It is longer than a header should be: the lists, their meaning and the two judgements
// that fill them are read together.

#if defined(FOCUSFALL_GATHER_COVERED_OFFSETS_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef FOCUSFALL_GATHER_COVERED_OFFSETS_INL_H_
#undef FOCUSFALL_GATHER_COVERED_OFFSETS_INL_H_
#else
#define FOCUSFALL_GATHER_COVERED_OFFSETS_INL_H_
#endif

#include <algorithm>
#include <cmath>
#include <memory>

#include <hwy/highway.h>

#include "plugin/fast/gather/gather.h"
#include "plugin/fast/gather/vectors-inl.h"
#include "plugin/fast/gather/window-inl.h"

HWY_BEFORE_NAMESPACE();
namespace gather {
namespace HWY_NAMESPACE {
namespace {

// A list of numbers that is filled by vectors, which write up to TILE_COLUMNS beyond its
// end. One list for all rows of a window, since loops over short lists of changing length
// are slow.
struct offset_list {
    std::unique_ptr<std::int32_t[]> numbers;
    std::int32_t* last;  // beyond the last

    // For at most `max` numbers. Throws std::bad_alloc.
    explicit offset_list(std::int32_t max)
        : numbers(new std::int32_t[static_cast<std::size_t>(max + TILE_COLUMNS)]),
          last(numbers.get()) {}

    void clear() { last = numbers.get(); }
    bool empty() const { return last == numbers.get(); }
    // for range loops
    const std::int32_t* begin() const { return numbers.get(); }
    const std::int32_t* end() const { return last; }
};

// What one window adds to one register tile. An offset is covered when one of its 16
// sources has weight in at least one row of the tile; fully, when all have weight 1 in
// all rows.
struct covered_offsets {
    offset_list partly_covered;  // source offsets, to be weighted
    offset_list fully_covered;   // places of sums from tile_view::window on
    offset_list undecided;       // the first dx of strips that differ from row to row

    // For offsets of up to `columns` columns to either side, a multiple of TILE_COLUMNS.
    explicit covered_offsets(std::int32_t columns)
        : partly_covered(BLOCK_ROWS * (2 * columns + TILE_COLUMNS)),
          fully_covered(BLOCK_ROWS * (2 * columns + TILE_COLUMNS)),
          undecided(BLOCK_ROWS * (2 * columns / TILE_COLUMNS + 1)) {}

    // Whether nothing is covered.
    bool empty() const { return partly_covered.empty() && fully_covered.empty(); }

    void clear() {
        partly_covered.clear();
        fully_covered.clear();
        undecided.clear();
    }
};

// Appends `first + i` for each set bit i of `bits` (16 bits), `first + i + step` where
// `stepped` is set too. Returns the new end.
HWY_INLINE std::int32_t* append_bits(std::int32_t* end, std::int32_t first,
                                     std::uint32_t bits, std::uint32_t stepped = 0,
                                     std::int32_t step = 0) {
    const integer_tag tag;
    for (std::int32_t i = 0; i < TILE_COLUMNS; i += LANES) {
        const auto steps =
            hn::IfThenElseZero(mask_of_bits(stepped, i), hn::Set(tag, step));
        const auto numbers =
            hn::Add(hn::Iota(tag, i), hn::Add(hn::Set(tag, first), steps));
        // by way of a register: compressing into memory is slow
        hn::StoreU(hn::Compress(numbers, mask_of_bits(bits, i)), tag, end);
        end += hwy::PopCount(bits >> i & ((1U << LANES) - 1));
    }
    return end;
}

// Half the width, in columns, of what the window's sources can cover in tiles whose first
// row is `dy` rows above it: the chord of the largest kernel at that distance. -1 when
// they cover nothing.
inline std::int32_t half_chord(closed_form form, const source_window& window,
                               std::int32_t dy) {
    const float reach = window.largest_reach;
    if (reach < 0.0F) return -1;  // NO_REACH
    // rows between the nearest rows of the window and the tiles
    const std::int32_t gap = std::max({0, -(dy + window.rows - 1), dy - (TILE_ROWS - 1)});
    if (has_factors(form)) {
        // kernels that fill their square
        return static_cast<float>(gap) < reach ? static_cast<std::int32_t>(reach) : -1;
    }
    const float square = (reach + 1.0F) * (reach + 1.0F) - static_cast<float>(gap * gap);
    return square > 0.0F ? static_cast<std::int32_t>(std::sqrt(square)) + 1 : -1;
}

// Judges the strips with offsets from `first_dx` to `last_dx` for all rows at once: those
// within reach become one fully covered place, or undecided.
HWY_INLINE void sort_strips(const gather_frame& frame, const source_window& window,
                            const tile_view& view, std::int32_t first_dx,
                            std::int32_t last_dx, covered_offsets& covered) {
    const float* const max_reach =
        view.window + window.place(BLOCK_ROWS, source_window::MAX_REACH);
    const float* const min_reach =
        view.window + window.place(BLOCK_ROWS, source_window::MIN_REACH);
    const float* const miss = frame.offsets->block_miss.data() + view.table_entry;
    const float* const full = frame.offsets->block_full.data() + view.table_entry;
    const std::int32_t sum_of_all = window.place(BLOCK_ROWS, source_window::SUM_16);
    std::int32_t* fully_covered = covered.fully_covered.last;
    std::int32_t* undecided = covered.undecided.last;
    for (std::int32_t dx = first_dx; dx <= last_dx; dx += TILE_COLUMNS) {
        const bool some = bits_greater(max_reach + dx, miss + dx) != 0;
        const bool all =
            window.with_strips && bits_not_less(min_reach + dx, full + dx) == ALL_COLUMNS;
        // branch-free: written in any case, kept where the end moves on
        *fully_covered = sum_of_all + dx;
        fully_covered += some && all ? 1 : 0;
        *undecided = dx;
        undecided += some && !all ? 1 : 0;
    }
    covered.fully_covered.last = fully_covered;
    covered.undecided.last = undecided;
}

// Where a window has the sums over 1, 4 and 16 sources, as places of its first row.
struct sum_places {
    std::int32_t one;
    std::int32_t four;
    std::int32_t sixteen;
    std::uint32_t strip;  // the bits that are added as one sum over 16
};

// Appends the places of the sums for the fully covered offsets of a strip in one row. Bit
// i of `full` is source offset `first + i`. All 16 bits are one sum, four from a multiple
// of 4 on are one sum, each of the others is one source:
//
//     bit   15 14 13 12   11 10  9  8    7  6  5  4    3  2  1  0
//     full   0  0  0  0    1  1  1  1    0  1  1  0    1  1  1  1
//     added               four from 8       6  5      four from 0
//
// Returns the new end.
HWY_INLINE std::int32_t* append_fully_covered(std::int32_t* end, const sum_places& places,
                                              source_offset first, std::uint32_t full) {
    *end = places.sixteen + first;
    end += full == places.strip ? 1 : 0;
    const std::uint32_t rest = full == places.strip ? 0 : full;
    // bit i of `pairs`: i and i + 1 are set; of `fours`: i .. i + 3, i a multiple of 4
    const std::uint32_t pairs = rest & rest >> 1;
    const std::uint32_t fours = pairs & pairs >> 2 & 0x1111;
    const std::uint32_t ones = rest & ~(fours * 0xF);
    return append_bits(end, places.one + first, ones | fours, fours,
                       places.four - places.one);
}

// Judges the undecided strips row by row. Branch-free: which offsets are covered is
// unpredictable.
template <bool WITH_SUMS>
HWY_INLINE void sort_undecided(const gather_frame& frame, const source_window& window,
                               const tile_view& view, covered_offsets& covered) {
    const std::int32_t rows = window.rows;
    const std::int32_t stride = window.row_stride;
    const float* const max_reach =
        view.window + window.place(0, source_window::MAX_REACH);
    const float* const min_reach =
        view.window + window.place(0, source_window::MIN_REACH);
    const float* const miss = frame.offsets->miss.data() + view.table_entry;
    const float* const full = frame.offsets->full.data() + view.table_entry;
    const sum_places places = {.one = window.place(0, source_planes::WEIGHT),
                               .four = window.place(0, source_window::SUM_4),
                               .sixteen = window.place(0, source_window::SUM_16),
                               // no 16 bits equal ~0: without sums over 16, none is added
                               .strip = window.with_strips ? ALL_COLUMNS : ~0U};
    // ends of the lists, in registers meanwhile
    std::int32_t* partly_covered = covered.partly_covered.last;
    std::int32_t* fully_covered = covered.fully_covered.last;
    for (const std::int32_t dx : covered.undecided) {
        source_offset offset = dx;
        for (std::int32_t row = 0; row < rows; ++row, offset += stride) {
            const std::uint32_t some = bits_greater(max_reach + offset, miss + offset);
            if constexpr (WITH_SUMS) {
                const std::uint32_t all =
                    bits_not_less(min_reach + offset, full + offset);
                partly_covered = append_bits(partly_covered, offset, some & ~all);
                fully_covered = append_fully_covered(fully_covered, places, offset, all);
            } else {
                partly_covered = append_bits(partly_covered, offset, some);
            }
        }
    }
    covered.partly_covered.last = partly_covered;
    covered.fully_covered.last = fully_covered;
}

// Finds the sources of the window that are within `half` columns of a register tile whose
// first column is `x`, and have weight in it.
HWY_NOINLINE void find_covered(const gather_frame& frame, const source_window& window,
                               const tile_view& view, std::int32_t half, std::int32_t x,
                               covered_offsets& covered) {
    covered.clear();
    // a reach with a fraction may end a column beyond its kernel, and the table
    const std::int32_t first_dx = std::max(
        {-half & -TILE_COLUMNS, -frame.offsets->columns, window.first_column - x});
    const std::int32_t last_dx = std::min(half, window.last_column - x - 1);
    if (first_dx > last_dx) return;
    sort_strips(frame, window, view, first_dx, last_dx, covered);
    if (frame.with_sums) {
        sort_undecided<true>(frame, window, view, covered);
    } else {
        sort_undecided<false>(frame, window, view, covered);
    }
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace gather
HWY_AFTER_NAMESPACE();

#endif
