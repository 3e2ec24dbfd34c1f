#include "plugin/fast/focusfall_fast.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "plugin/fast/source_loader.h"
#include "plugin/splat/kernel_index.h"

namespace {

// From this reach on it pays to add several sources of weight 1 at once.
constexpr std::int32_t SUMS_REACH = 4;

// Kernels whose terms are made in one chunk.
constexpr std::int32_t TERMS_CHUNK = 500;

std::int32_t pieces(std::int32_t size, std::int32_t piece) {
    return (size + piece - 1) / piece;
}

}  // namespace

void FocusfallFast::ProcessChunk(Request* /*request*/, std::int32_t chunk) {
    if (!IsAborted()) (this->*step_)(chunk);
}

void FocusfallFast::run_chunks(Request* request, std::int32_t chunks, chunk_step step) {
    step_ = step;
    DoMultiProcess(request, chunks);
}

bool FocusfallFast::blur(Request* request) {
    if (IsAborted()) return true;
    prepare();
    if (IsAborted()) return true;

    const std::uint32_t start = tick_count();
    run_steps(request);
    print_processing_time(start);

    if (IsAborted()) return true;
    color_accumulator.clear();
    weight_accumulator.clear();
    return false;
}

void FocusfallFast::prepare() {
    last_kernel_ = last_kernel_index();
    form_ = find_closed_form(*this, blur_image);
    if (!form_) return;
    if (is_edged(*form_)) {
        terms_ = edged_terms(*this, last_kernel_);
    } else {
        terms_.resize(last_kernel_ + 1);  // the workers fill them
    }
    offsets_.emplace(*this, *form_, kernel_radius(*this, last_kernel_));
    planes_.resize(input_image->Width(), input_image->Height(), GATHER_MARGIN);
}

void FocusfallFast::run_steps(Request* request) {
    const std::int32_t width = input_image->Width();
    const std::int32_t height = input_image->Height();
    if (form_ && !is_edged(*form_)) {
        run_chunks(request, pieces(static_cast<std::int32_t>(terms_.size()), TERMS_CHUNK),
                   &FocusfallFast::fill_terms);
    }

    blocks_.resize(pieces(width, BLOCK_COLUMNS), pieces(height, BLOCK_ROWS));
    const bool flat = form_ == closed_form::FLAT;
    blocks_.layers = flat ? reach_layers::parted(offsets_->reach) : reach_layers();
    stamps_.reset(height);
    run_chunks(request, blocks_.rows, &FocusfallFast::load_sources);

    any_stamps_ = false;
    while (!IsAborted() && stamps_.begin_batch(*this)) {
        any_stamps_ = true;
        run_chunks(request, stamps_.batch_size(), &FocusfallFast::make_stamp_kernel);
        run_chunks(request, pieces(height, stamp_list::BAND_ROWS),
                   &FocusfallFast::add_stamps);
    }

    run_chunks(request, pieces(width, MACRO_COLUMNS) * pieces(height, MACRO_ROWS),
               &FocusfallFast::blur_macro_tile);
}

void FocusfallFast::fill_terms(std::int32_t chunk) {
    const auto first = static_cast<std::size_t>(chunk) * TERMS_CHUNK;
    const std::size_t count = std::min<std::size_t>(TERMS_CHUNK, terms_.size() - first);
    fill_smooth_terms(*this, *form_, first, {terms_.data() + first, count});
}

void FocusfallFast::load_sources(std::int32_t block_row) {
    const std::int32_t width = input_image->Width();
    const std::int32_t first = block_row * BLOCK_ROWS;
    const std::int32_t last = std::min(first + BLOCK_ROWS, input_image->Height());
    block_grid::block* const blocks = blocks_.row(block_row);
    std::fill_n(blocks, blocks_.columns, block_grid::block{NO_REACH, true, 0});
    for (std::int32_t y = first; y < last; ++y) {
        if (form_) planes_.clear_margins(y, no_source(*form_));
        for (std::int32_t x = 0; x < width; x += BLOCK_COLUMNS) {
            load_run(x, y, std::min(BLOCK_COLUMNS, width - x), blocks[x / BLOCK_COLUMNS]);
        }
    }
}

void FocusfallFast::load_run(std::int32_t x, std::int32_t y, std::int32_t columns,
                             block_grid::block& block) {
    const auto stride = static_cast<std::ptrdiff_t>(input_image->Components());
    const float* const pixels = input_image->Pixel(x, y);
    const bool keep_transparent = normalize > 0.5F;
    float distances[BLOCK_COLUMNS] = {};
    const float* depth = depth_image->Pixel(x, y) + depth_component();
    for (std::int32_t i = 0; i < columns; ++i) {
        const float distance = std::abs(depth_to_distance(std::abs(*depth)));
        distances[i] = distance > max_depth ? max_depth : distance;
        depth += depth_image->Components();
    }

    std::uint64_t stamped = 0;
    if (form_) {
        const source_loader loader = {
            *form_,
            terms_.data(),
            depth_enabled ? static_cast<std::int32_t>(last_kernel_) : 0,
            focus_depth,
            max_coc,
            kernel_step,
            keep_transparent,
            blocks_.layers,
            &planes_};
        stamped = loader.load({x, y, columns, pixels, stride, distances}, block);
    } else {
        for (std::int32_t i = 0; i < columns; ++i) {
            const bool source =
                pixels[i * stride + Image::ALPHA] > 0.0F || keep_transparent;
            stamped |= std::uint64_t{source} << i;
        }
    }
    for (; stamped != 0; stamped &= stamped - 1) {
        const std::int32_t i = std::countr_zero(stamped);
        const std::size_t index = kernel_index(*this, distances[i], last_kernel_);
        stamps_.row(y).push_back({x + i, static_cast<std::uint32_t>(index)});
    }
}

