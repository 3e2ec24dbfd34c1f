#include "plugin/fast/focusfall_fast.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <numeric>

#include "plugin/fast/gather/slab.h"
#include "plugin/splat/kernel_index.h"

using gather::closed_form;
using gather::pieces;
using gather::TILE_COLUMNS;

namespace {

// From this largest radius on, in pixels, it is faster to add several sources of weight 1
// as one sum.
constexpr std::int32_t SUMS_REACH = 4;

// Kernels whose terms are made in one chunk.
constexpr std::int32_t TERMS_CHUNK = 500;

// Where in the frame's progress, 0 .. 1, the steps of blur end; the last ends it.
constexpr double TERMS_END = 0.05;
constexpr double SOURCES_END = 0.15;
constexpr double STAMPS_END = 0.5;
constexpr double STAMPS_ALONE_END = 0.95;  // when nothing is gathered

}  // namespace

void FocusfallFast::ProcessChunk(Request* /*request*/, std::int32_t chunk) {
    if (!IsAborted()) (this->*step_)(chunk);
}

void FocusfallFast::run_chunks(Request* request, std::int32_t chunks, chunk_step step,
                               double end) {
    BeginStep(end);
    step_ = step;
    DoMultiProcess(request, chunks);
}

bool FocusfallFast::is_blurred(Request* request) {
    near_limit_ = find_near_limit(request);
    return max_coc > 1.0F || near_limit_ > 1.0F;
}

bool FocusfallFast::blur(Request* request) {
    if (IsAborted()) return true;
    any_stamps_ = false;
    prepare_kernels();
    prepare_sources();
    if (IsAborted()) return true;

    const std::uint32_t start = tick_count();
    make_smooth_terms(request);
    load_all_sources(request);
    sum_sources(request);
    print_processing_time(start);

    color_accumulator.clear();
    weight_accumulator.clear();
    return IsAborted();
}

void FocusfallFast::prepare_kernels() {
    style_ = blur_style.load(std::memory_order_relaxed);
    last_kernel_ =
        lens::last_kernel_index(std::max(max_coc, near_limit_), input_image->Width());
    form_ = gather::find_closed_form(*this, style_, blur_image);
    if (!form_) return;
    const gather::edge_shape edge = gather::edge_of(*this, style_);
    if (gather::is_edged(*form_)) {
        terms_ = gather::edged_terms(*this, edge, last_kernel_);
    } else {
        terms_.resize(last_kernel_ + 1);  // the workers fill them
    }
    offsets_.emplace(edge, *form_, lens::kernel_radius(last_kernel_));
}

void FocusfallFast::prepare_sources() {
    const std::int32_t width = input_image->Width();
    const std::int32_t height = input_image->Height();
    // memory of an earlier frame is used again where it suffices
    stamps_.reset(height);
    blocks_.resize(pieces(width, gather::BLOCK_COLUMNS),
                   pieces(height, gather::BLOCK_ROWS));
    blocks_.groups = form_ == closed_form::EDGE
                         ? gather::reach_groups::up_to(offsets_->reach)
                         : gather::reach_groups();
    if (!form_) return;
    planes_.resize(width, height, gather::GATHER_MARGIN);
    loader_ = {.form = *form_,
               .terms = terms_.data(),
               .last = depth_enabled ? static_cast<std::int32_t>(last_kernel_) : 0,
               .focus_depth = focus_depth,
               .max_coc = max_coc,
               .near_limit = near_limit_,
               .kernel_step = kernel_step,
               .keep_transparent = normalize > 0.5F,
               .groups = blocks_.groups,
               .planes = &planes_};
}

void FocusfallFast::make_smooth_terms(Request* request) {
    if (!form_ || gather::is_edged(*form_)) return;
    run_chunks(request, pieces(static_cast<std::int32_t>(terms_.size()), TERMS_CHUNK),
               &FocusfallFast::fill_terms, TERMS_END);
}

void FocusfallFast::load_all_sources(Request* request) {
    run_chunks(request, blocks_.rows, &FocusfallFast::load_sources, SOURCES_END);
}

void FocusfallFast::scatter_stamps(Request* request) {
    any_stamps_ = false;
    const double stamps_end = form_ ? STAMPS_END : STAMPS_ALONE_END;
    double end = SOURCES_END;
    while (!IsAborted() && stamps_.begin_batch()) {
        // the first batch: there is something to scatter
        if (!any_stamps_) Focusfall::prepare_accumulators(*input_image);
        any_stamps_ = true;
        const double begin = end;
        end = std::lerp(SOURCES_END, stamps_end, stamps_.part_begun());
        run_chunks(request, stamps_.batch_size(), &FocusfallFast::make_stamp_kernel,
                   std::midpoint(begin, end));
        run_chunks(request, pieces(input_image->Height(), stamp_list::BAND_ROWS),
                   &FocusfallFast::add_stamps, end);
    }
}

