#include "plugin/layered/focusfall_layered.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <numbers>
#include <stdexcept>

#include "lens/kernel_sizes.h"

using gather::BLOCK_COLUMNS;
using gather::BLOCK_ROWS;
using gather::closed_form;
using gather::pieces;
using layered::depth_layers;

namespace {

// What is empty lies behind everything: so many times as deep as the largest blur.
constexpr float EMPTY_DEPTH = 2.0F;

// Where in the frame's progress, 0 .. 1, the steps end; the last ends it.
constexpr double NEAREST_END = 0.03;
constexpr double SEEDS_END = 0.2;
constexpr double HIDDEN_END = 0.3;
constexpr double BORDERS_END = 0.32;
constexpr double STAMPED_LAYERS_END = 0.35;

}  // namespace

void FocusfallLayered::Process(Request* request) {
    occlusion_ = read_occlusion(request);
    background_image_ = dynamic_cast<Image*>(background_input_->GetValue(request));
    FocusfallFast::Process(request);
    over_background_ = nullptr;
}

void FocusfallLayered::ReleaseFrameMemory() {
    FocusfallFast::ReleaseFrameMemory();
    diameters_ = layered::diameter_map();
    seeds_.release();
    hidden_.release();
    turned_offsets_.reset();
    borders_ = layered::border_parts();
    layer_stamps_ = stamp_list();
    composed_ = std::vector<layered::composed_tile>();
}

float FocusfallLayered::find_near_limit(Request* request) {
    const float widest = widest_blur(input_image->Width());
    // a focus nearer than the focal length makes max_coc negative, and blurs nothing
    if (occlusion_.near_limit || !depth_enabled || !(max_coc > 0.0F) || max_coc >= widest)
        return max_coc;
    const std::int32_t rows = pieces(input_image->Height(), BLOCK_ROWS);
    nearest_.assign(static_cast<std::size_t>(rows), max_depth);
    run_chunks(request, rows, static_cast<chunk_step>(&FocusfallLayered::find_nearest),
               NEAREST_END);
    const float nearest = *std::ranges::min_element(nearest_);
    if (!(nearest < focus_depth)) return max_coc;
    return std::max(max_coc,
                    lens::limited_blur_diameter(nearest, focus_depth, max_coc, widest));
}

void FocusfallLayered::find_nearest(std::int32_t block_row) {
    float nearest = max_depth;
    const std::int32_t first = block_row * BLOCK_ROWS;
    const std::int32_t last = std::min(first + BLOCK_ROWS, input_image->Height());
    for (std::int32_t y = first; y < last; ++y) {
        for (std::int32_t x = 0; x < input_image->Width(); ++x) {
            if (layered::is_empty(input_image->Pixel(x, y))) continue;
            const float depth = depth_image->Pixel(x, y)[depth_component()];
            nearest = std::min(nearest, sample_distance(depth));
        }
    }
    nearest_[static_cast<std::size_t>(block_row)] = nearest;
}

bool FocusfallLayered::is_blurred(Request* request) {
    if (background_image_ && (background_image_->Width() != input_image->Width() ||
                              background_image_->Height() != input_image->Height())) {
        throw std::runtime_error(
            "Input and background image dimensions are not the same.");
    }
    if (background_image_ && background_image_->Components() <= Image::Z) {
        throw std::runtime_error("The background image has no depth.");
    }
    const bool blurred = FocusfallFast::is_blurred(request);
    if (!blurred) lay_over_background();
    return blurred;
}

void FocusfallLayered::lay_over_background() {
    if (!background_image_) return;
    over_background_ = Owned<Image>(NewImage(0x60020000, input_image,  // model
                                             0x18020000, 12,  // a constant of the host
                                             0));
    const std::int32_t components = input_image->Components();
    for (std::int32_t y = 0; y < input_image->Height(); ++y) {
        for (std::int32_t x = 0; x < input_image->Width(); ++x) {
            float* const to = over_background_->Pixel(x, y);
            std::copy_n(input_image->Pixel(x, y), components, to);
            const float open = 1.0F - to[Image::ALPHA];
            if (!(open > 0.0F)) continue;
            const float* const behind = background_image_->Pixel(x, y);
            for (std::int32_t c = 0; c <= Image::ALPHA; ++c) to[c] += open * behind[c];
        }
    }
    input_image = over_background_.get();
}

void FocusfallLayered::prepare_sources() {
    FocusfallFast::prepare_sources();
    layered_ = depth_enabled && form_ != closed_form::LAPLACIAN;
    if (!layered_) return lay_over_background();
    diameters_.resize(input_image->Width(), input_image->Height());
    ranges_.assign(static_cast<std::size_t>(blocks_.rows),
                   {.nearest = 2.0F * largest_blur(), .deepest = -2.0F * largest_blur()});
    means_.assign(static_cast<std::size_t>(blocks_.rows), {});
    // layers take the place of the groups, and those of the sources are found here
    blocks_.groups = gather::reach_groups();
    loader_.groups = {.count = 0};
    turned_offsets_.reset();
    if (form_ && occlusion_.flip_in_front && style_ == POLYGON) {
        gather::edge_shape edge = gather::edge_of(*this, style_);
        edge.turn += std::numbers::pi;
        turned_offsets_.emplace(edge, *form_, lens::kernel_radius(last_kernel_));
    }
}

