// The way of frames with stamps: each layer's are scattered by themselves, and put behind
// the layers before it.

#include <bit>
#include <cmath>
#include <cstddef>
#include <numeric>

#include "plugin/layered/focusfall_layered.h"

using gather::BLOCK_COLUMNS;
using gather::BLOCK_ROWS;
using gather::pieces;
using gather::source_planes;
using layered::depth_layers;

void FocusfallLayered::find_stamped_layers(std::int32_t block_row) {
    std::uint32_t layers = 0;
    const std::int32_t first = block_row * BLOCK_ROWS;
    const std::int32_t last = std::min(first + BLOCK_ROWS, input_image->Height());
    for (std::int32_t y = first; y < last; ++y) {
        for (const stamped_source& s : stamps_.row(y)) {
            layers |= layers_.layers_of(diameters_.row(y)[s.x]);
        }
        if (form_ || !any_hidden_) continue;
        for (std::int32_t column = 0; column < blocks_.columns; ++column) {
            const layered::hidden_run* run = hidden_.run_at(column, y);
            if (run) layers |= run->layers;
        }
    }
    stamped_layers_[static_cast<std::size_t>(block_row)] = layers;
}

void FocusfallLayered::compose_with_stamps(Request* request, std::uint32_t stamped,
                                           double begin_at) {
    composed_.resize(static_cast<std::size_t>(macro_tiles()) * gather::MACRO_TILES);
    // the fast tool makes none NOLINTNEXTLINE(bugprone-parent-virtual-call)
    Focusfall::prepare_accumulators(*input_image);
    const int passes = std::popcount(stamped) + 1;
    std::int32_t next = 0;
    double end = begin_at;
    for (int number = 1; number <= passes && !IsAborted(); ++number) {
        const double begin = end;
        end = std::lerp(begin_at, 1.0, static_cast<double>(number) / passes);
        const std::int32_t layer =
            stamped != 0 ? std::countr_zero(stamped) : depth_layers::COUNT;
        stamped &= stamped - 1;
        if (layer < depth_layers::COUNT) {
            pass_ = {.layers = {next, layer + 1}, .stamped = layer};
            scatter_layer(request, begin, std::midpoint(begin, end));
        } else {
            pass_ = {.layers = {next, layer}, .stamped = -1};
        }
        run_chunks(request, macro_tiles(),
                   static_cast<chunk_step>(&FocusfallLayered::compose_pass), end);
        next = layer + 1;
    }
    composed_ = std::vector<layered::composed_tile>();
}

void FocusfallLayered::scatter_layer(Request* request, double begin, double end) {
    color_accumulator.clear_channel("OutRGBA");
    weight_accumulator.clear_channel("Norm");
    layer_stamps_.reset(input_image->Height());
    run_chunks(request, blocks_.rows,
               static_cast<chunk_step>(&FocusfallLayered::list_stamps), begin);
    while (!IsAborted() && layer_stamps_.begin_batch()) {
        const double batch_end = std::lerp(begin, end, layer_stamps_.part_begun());
        run_chunks(request, layer_stamps_.batch_size(),
                   static_cast<chunk_step>(&FocusfallLayered::make_layer_kernel), begin);
        run_chunks(request, pieces(input_image->Height(), stamp_list::BAND_ROWS),
                   static_cast<chunk_step>(&FocusfallLayered::add_layer_stamps),
                   batch_end);
        begin = batch_end;
    }
}

void FocusfallLayered::list_stamps(std::int32_t block_row) {
    const std::int32_t first = block_row * BLOCK_ROWS;
    const std::int32_t last = std::min(first + BLOCK_ROWS, input_image->Height());
    for (std::int32_t y = first; y < last; ++y) {
        auto& list = layer_stamps_.row(y);
        for (const stamped_source& s : stamps_.row(y)) {
            if (layers_.part_of(pass_.stamped, diameters_.row(y)[s.x]) > 0.0F)
                list.push_back(s);
        }
        if (form_ || !any_hidden_) continue;
        for (std::int32_t x = 0; x < input_image->Width(); ++x) {
            const layered::hidden_run* run = hidden_.run_at(x / BLOCK_COLUMNS, y);
            if (!run) continue;
            const auto i = static_cast<std::size_t>(x % BLOCK_COLUMNS);
            const float position = run->planes[layered::hidden_run::POSITION][i];
            if (!(run->planes[source_planes::WEIGHT][i] > 0.0F) ||
                !(layers_.part_of(pass_.stamped, position) > 0.0F)) {
                continue;
            }
            const float diameter = run->planes[source_planes::SHAPE][i];
            list.push_back({x, static_cast<std::uint32_t>(
                                   lens::kernel_index(diameter, last_kernel_))});
        }
    }
}

void FocusfallLayered::make_layer_kernel(std::int32_t number) {
    layer_stamps_.make_batch_kernel(*this, style_, blur_image, number,
                                    is_turned(pass_.stamped));
}

void FocusfallLayered::add_layer_stamps(std::int32_t band) {
    const auto look_here = [this](std::int32_t x, std::int32_t y) {
        return look(x, y, pass_.stamped);
    };
    layer_stamps_.add_to_band(*this, look_here, band);
}

stamp_list::appearance FocusfallLayered::look(std::int32_t x, std::int32_t y,
                                              std::int32_t layer) const {
    stamp_list::appearance visible = appearance_of(*input_image, x, y);
    visible.weight = layers_.part_of(layer, diameters_.row(y)[x]);
    if (visible.weight > 0.0F || form_ || !any_hidden_) return visible;
    const layered::hidden_run* run = hidden_.run_at(x / BLOCK_COLUMNS, y);
    const auto i = static_cast<std::size_t>(x % BLOCK_COLUMNS);
    if (!run || !(run->planes[source_planes::WEIGHT][i] > 0.0F)) return visible;
    // the colours of hidden sources are multiplied by their weight
    const auto plane = [&](std::int32_t p) { return run->planes[p][i]; };
    const float weight = plane(source_planes::WEIGHT);
    return {
        .color = {plane(source_planes::RED) / weight,
                  plane(source_planes::GREEN) / weight,
                  plane(source_planes::BLUE) / weight,
                  plane(source_planes::ALPHA) / weight},
        .weight = weight * layers_.part_of(layer, plane(layered::hidden_run::POSITION))};
}

void FocusfallLayered::compose_pass(std::int32_t tile) {
    const auto [x, y] = place_of_macro_tile(tile);
    const layered::layered_frame frame = frame_of_layers();
    gather::tile_sums sums[gather::MACRO_TILES] = {};
    layered::composed_tile* const composed =
        composed_.data() + static_cast<std::size_t>(tile) * gather::MACRO_TILES;
    if (pass_.layers.first == 0) layered::begin_composing(frame, x, y, composed);
    layered::compose_layers(frame, pass_.layers, x, y, sums, composed);
    if (pass_.layers.last < depth_layers::COUNT) return;
    layered::finish_composing(composed, sums);
    write_macro_tile(x, y, sums);
}
