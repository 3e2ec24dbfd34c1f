// Gives pixels at depth edges to the surfaces that they belong to: those whose depth was
// smoothed, and those whose colour was.

#include <algorithm>
#include <cstddef>

#include "plugin/layered/focusfall_layered.h"

using gather::BLOCK_COLUMNS;
using gather::BLOCK_ROWS;
using gather::source_planes;

namespace {

// Where in the frame's progress, 0 .. 1, the two end.
constexpr double REPAIRED_END = 0.17;
constexpr double SEPARATED_END = 0.18;

}  // namespace

void FocusfallLayered::repair_edges(Request* request) {
    smoothed_.resize(static_cast<std::size_t>(blocks_.rows));
    for (const auto step : {&FocusfallLayered::find_smoothed_edges,
                            &FocusfallLayered::load_smoothed_edges}) {
        run_chunks(request, blocks_.rows, static_cast<chunk_step>(step), REPAIRED_END);
    }
}

void FocusfallLayered::find_smoothed_edges(std::int32_t block_row) {
    auto& found = smoothed_[static_cast<std::size_t>(block_row)];
    found.clear();
    const std::int32_t first = block_row * BLOCK_ROWS;
    const std::int32_t last = std::min(first + BLOCK_ROWS, input_image->Height());
    for (std::int32_t y = first; y < last; ++y)
        layered::find_smoothed(visible(), max_coc, y, found);
}

// Loads the runs with such pixels once more. Blocks still know of the layers in between,
// which costs time alone, and the means of layers count some sources twice.
void FocusfallLayered::load_smoothed_edges(std::int32_t block_row) {
    const auto& found = smoothed_[static_cast<std::size_t>(block_row)];
    for (auto pixel = found.begin(); pixel != found.end();) {
        const std::int32_t column = pixel->x / BLOCK_COLUMNS;
        const std::int32_t x = column * BLOCK_COLUMNS;
        const std::int32_t y = pixel->y;
        const std::int32_t columns = std::min(BLOCK_COLUMNS, input_image->Width() - x);
        float distances[BLOCK_COLUMNS] = {};
        const gather::source_run run = layered_run(x, y, columns, distances);
        for (; pixel != found.end() && pixel->y == y && pixel->x < x + columns; ++pixel) {
            float of_surface[BLOCK_COLUMNS] = {};
            run_of(pixel->from_x, pixel->from_y, 1, of_surface);
            distances[pixel->x - x] = of_surface[0];
        }
        gather::block_grid::block& block = blocks_.row(block_row)[column];
        load_gathered(run, block);
        place_run(run, block);
        for (stamped_source& s : stamps_.row(y)) {
            if (s.x >= x && s.x < x + columns)
                s.kernel = stamp_kernel(distances[s.x - x]);
        }
    }
}

void FocusfallLayered::separate_edges(Request* request) {
    mixed_.assign(static_cast<std::size_t>(blocks_.rows), {});
    lit_.assign(static_cast<std::size_t>(blocks_.rows), {});
    if (!form_ || (!occlusion_.hidden_fill && !background_image_)) return;
    for (const auto step :
         {&FocusfallLayered::find_mixed_edges, &FocusfallLayered::load_mixed_edges}) {
        run_chunks(request, blocks_.rows, static_cast<chunk_step>(step), SEPARATED_END);
    }
}

void FocusfallLayered::find_mixed_edges(std::int32_t block_row) {
    auto& found = mixed_[static_cast<std::size_t>(block_row)];
    found.clear();
    const std::int32_t first = block_row * BLOCK_ROWS;
    const std::int32_t last = std::min(first + BLOCK_ROWS, input_image->Height());
    auto& lit = lit_[static_cast<std::size_t>(block_row)];
    for (std::int32_t y = first; y < last; ++y) {
        layered::find_mixed(visible(), layers_, y, found);
        layered::find_lit(visible(), y, lit);
    }
}

// Leaves them the colour of their own surface; the other part is hidden_sources'.
void FocusfallLayered::load_mixed_edges(std::int32_t block_row) {
    for (const layered::mixed_pixel& pixel :
         mixed_[static_cast<std::size_t>(block_row)]) {
        const float weight = planes_.row(pixel.y, source_planes::WEIGHT)[pixel.x];
        const source_planes::plane planes[] = {source_planes::RED, source_planes::GREEN,
                                               source_planes::BLUE};
        for (std::size_t c = 0; c < 3; ++c)
            planes_.row(pixel.y, planes[c])[pixel.x] = weight * pixel.deeper[c];
    }
    for (const layered::lit_pixel& pixel : lit_[static_cast<std::size_t>(block_row)]) {
        const auto value = [&](source_planes::plane plane) -> float& {
            return planes_.row(pixel.y, plane)[pixel.x];
        };
        const float weight = value(source_planes::WEIGHT);
        value(source_planes::RED) = weight * pixel.front[0];
        value(source_planes::GREEN) = weight * pixel.front[1];
        value(source_planes::BLUE) = weight * pixel.front[2];
        value(source_planes::WEIGHT) = weight * pixel.part;
        value(source_planes::ALPHA) *= pixel.part;
    }
}