void FocusfallLayered::load_run(std::int32_t x, std::int32_t y, std::int32_t columns,
                                gather::block_grid::block& block) {
    if (!layered_) return FocusfallFast::load_run(x, y, columns, block);
    float distances[BLOCK_COLUMNS] = {};
    const gather::source_run run = layered_run(x, y, columns, distances);
    append_stamps(run, load_gathered(run, block));
    place_run(run, block);
    if (x + columns == diameters_.width()) diameters_.fill_margins(y);
}

gather::source_run FocusfallLayered::layered_run(std::int32_t x, std::int32_t y,
                                                 std::int32_t columns, float* distances) {
    gather::source_run run = run_of(x, y, columns, distances);
    for (std::int32_t i = 0; i < columns; ++i) {
        // the depth of what is empty means nothing: each program writes another one
        if (layered::is_empty(run.pixels + i * run.stride)) distances[i] = max_depth;
    }
    run.diameters = diameters_.row(y) + x;
    return run;
}

void FocusfallLayered::place_run(const gather::source_run& run,
                                 gather::block_grid::block& block) {
    depth_range& range = ranges_[static_cast<std::size_t>(run.y / BLOCK_ROWS)];
    float nearest = 2.0F * largest_blur();
    float deepest = -nearest;
    for (std::int32_t i = 0; i < run.columns; ++i) {
        const float* const pixel = run.pixels + i * run.stride;
        float& diameter = run.diameters[i];
        if (!form_) diameter = signed_diameter(run.distances[i]);
        if (layered::is_empty(pixel)) diameter = EMPTY_DEPTH * largest_blur();
        if (!is_sample(pixel[Image::ALPHA])) continue;
        nearest = std::min(nearest, diameter);
        deepest = std::max(deepest, diameter);
    }
    std::uint32_t& layers = diameters_.layers(run.x / BLOCK_COLUMNS, run.y);
    layers = 0;
    if (nearest > deepest) return;  // no source
    range.nearest = std::min(range.nearest, nearest);
    range.deepest = std::max(range.deepest, deepest);
    add_to_means(run);
    layers = layers_.layers_between(nearest, deepest, run.diameters, run.columns);
    block.groups |= layers;
}

float FocusfallLayered::signed_diameter(float distance) const {
    const bool in_front = distance < focus_depth;
    const float limit = in_front ? near_limit_ : max_coc;
    const float size =
        std::min(lens::limited_blur_diameter(distance, focus_depth, max_coc, limit),
                 largest_blur());
    return in_front ? -size : size;
}

void FocusfallLayered::add_to_means(const gather::source_run& run) {
    // a source in sixteen will do for the means
    layer_means& means = means_[static_cast<std::size_t>(run.y / BLOCK_ROWS)];
    for (std::int32_t i = 0; i < run.columns; i += 16) {
        const float diameter = run.diameters[i];
        std::uint32_t layers = layers_.layers_of(diameter);
        for (; layers != 0; layers &= layers - 1) {
            const std::int32_t l = std::countr_zero(layers);
            layer_mean& mean = means[static_cast<std::size_t>(l)];
            const float part = layers_.part_of(l, diameter);
            mean.sum += part * std::min(std::abs(diameter), largest_blur());
            mean.count += part;
        }
    }
}

bool FocusfallLayered::is_flat() const {
    float nearest = 2.0F * largest_blur();
    float deepest = -nearest;
    for (const depth_range& range : ranges_) {
        nearest = std::min(nearest, range.nearest);
        deepest = std::max(deepest, range.deepest);
    }
    return deepest - nearest < occlusion_.tolerance &&
           !(occlusion_.flip_in_front && nearest < 0.0F);
}

void FocusfallLayered::sum_sources(Request* request) {
    if (!layered_) return FocusfallFast::sum_sources(request);
    repair_edges(request);
    const bool flat = is_flat();
    any_hidden_ = false;
    if (!flat || background_image_) find_hidden(request);
    if (!flat || any_hidden_) return compose(request);
    // all sources are of one group
    for (gather::block_grid::block& block : blocks_.blocks) block.groups = 1;
    FocusfallFast::sum_sources(request);
}

layered::visible_picture FocusfallLayered::visible() const {
    return {.colors = input_image,
            .diameters = &diameters_,
            .largest = largest_blur(),
            .tolerance = occlusion_.tolerance};
}