void FocusfallFast::sum_sources(Request* request) {
    scatter_stamps(request);
    if (form_ && has_factors(*form_) && offsets_->reach >= gather::SLAB_RADIUS) {
        groups_ = gather::profile_groups(*form_, offsets_->reach);
        run_chunks(request, pieces(input_image->Width(), gather::SLAB_COLUMNS),
                   &FocusfallFast::blur_slab, 1.0);
        return;
    }
    run_chunks(request, macro_tiles(), &FocusfallFast::blur_macro_tile, 1.0);
}

std::int32_t FocusfallFast::macro_tiles() const {
    return pieces(input_image->Width(), gather::MACRO_COLUMNS) *
           pieces(input_image->Height(), gather::MACRO_ROWS);
}

FocusfallFast::place FocusfallFast::place_of_macro_tile(std::int32_t tile) const {
    const std::int32_t columns = pieces(input_image->Width(), gather::MACRO_COLUMNS);
    return {.x = tile % columns * gather::MACRO_COLUMNS,
            .y = tile / columns * gather::MACRO_ROWS};
}

void FocusfallFast::fill_terms(std::int32_t chunk) {
    const auto first = static_cast<std::size_t>(chunk) * TERMS_CHUNK;
    const std::size_t count = std::min<std::size_t>(TERMS_CHUNK, terms_.size() - first);
    gather::fill_smooth_terms(*form_, first, {terms_.data() + first, count});
}

void FocusfallFast::load_sources(std::int32_t block_row) {
    const std::int32_t width = input_image->Width();
    const std::int32_t first = block_row * gather::BLOCK_ROWS;
    const std::int32_t last = std::min(first + gather::BLOCK_ROWS, input_image->Height());
    gather::block_grid::block* const blocks = blocks_.row(block_row);
    std::fill_n(blocks, blocks_.columns,
                gather::block_grid::block{
                    .reach = gather::NO_REACH, .opaque = true, .groups = 0});
    // the first to write to these rows of the planes, margins included
    for (std::int32_t y = first; y < last; ++y) {
        if (form_) planes_.clear_margins(y, *form_);
        for (std::int32_t x = 0; x < width; x += gather::BLOCK_COLUMNS) {
            load_run(x, y, std::min(gather::BLOCK_COLUMNS, width - x),
                     blocks[x / gather::BLOCK_COLUMNS]);
        }
    }
}

void FocusfallFast::load_run(std::int32_t x, std::int32_t y, std::int32_t columns,
                             gather::block_grid::block& block) {
    // vectors also read the distances beyond the last pixel, and do not use them
    float distances[gather::BLOCK_COLUMNS] = {};
    const gather::source_run run = run_of(x, y, columns, distances);
    append_stamps(run, load_gathered(run, block));
}

gather::source_run FocusfallFast::run_of(std::int32_t x, std::int32_t y,
                                         std::int32_t columns, float* distances) const {
    const float* depth = depth_image->Pixel(x, y) + depth_component();
    for (std::int32_t i = 0; i < columns; ++i) {
        distances[i] = sample_distance(*depth);
        depth += depth_image->Components();
    }
    return {.x = x,
            .y = y,
            .columns = columns,
            .pixels = input_image->Pixel(x, y),
            .stride = static_cast<std::ptrdiff_t>(input_image->Components()),
            .distances = distances};
}

std::uint64_t FocusfallFast::samples_of(const gather::source_run& run) const {
    std::uint64_t bits = 0;
    for (std::int32_t i = 0; i < run.columns; ++i) {
        const bool sample = is_sample(run.pixels[i * run.stride + Image::ALPHA]);
        bits |= std::uint64_t{sample} << i;
    }
    return bits;
}

void FocusfallFast::append_stamps(const gather::source_run& run, std::uint64_t stamped) {
    // one bit after the other, from the lowest
    for (; stamped != 0; stamped &= stamped - 1) {
        const std::int32_t i = std::countr_zero(stamped);
        stamps_.row(run.y).push_back({run.x + i, stamp_kernel(run.distances[i])});
    }
}

std::uint32_t FocusfallFast::stamp_kernel(float distance) const {
    if (!depth_enabled) return 0;
    const float limit = distance < focus_depth ? near_limit_ : max_coc;
    const float diameter =
        lens::limited_blur_diameter(distance, focus_depth, max_coc, limit);
    return static_cast<std::uint32_t>(lens::kernel_index(diameter, last_kernel_));
}

void FocusfallFast::make_stamp_kernel(std::int32_t number) {
    stamps_.make_batch_kernel(*this, style_, blur_image, number);
}

void FocusfallFast::add_stamps(std::int32_t band) {
    const auto look = [this](std::int32_t x, std::int32_t y) {
        return appearance_of(*input_image, x, y);
    };
    stamps_.add_to_band(*this, look, band);
}

gather::gather_frame FocusfallFast::frame_of_sources() const {
    return {.planes = &planes_,
            .blocks = &blocks_,
            .offsets = &*offsets_,
            .form = *form_,
            .rim = static_cast<float>(4.0 * bad_bokeh),
            .with_sums = *form_ == closed_form::EDGE && offsets_->reach >= SUMS_REACH};
}

