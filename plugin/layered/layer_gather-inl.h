// The way over the layers of one macro tile; included once for each kind of vectors.

#if defined(FOCUSFALL_LAYERED_LAYER_GATHER_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef FOCUSFALL_LAYERED_LAYER_GATHER_INL_H_
#undef FOCUSFALL_LAYERED_LAYER_GATHER_INL_H_
#else
#define FOCUSFALL_LAYERED_LAYER_GATHER_INL_H_
#endif

#include <algorithm>
#include <cstring>

#include <hwy/highway.h>

#include "plugin/layered/put_behind-inl.h"

HWY_BEFORE_NAMESPACE();
namespace layered {
namespace HWY_NAMESPACE {
namespace {

using gather::MACRO_TILES;
using gather::TILE_COLUMNS;
using gather::TILE_ROWS;
using gather::TILES_ACROSS;

// A macro tile of which parts are done: nothing can be seen there behind the layers that
// are composed.
struct layered_tile : vectors::macro_tile {
    composed_tile* composed;  // of the register tiles, row by row
    bool done[MACRO_TILES];
    bool touched[MACRO_TILES];               // by the present layer
    gather::HWY_NAMESPACE::pixel_area left;  // holds all register tiles that are not done

    static std::int32_t number(std::int32_t column, std::int32_t row) {
        return row / TILE_ROWS * TILES_ACROSS + column / TILE_COLUMNS;
    }
    HWY_INLINE bool is_done(std::int32_t column, std::int32_t row) const {
        return done[number(column, row)];
    }
    HWY_INLINE gather::tile_sums& sums_at(std::int32_t column, std::int32_t row) {
        touched[number(column, row)] = true;
        return macro_tile::sums_at(column, row);
    }

