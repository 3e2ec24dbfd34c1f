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
#include <type_traits>

#include <hwy/highway.h>

#include "plugin/fast/gather/gather.h"
#include "plugin/fast/gather/rules-inl.h"
#include "plugin/fast/gather/window-inl.h"

HWY_BEFORE_NAMESPACE();
namespace HWY_NAMESPACE {
namespace {

// Numbers of sources or sums that matter. One list for all rows, since short loops of
// changing lengths are slow.
struct code_list {
    std::unique_ptr<std::int32_t[]> codes;
    std::int32_t* last;  // beyond the last

    explicit code_list(std::int32_t most)
        : codes(new std::int32_t[static_cast<std::size_t>(most + TILE_COLUMNS)]),
          last(codes.get()) {}

    void clear() { last = codes.get(); }
    bool empty() const { return last == codes.get(); }
    // for range loops
    const std::int32_t* begin() const { return codes.get(); }
    const std::int32_t* end() const { return last; }
};

// What matters to one register tile among one block of source rows.
struct hit_lists {
    code_list partial;  // weighted each for itself: hit::code
    code_list full;     // weight 1 everywhere: places, from tile_view::window, of sums
    code_list mixed;    // the first dx of groups that differ from row to row

    explicit hit_lists(std::int32_t most)
        : partial(most), full(most), mixed(most / TILE_COLUMNS) {}