void FocusfallFast::blur_macro_tile(std::int32_t tile) {
    const auto [x, y] = place_of_macro_tile(tile);
    // on the stack of the worker: near its processor, and nothing to lock
    gather::tile_sums sums[gather::MACRO_TILES] = {};
    if (form_) gather_macro_tile(frame_of_sources(), x, y, sums);
    write_macro_tile(x, y, sums);
}

void FocusfallFast::blur_slab(std::int32_t slab) {
    const std::int32_t x = slab * gather::SLAB_COLUMNS;
    const std::int32_t rows = pieces(input_image->Height(), gather::TILE_ROWS);
    std::vector<gather::tile_sums> sums(
        static_cast<std::size_t>(rows * gather::SLAB_TILES_ACROSS));
    gather_slab(frame_of_sources(), groups_, x, sums);
    for (std::int32_t i = 0; i < rows * gather::SLAB_TILES_ACROSS; ++i) {
        const std::int32_t column = i % gather::SLAB_TILES_ACROSS * TILE_COLUMNS;
        if (x + column >= input_image->Width()) continue;
        write_tile(x + column, i / gather::SLAB_TILES_ACROSS * gather::TILE_ROWS,
                   sums[static_cast<std::size_t>(i)]);
    }
}

void FocusfallFast::write_macro_tile(std::int32_t x, std::int32_t y,
                                     const gather::tile_sums* sums) {
    for (std::int32_t ty = y; ty < y + gather::MACRO_ROWS; ty += gather::TILE_ROWS) {
        for (std::int32_t tx = x; tx < x + gather::MACRO_COLUMNS; tx += TILE_COLUMNS) {
            write_tile(tx, ty, *sums++);
        }
    }
}

// In one piece: only where the compiler sees that nothing else has the values does it
// write them by vectors, which saves a tenth of a frame with small blurs.
void FocusfallFast::write_tile(std::int32_t x, std::int32_t y,
                               const gather::tile_sums& sums) {
    const auto stride = static_cast<std::ptrdiff_t>(input_image->Components());
    const auto depth_stride = static_cast<std::ptrdiff_t>(depth_image->Components());
    const std::int32_t rows = std::min(gather::TILE_ROWS, input_image->Height() - y);
    const std::int32_t columns = std::min(TILE_COLUMNS, input_image->Width() - x);
    for (std::int32_t row = 0; row < rows; ++row) {
        // whole rows of the tile, for vectors, even where the picture ends before
        row_values values;
        for (std::int32_t i = 0; i < gather::QUANTITIES; ++i) {
            for (std::int32_t column = 0; column < TILE_COLUMNS; ++column) {
                values[i][column] =
                    sums.at(static_cast<gather::quantity>(i), row, column);
            }
        }
        // gathered and scattered sums together are those of all sources
        if (any_stamps_) add_stamped(x, y + row, columns, values);
        if (normalize > 0.5F) {
            // a pixel that no source reaches has weight 0 and stays black
            for (float& weight : values[gather::WEIGHT])
                weight = weight > 0.0F ? weight : 1.0F;
            for (std::int32_t i = gather::RED; i < gather::QUANTITIES; ++i) {
                for (std::int32_t column = 0; column < TILE_COLUMNS; ++column) {
                    values[i][column] /= values[gather::WEIGHT][column];
                }
            }
        }
        const float* depth = depth_image->Pixel(x, y + row) + depth_component();
        float* pixel = output_image->Pixel(x, y + row);
        // further components, behind Z, are copied; the first five are written below
        if (stride > Image::Z + 1) {
            std::copy_n(input_image->Pixel(x, y + row), columns * stride, pixel);
        }
        for (std::int32_t column = 0; column < columns; ++column) {
            // first, for depth may be a colour that lies in the same memory
            if (stride > Image::Z) pixel[Image::Z] = *depth;
            pixel[Image::RED] = values[gather::RED][column];
            pixel[Image::GREEN] = values[gather::GREEN][column];
            pixel[Image::BLUE] = values[gather::BLUE][column];
            pixel[Image::ALPHA] = values[gather::ALPHA][column];
            depth += depth_stride;
            pixel += stride;
        }
    }
}

void FocusfallFast::add_stamped(std::int32_t x, std::int32_t y, std::int32_t columns,
                                row_values& values) const {
    const color_rgba_f* const colors = color_row(*this, y);
    const float* const weights = weight_row(*this, y);
    for (std::int32_t column = 0; column < columns; ++column) {
        const color_rgba_f& color = colors[x + column];
        values[gather::RED][column] += color.r;
        values[gather::GREEN][column] += color.g;
        values[gather::BLUE][column] += color.b;
        values[gather::ALPHA][column] += color.a;
        values[gather::WEIGHT][column] += weights[x + column];
    }
}