void FocusfallLayered::guess_hidden(Request* request) {
    run_chunks(request, seeds_.bands(),
               static_cast<chunk_step>(&FocusfallLayered::sow_hidden), SEEDS_END);
    if (IsAborted() || !seeds_.any()) return;
    seeds_.join_levels();
    for (level_ = layered::seed_pyramid::spread_levels() - 1; level_ >= 0; --level_) {
        run_chunks(request, seeds_.spread_bands(level_),
                   static_cast<chunk_step>(&FocusfallLayered::spread_hidden), SEEDS_END);
    }
}

void FocusfallLayered::find_hidden(Request* request) {
    separate_edges(request);
    bool guessed = false;
    if (occlusion_.hidden_fill) {
        seeds_.prepare(visible());
        guess_hidden(request);
        guessed = seeds_.any();
    }
    if (IsAborted() || (!guessed && !background_image_)) return;

    layered::background_picture background = {.colors = background_image_};
    background.diameters = [this](std::int32_t x, std::int32_t y, std::int32_t columns,
                                  float* to) {
        for (std::int32_t i = 0; i < columns; ++i) {
            const float depth = background_image_->Pixel(x + i, y)[Image::Z];
            to[i] = signed_diameter(sample_distance(depth));
        }
    };
    hidden_.prepare(visible(), guessed ? &seeds_ : nullptr, background,
                    {.layers = &layers_,
                     .form = form_ ? &*form_ : nullptr,
                     .terms = terms_.data(),
                     .last = last_kernel_,
                     .keep_transparent = normalize > 0.5F});
    hidden_.add_mixed(mixed_);
    run_chunks(request, blocks_.rows,
               static_cast<chunk_step>(&FocusfallLayered::load_hidden), HIDDEN_END);
    any_hidden_ = hidden_.any();
}

void FocusfallLayered::sow_hidden(std::int32_t band) { seeds_.sow(band); }

void FocusfallLayered::spread_hidden(std::int32_t band) { seeds_.spread(level_, band); }

void FocusfallLayered::load_hidden(std::int32_t block_row) {
    hidden_.load(block_row, blocks_.row(block_row));
}

void FocusfallLayered::compose(Request* request) {
    layers_present_ = 0;
    for (const gather::block_grid::block& block : blocks_.blocks) {
        layers_present_ |= block.groups;
    }
    if (normalize > 0.5F) {
        run_chunks(request, depth_layers::COUNT,
                   static_cast<chunk_step>(&FocusfallLayered::make_border), BORDERS_END);
    }
    stamped_layers_.assign(static_cast<std::size_t>(blocks_.rows), 0);
    run_chunks(request, blocks_.rows,
               static_cast<chunk_step>(&FocusfallLayered::find_stamped_layers),
               STAMPED_LAYERS_END);
    std::uint32_t stamped = 0;
    for (const std::uint32_t layers : stamped_layers_) stamped |= layers;
    if (stamped != 0) return compose_with_stamps(request, stamped, STAMPED_LAYERS_END);
    pass_ = {.layers = {0, depth_layers::COUNT}, .stamped = -1};
    run_chunks(request, macro_tiles(),
               static_cast<chunk_step>(&FocusfallLayered::compose_macro_tile), 1.0);
}

void FocusfallLayered::make_border(std::int32_t layer) {
    if ((layers_present_ >> layer & 1U) == 0) return;
    const auto number = static_cast<std::size_t>(layer);
    layer_mean all;
    for (const layer_means& row : means_) {
        all.sum += row[number].sum;
        all.count += row[number].count;
    }
    const float diameter = all.count > 0.0F
                               ? all.sum / all.count
                               : std::min(layers_.reach_of(layer), largest_blur());
    layered::make_border_part(*this, style_, blur_image, diameter, is_turned(layer),
                              borders_[number]);
}

layered::layered_frame FocusfallLayered::frame_of_layers() const {
    layered::layered_frame frame = {.sources = {},
                                    .has_sources = form_.has_value(),
                                    .front_offsets = nullptr,
                                    .layers = &layers_,
                                    .diameters = &diameters_,
                                    .hidden = any_hidden_ ? &hidden_ : nullptr,
                                    .borders = normalize > 0.5F ? &borders_ : nullptr,
                                    .stamped_layer = pass_.stamped,
                                    .record = this};
    if (form_) {
        frame.sources = frame_of_sources();
        frame.front_offsets = turned_offsets_ ? &*turned_offsets_ : &*offsets_;
    }
    return frame;
}

void FocusfallLayered::compose_macro_tile(std::int32_t tile) {
    const auto [x, y] = place_of_macro_tile(tile);
    const layered::layered_frame frame = frame_of_layers();
    // on the stack of the worker, as in the fast tool
    gather::tile_sums sums[gather::MACRO_TILES] = {};
    layered::composed_tile composed[gather::MACRO_TILES];
    layered::begin_composing(frame, x, y, composed);
    layered::compose_layers(frame, pass_.layers, x, y, sums, composed);
    layered::finish_composing(composed, sums);
    write_macro_tile(x, y, sums);
}