    // Shrinks `left` to what is not done.
    void find_left() {
        std::int32_t first_column = gather::MACRO_COLUMNS, last_column = 0;
        std::int32_t first_row = gather::MACRO_ROWS, last_row = 0;
        for (std::int32_t row = 0; row < gather::MACRO_ROWS; row += TILE_ROWS) {
            for (std::int32_t column = 0; column < gather::MACRO_COLUMNS;
                 column += TILE_COLUMNS) {
                if (is_done(column, row)) continue;
                first_column = std::min(first_column, column);
                last_column = std::max(last_column, column + TILE_COLUMNS);
                first_row = std::min(first_row, row);
                last_row = std::max(last_row, row + TILE_ROWS);
            }
        }
        left = {.x = x + first_column,
                .y = y + first_row,
                .columns = last_column - first_column,
                .rows = last_row - first_row};
    }
    bool all_done() const { return left.columns <= 0; }
};

// Which layers, as a mask, have sources that may reach the area, and whether these are
// all opaque.
struct layers_near {
    std::uint32_t layers = 0;
    bool opaque = true;
};
inline layers_near layers_that_reach(const gather::gather_frame& sources,
                                     const vectors::pixel_area& area) {
    layers_near result;
    const auto rows = vectors::block_rows_near(sources, area);
    const auto columns = vectors::indices_near(
        sources, area.x, area.columns, gather::BLOCK_COLUMNS, sources.blocks->columns);
    for (std::int32_t row = rows.first; row < rows.last; ++row) {
        const gather::block_grid::block* const blocks = sources.blocks->row(row);
        for (std::int32_t i = columns.first; i < columns.last; ++i) {
            result.layers |= blocks[i].groups;
            result.opaque = result.opaque && blocks[i].opaque;
        }
    }
    return result;
}

// The rows of blocks with sources that may reach the area from up to `reach` pixels off.
inline vectors::index_range block_rows_within(const gather::gather_frame& sources,
                                              float reach,
                                              const vectors::pixel_area& area) {
    vectors::index_range rows = vectors::block_rows_near(sources, area);
    if (reach >= static_cast<float>(sources.offsets->reach)) return rows;
    const auto whole = static_cast<std::int32_t>(reach) + 1;
    rows.first = std::max(rows.first, (area.y - whole) / gather::BLOCK_ROWS);
    rows.last =
        std::min(rows.last, (area.y + area.rows + whole) / gather::BLOCK_ROWS + 1);
    return rows;
}

// Adds the sources of a layer to what is left of the macro tile, window by window.
template <std::int32_t COUNT, class Rule>
HWY_INLINE void gather_layer(const Rule& rule, const layered_frame& frame,
                             const gather::gather_frame& sources, std::int32_t layer,
                             vectors::source_window& window, layered_tile& tile) {
    const float reach =
        frame.layers->reach_of(layer, frame.hidden ? depth_layers::LAYERS_BEHIND : 0.0F);
    const auto near = block_rows_within(sources, reach, tile.left);
    for (std::int32_t row = near.first; row < near.last; ++row) {
        const auto range =
            vectors::columns_that_reach(sources, row, layer, reach, tile.left);
        if (range.empty()) continue;
        const std::int32_t columns =
            gather::pieces(static_cast<std::int32_t>(range.reach) + 1, TILE_COLUMNS) *
            TILE_COLUMNS;
        vectors::place_window(sources, tile.left, row, range,
                              std::min(columns, sources.offsets->columns), window);
        copy_layer<COUNT>(frame, sources, layer, window);
        vectors::fill_derived<COUNT>(sources, window);
        vectors::add_window<COUNT>(rule, sources, window, tile);
    }
}

// Adds the stamps of the frame's stamped layer.
inline void add_stamps(const layered_frame& frame, layered_tile& tile) {
    const std::int32_t width = frame.diameters->width();
    const std::int32_t height = frame.diameters->height();
    for (std::int32_t i = 0; i < gather::MACRO_COLUMNS * gather::MACRO_ROWS; ++i) {
        const std::int32_t column = i % gather::MACRO_COLUMNS;
        const std::int32_t row = i / gather::MACRO_COLUMNS;
        const std::int32_t x = tile.x + column;
        const std::int32_t y = tile.y + row;
        if (x >= width || y >= height || tile.is_done(column, row)) continue;
        const color_rgba_f& color = color_row(*frame.record, y)[x];
        auto& sums = tile.sums_at(column, row).rows[row % TILE_ROWS];
        sums[gather::WEIGHT][column % TILE_COLUMNS] += weight_row(*frame.record, y)[x];
        sums[gather::RED][column % TILE_COLUMNS] += color.r;
        sums[gather::GREEN][column % TILE_COLUMNS] += color.g;
        sums[gather::BLUE][column % TILE_COLUMNS] += color.b;
        sums[gather::ALPHA][column % TILE_COLUMNS] += color.a;
    }
}

// Puts what the present layer added behind, and forgets it.
template <std::int32_t COUNT, bool STAMPED>
void put_behind(const layered_frame& frame, std::int32_t layer, layered_tile& tile) {
    bool any_done = false;
    for (std::int32_t i = 0; i < MACRO_TILES; ++i) {
        if (!tile.touched[i]) continue;
        tile.touched[i] = false;
        tile.done[i] = put_tile_behind<COUNT, STAMPED>(
            frame, layer, tile.x + i % TILES_ACROSS * TILE_COLUMNS,
            tile.y + i / TILES_ACROSS * TILE_ROWS, tile.sums[i], tile.composed[i]);
        any_done = any_done || tile.done[i];
        tile.sums[i] = gather::tile_sums{};
    }
    if (any_done) tile.find_left();
}

// Composes the layers with the first COUNT quantities.
template <std::int32_t COUNT>
void compose_count(const layered_frame& frame, const layer_range& range,
                   std::uint32_t layers, layered_tile& tile) {
    // turned around or not, kernels have the same size
    const vectors::window_storage storage(frame.sources, tile.x);
    vectors::source_window window = storage.window();
    gather::gather_frame front = frame.sources;
    front.offsets = frame.front_offsets;
    for (std::int32_t layer = range.first; layer < range.last && !tile.all_done();
         ++layer) {
        if ((layers >> layer & 1U) == 0) continue;
        const auto& sources = layer < depth_layers::FOCUS ? front : frame.sources;
        vectors::with_rule(sources, [&](const auto& rule) HWY_ATTR {
            gather_layer<COUNT>(rule, frame, sources, layer, window, tile);
        });
        if (layer != frame.stamped_layer) put_behind<COUNT, false>(frame, layer, tile);
    }
}

// Does what layered::compose_layers promises.
void compose_layers_with_vectors(const layered_frame& frame, const layer_range& range,
                                 std::int32_t x, std::int32_t y, gather::tile_sums* sums,
                                 composed_tile* composed) {
    layered_tile tile = {{.x = x,
                          .y = y,
                          .sums = sums,
                          .covered = vectors::covered_offsets(
                              frame.has_sources ? frame.sources.offsets->columns : 0)},
                         composed,
                         {},
                         {},
                         {.x = x, .y = y}};
    for (std::int32_t i = 0; i < MACRO_TILES; ++i) {
        bool done = true;
        for (const auto& row : composed[i].rows) {
            for (const float opacity : row[OPACITY]) done = done && opacity >= 1.0F;
        }
        tile.done[i] = done;
    }
    tile.find_left();

    if (frame.has_sources && !tile.all_done()) {
        const layers_near near = layers_that_reach(frame.sources, tile.left);
        if (near.opaque && frame.stamped_layer < 0) {
            compose_count<gather::WITHOUT_ALPHA>(frame, range, near.layers, tile);
        } else {
            compose_count<gather::QUANTITIES>(frame, range, near.layers, tile);
        }
    }
    if (frame.stamped_layer >= 0 && !tile.all_done()) {
        add_stamps(frame, tile);
        put_behind<gather::QUANTITIES, true>(frame, frame.stamped_layer, tile);
    }
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace layered
HWY_AFTER_NAMESPACE();

#endif