    void clear() {
        partial.clear();
        full.clear();
        mixed.clear();
    }
};

using integer_tag = hn::RebindToSigned<vector_tag>;
using mask_bits = std::conditional_t<LANES == 16, std::uint16_t, std::uint8_t>;

// A mask with bits i to i + LANES - 1 of 16.
HWY_INLINE hn::Mask<integer_tag> mask_of_bits(std::uint32_t bits, std::int32_t i) {
    const std::uint32_t part = bits >> i & ((1U << LANES) - 1);
    std::uint8_t bytes[8] = {};
    std::memcpy(bytes, &part, sizeof part);
    return hn::LoadMaskBits(integer_tag(), bytes);
}

// Writes first + i for the bits i of 16 to `end`, and `step` more for those of `stepped`;
// gives the new end.
HWY_INLINE std::int32_t* write_codes(std::int32_t* end, std::int32_t first,
                                     std::uint32_t bits, std::uint32_t stepped = 0,
                                     std::int32_t step = 0) {
    const integer_tag tag;
    for (std::int32_t i = 0; i < TILE_COLUMNS; i += LANES) {
        const auto steps =
            hn::IfThenElseZero(mask_of_bits(stepped, i), hn::Set(tag, step));
        const auto codes = hn::Add(hn::Iota(tag, i), hn::Add(hn::Set(tag, first), steps));
        // by way of a register: compressing into memory is slow
        hn::StoreU(hn::Compress(codes, mask_of_bits(bits, i)), tag, end);
        end += hwy::PopCount(bits >> i & ((1U << LANES) - 1));
    }
    return end;
}

// Bit i of 16 tells whether a[i] > b[i], or a[i] >= b[i].
template <class Compare>
HWY_INLINE std::uint32_t bits_where(const float* a, const float* b, Compare compare) {
    const vector_tag tag;
    std::uint32_t bits = 0;
    for (std::int32_t i = 0; i < TILE_COLUMNS; i += LANES) {
        std::uint8_t bytes[8];
        hn::StoreMaskBits(tag, compare(hn::LoadU(tag, a + i), hn::LoadU(tag, b + i)),
                          bytes);
        mask_bits part = 0;
        std::memcpy(&part, bytes, sizeof part);
        bits |= std::uint32_t{part} << i;
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
HWY_INLINE tile_view look_at(const source_window& window, const offset_table& offsets,
                             std::int32_t x, std::int32_t dy) {
    return {window.data - window.first_column + x,
            window.column_factors - window.macro_column + x, offsets.index(0, dy),
            window.part_stride};
}

// How many columns off the block's sources matter at most to tiles `dy` rows above it;
// -1 when none does.
inline std::int32_t half_chord(closed_form form, const source_window& window,
                               std::int32_t tile_dy) {
    const float reach = window.largest_reach;
    const std::int32_t dy =
        std::max({0, -(tile_dy + window.rows - 1), tile_dy - (TILE_ROWS - 1)});
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
    const float* most = view.window + window.place(BLOCK_ROWS, source_window::MAX_REACH);
    const float* least = view.window + window.place(BLOCK_ROWS, source_window::MIN_REACH);
    const float* miss = frame.offsets->block_miss.data() + view.offset;
    const float* full = frame.offsets->block_full.data() + view.offset;
    const std::int32_t whole = window.place(BLOCK_ROWS, source_window::SUM_16);
    std::int32_t* wholes = lists.full.last;
    std::int32_t* mixed = lists.mixed.last;
    for (std::int32_t dx = first_dx; dx <= last_dx; dx += TILE_COLUMNS) {
        const bool some = bits_above(most + dx, miss + dx) != 0;
        const bool all =
            window.with_groups && bits_reached(least + dx, full + dx) == ALL_COLUMNS;
        *wholes = whole + dx;
        wholes += some && all ? 1 : 0;
        *mixed = dx;
        mixed += some && !all ? 1 : 0;
    }
    lists.full.last = wholes;
    lists.mixed.last = mixed;
}

// Sorts the offsets of the mixed groups, row by row, by what they add to the tile.
// Without branches, which could not be foretold.
template <bool WITH_SUMS>
HWY_INLINE void sort_mixed(const gather_frame& frame, const source_window& window,
                           const tile_view& view, hit_lists& lists) {
    const std::int32_t rows = window.rows;
    const std::int32_t stride = window.row_stride;
    const float* const most = view.window + window.place(0, source_window::MAX_REACH);
    const float* const least = view.window + window.place(0, source_window::MIN_REACH);
    const float* const miss = frame.offsets->miss.data() + view.offset;
    const float* const reached = frame.offsets->full.data() + view.offset;
    const std::int32_t single =
        window.place(0, source_window::source(source_planes::WEIGHT));
    const std::int32_t four = window.place(0, source_window::SUM_4);
    const std::int32_t sixteen = window.place(0, source_window::SUM_16);
    // without sums of groups no bits make one
    const std::uint32_t group = window.with_groups ? ALL_COLUMNS : ~0U;
    // in registers meanwhile
    std::int32_t* partial = lists.partial.last;
    std::int32_t* places = lists.full.last;
    for (const std::int32_t dx : lists.mixed) {
        std::int32_t code = dx;
        for (std::int32_t row = 0; row < rows; ++row, code += stride) {
            const std::uint32_t some = bits_above(most + code, miss + code);
            if (!WITH_SUMS) {
                partial = write_codes(partial, code, some);
                continue;
            }
            const std::uint32_t full = bits_reached(least + code, reached + code);
            partial = write_codes(partial, code, some & ~full);
            *places = sixteen + code;
            places += full == group ? 1 : 0;
            const std::uint32_t rest = full == group ? 0 : full;
            const std::uint32_t pairs = rest & rest >> 1;
            const std::uint32_t fours = pairs & pairs >> 2 & 0x1111;
            places = write_codes(places, single + code, (rest & ~(fours * 0xF)) | fours,
                                 fours, four - single);
        }
    }
    lists.partial.last = partial;
    lists.full.last = places;
}

// Finds the sources that matter to the tile at column `x` and lie up to `half` columns
// off.
HWY_NOINLINE void find_hits(const gather_frame& frame, const source_window& window,
                            const tile_view& view, std::int32_t half, std::int32_t x,
                            hit_lists& lists) {
    lists.clear();
    // a reach with a fraction may end a column beyond its kernel, and the table
    const std::int32_t first_dx = std::max(
        {-half & -TILE_COLUMNS, -frame.offsets->columns, window.first_column - x});
    const std::int32_t last_dx = std::min(half, window.last_column - x - 1);
    if (first_dx > last_dx) return;
    find_groups(frame, window, view, first_dx, last_dx, lists);
    if (frame.with_sums) {
        sort_mixed<true>(frame, window, view, lists);
    } else {
        sort_mixed<false>(frame, window, view, lists);
    }
}

}  // namespace
}  // namespace HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
