// The sources that one macro tile looks at together, and how a register tile addresses
// them; included once for each kind of vectors. It is longer than a header should be: the
// layout of a window and the addresses into it are read together.

#if defined(FOCUSFALL_GATHER_WINDOW_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef FOCUSFALL_GATHER_WINDOW_INL_H_
#undef FOCUSFALL_GATHER_WINDOW_INL_H_
#else
#define FOCUSFALL_GATHER_WINDOW_INL_H_
#endif

#include <cstddef>
#include <cstdint>
#include <memory>

#include <hwy/highway.h>

#include "plugin/fast/gather/gather.h"
#include "plugin/fast/gather/vectors-inl.h"

HWY_BEFORE_NAMESPACE();
namespace gather {
namespace HWY_NAMESPACE {
namespace {

// A copy of the sources of one row of blocks and one reach group that may reach the macro
// tile, with arrays derived from them (`parts`). Each part has BLOCK_ROWS rows and one
// more, row BLOCK_ROWS, which combines them all (max, min or sum). All rows have
// `row_stride` floats, as those of the offset table.
struct source_window {
    enum parts : std::int32_t {
        // first, copies of the planes of the sources, in their order
        MAX_REACH = source_planes::PLANES,  // over 16 sources from this one on
        MIN_REACH,                          // likewise, of the magnitudes
        SUM_4,                        // of each quantity over 4 sources from this one on
        SUM_16 = SUM_4 + QUANTITIES,  // likewise, over 16
        // GAUSSIAN, LAPLACIAN: the factors of the weights that depend on dy, for each of
        // a tile's rows
        ROW_FACTORS = SUM_16 + QUANTITIES,
        SECOND_ROW_FACTORS = ROW_FACTORS + TILE_ROWS,
        PARTS = SECOND_ROW_FACTORS + TILE_ROWS,
    };

    // Places in the picture, pixels.
    std::int32_t macro_column;  // first of the macro tile
    std::int32_t first_column;
    std::int32_t last_column;  // beyond the last
    std::int32_t first_row;
    std::int32_t rows;  // at most BLOCK_ROWS

    // All parts, one behind the other; strides in floats.
    float* data;
    std::int32_t part_stride;
    std::int32_t row_stride;

    float row_reach[BLOCK_ROWS];  // the largest of a row, pixels; NO_REACH for none
    float largest_reach;          // of all rows
    bool with_strips;             // SUM_16, and MIN_REACH of all rows, are filled

    // GAUSSIAN, LAPLACIAN: the factors of the weights that depend on dx. For each source
    // offset MACRO_COLUMNS of them, one for each column of the macro tile. Points at
    // those of offset 0; the second factors lie behind all first ones.
    float* column_factors;
    std::ptrdiff_t second_column_factors;

    std::int32_t columns() const { return last_column - first_column; }
    // Index of column first_column of a row of a part.
    std::int32_t place(std::int32_t row, std::int32_t part) const {
        return row * row_stride + part * part_stride;
    }
    float* at(std::int32_t row, std::int32_t part) const {
        return data + place(row, part);
    }
};

// Floats from the first column factors of a frame's windows to the second ones; 0 where
// the form has none.
HWY_INLINE std::ptrdiff_t second_column_factors(const gather_frame& frame) {
    if (!has_factors(frame.form)) return 0;
    return std::ptrdiff_t{BLOCK_ROWS} * frame.offsets->stride * MACRO_COLUMNS;
}

// The memory of the windows of one macro tile, which are used one after the other.
class window_storage {
  public:
    // Throws std::bad_alloc.
    window_storage(const gather_frame& frame, std::int32_t macro_column) {
        window_.macro_column = macro_column;
        window_.row_stride = frame.offsets->stride;
        window_.part_stride = (BLOCK_ROWS + 1) * window_.row_stride;
        window_.second_column_factors = second_column_factors(frame);

        const std::ptrdiff_t parts =
            std::ptrdiff_t{source_window::PARTS} * window_.part_stride;
        const std::ptrdiff_t all = parts + 2 * window_.second_column_factors;
        // not initialised: most frames touch a part only
        memory_.reset(new float[static_cast<std::size_t>(all)]);
        window_.data = memory_.get();
        window_.column_factors = memory_.get() + parts +
                                 std::ptrdiff_t{frame.offsets->columns} * MACRO_COLUMNS;
    }
    // The window with its addresses set; it has no sources yet.
    const source_window& window() const { return window_; }

  private:
    source_window window_{};
    std::unique_ptr<float[]> memory_;
};

// From an output pixel to a source of the window in one number: its row in the window *
// row_stride + dx. It leads to the source in every part of the window, to its entry in
// the offset table and to its column factors.
using source_offset = std::int32_t;

// One step of the inner loops: LANES neighbouring output pixels, from `column` of the
// register tile on, with the LANES sources at the same offset from each.
struct lane_step {
    source_offset offset;
    std::int32_t column;
};

// Base addresses for one (window, register tile) pair: all point at dx = 0, the window's
// first row, the tile's first pixel.
struct tile_view {
    const float* window;  // the first part
    const float* column_factors;
    std::ptrdiff_t table_entry;  // index in the offset table
    std::ptrdiff_t part_stride;  // floats

    HWY_INLINE vector load(std::int32_t part, const lane_step& step) const {
        return hn::LoadU(vector_tag(),
                         window + part * part_stride + step.offset + step.column);
    }
    HWY_INLINE const float* at_column_factor(const lane_step& step) const {
        return column_factors + std::ptrdiff_t{step.offset} * MACRO_COLUMNS + step.column;
    }
    // Index in the offset table, as seen from a row of the tile.
    HWY_INLINE std::ptrdiff_t at_table(const lane_step& step, const offset_table& offsets,
                                       std::int32_t row) const {
        return table_entry + step.offset - row * std::ptrdiff_t{offsets.stride};
    }
};

// The window as seen by the register tile whose first column is `x` of the picture and
// whose first row lies `dy` rows above the window.
HWY_INLINE tile_view view_from(const source_window& window, const offset_table& offsets,
                               std::int32_t x, std::int32_t dy) {
    return {.window = window.data - window.first_column + x,
            .column_factors = window.column_factors - window.macro_column + x,
            .table_entry = offsets.index(0, dy),
            .part_stride = window.part_stride};
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace gather
HWY_AFTER_NAMESPACE();

#endif