void FocusfallFast::make_stamp_kernel(std::int32_t number) {
    stamps_.make_batch_kernel(*this, blur_image, number);
}

void FocusfallFast::add_stamps(std::int32_t band) {
    stamps_.add_to_band(*this, *input_image, band);
}

void FocusfallFast::blur_macro_tile(std::int32_t tile) {
    const std::int32_t columns = pieces(input_image->Width(), MACRO_COLUMNS);
    const std::int32_t x = tile % columns * MACRO_COLUMNS;
    const std::int32_t y = tile / columns * MACRO_ROWS;
    tile_sums sums[MACRO_TILES] = {};
    if (form_) {
        const bool with_sums =
            *form_ == closed_form::FLAT && offsets_->reach >= SUMS_REACH;
        gather_macro_tile({&planes_, &blocks_, &*offsets_, *form_,
                           static_cast<float>(4.0 * bad_bokeh), with_sums},
                          x, y, sums);
    }

    const tile_sums* next = sums;
    for (std::int32_t ty = y; ty < y + MACRO_ROWS; ty += TILE_ROWS) {
        for (std::int32_t tx = x; tx < x + MACRO_COLUMNS; tx += TILE_COLUMNS) {
            write_tile(tx, ty, *next++);
        }
    }
}

void FocusfallFast::write_tile(std::int32_t x, std::int32_t y, const tile_sums& sums) {
    const auto stride = static_cast<std::ptrdiff_t>(input_image->Components());
    const auto depth_stride = static_cast<std::ptrdiff_t>(depth_image->Components());
    const std::int32_t rows = std::min(TILE_ROWS, input_image->Height() - y);
    const std::int32_t columns = std::min(TILE_COLUMNS, input_image->Width() - x);
    for (std::int32_t row = 0; row < rows; ++row) {
        // whole rows of the tile, for vectors
        float values[SUMS][TILE_COLUMNS];
        for (std::int32_t i = 0; i < SUMS; ++i) {
            for (std::int32_t column = 0; column < TILE_COLUMNS; ++column) {
                values[i][column] = sums.at(static_cast<sum>(i), row, column);
            }
        }
        if (any_stamps_) add_stamped(x, y + row, columns, values);
        if (normalize > 0.5F) {
            for (float& weight : values[SUM_WEIGHT])
                weight = weight > 0.0F ? weight : 1.0F;
            for (std::int32_t i = SUM_RED; i < SUMS; ++i) {
                for (std::int32_t column = 0; column < TILE_COLUMNS; ++column) {
                    values[i][column] /= values[SUM_WEIGHT][column];
                }
            }
        }

        const float* depth = depth_image->Pixel(x, y + row) + depth_component();
        float* pixel = output_image->Pixel(x, y + row);
        // the components behind those that are written below
        if (stride > Image::Z + 1) {
            std::copy_n(input_image->Pixel(x, y + row), columns * stride, pixel);
        }
        for (std::int32_t column = 0; column < columns; ++column) {
            pixel[Image::RED] = values[SUM_RED][column];
            pixel[Image::GREEN] = values[SUM_GREEN][column];
            pixel[Image::BLUE] = values[SUM_BLUE][column];
            pixel[Image::ALPHA] = values[SUM_ALPHA][column];
            pixel[Image::Z] = *depth;
            depth += depth_stride;
            pixel += stride;
        }
    }
}

void FocusfallFast::add_stamped(std::int32_t x, std::int32_t y, std::int32_t columns,
                                float (&values)[SUMS][TILE_COLUMNS]) const {
    const auto* colors = reinterpret_cast<const color_rgba_f*>(
        reinterpret_cast<const std::byte*>(out_rgba_data) +
        std::ptrdiff_t{y} * color_accumulator.row_stride);
    const auto* weights =
        reinterpret_cast<const float*>(reinterpret_cast<const std::byte*>(norm_data) +
                                       std::ptrdiff_t{y} * weight_accumulator.row_stride);
    for (std::int32_t column = 0; column < columns; ++column) {
        const color_rgba_f& color = colors[x + column];
        values[SUM_RED][column] += color.r;
        values[SUM_GREEN][column] += color.g;
        values[SUM_BLUE][column] += color.b;
        values[SUM_ALPHA][column] += color.a;
        values[SUM_WEIGHT][column] += weights[x + column];
    }
}
