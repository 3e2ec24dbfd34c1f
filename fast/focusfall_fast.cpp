#include "fast/focusfall_fast.h"

#include <algorithm>
#include <cmath>

#include "splat/kernel_index.h"

void FocusfallFast::ProcessChunk(Request* /*request*/, std::int32_t chunk) {
    if (!IsAborted()) (this->*step_)(chunk);
}

void FocusfallFast::run_chunks(Request* request, std::int32_t chunks, chunk_step step) {
    step_ = step;
    DoMultiProcess(request, chunks);
}

bool FocusfallFast::run_pixel_pass() {
    // with blur to do, sources are loaded and pixels written by the blur stage's chunks
    return max_coc > 1.0F ? IsAborted() : Focusfall::run_pixel_pass();
}

void FocusfallFast::build_kernel_table() {
    const std::size_t last = last_kernel_index();
    form_ = find_closed_form(*this, blur_image);
    if (!form_) return;
    steps_ = kernel_steps(*this, *form_, last);
    offsets_.emplace(*this, *form_, kernel_radius(*this, last));
    planes_.resize(input_image->Width(), input_image->Height(), gather_margin(*offsets_));
}

void FocusfallFast::splat(Request* request) {
    const std::int32_t width = input_image->Width();
    const std::int32_t height = input_image->Height();
    maxima_.columns = (width + BLOCK_COLUMNS - 1) / BLOCK_COLUMNS;
    maxima_.rows = (height + BLOCK_ROWS - 1) / BLOCK_ROWS;
    maxima_.reach.resize(static_cast<std::size_t>(maxima_.columns) *
                         static_cast<std::size_t>(maxima_.rows));
    run_chunks(request, maxima_.rows, &FocusfallFast::load_sources);
    run_chunks(request,
               (width + MACRO_COLUMNS - 1) / MACRO_COLUMNS *
                   ((height + MACRO_ROWS - 1) / MACRO_ROWS),
               &FocusfallFast::blur_macro_tile);
}

void FocusfallFast::load_sources(std::int32_t block_row) {
    const std::int32_t first = block_row * BLOCK_ROWS;
    const std::int32_t last = std::min(first + BLOCK_ROWS, planes_.height());
    float* const maxima = maxima_.reach.data() + block_row * maxima_.columns;
    std::fill_n(maxima, maxima_.columns, NO_REACH);
    for (std::int32_t y = first; y < last; ++y) {
        load_row(y);
        const float* reach =
            planes_.row(y, is_edged(*form_) ? source_planes::SHAPE : source_planes::SECOND);
        for (std::int32_t x = 0; x < planes_.width(); ++x) {
            float& most = maxima[x / BLOCK_COLUMNS];
            most = std::max(most, reach[x]);
        }
    }
}

void FocusfallFast::load_row(std::int32_t y) {
    const auto stride = static_cast<std::ptrdiff_t>(input_image->Components());
    const auto depth_stride = static_cast<std::ptrdiff_t>(depth_image->Components());
    const float* source = input_image->Pixel(0, y);
    const float* depth = depth_image->Pixel(0, y) + depth_component();
    const bool keep_transparent = normalize > 0.5F;
    const std::size_t last = steps_.size() - 1;
    float* shape = planes_.row(y, source_planes::SHAPE);
    float* second = planes_.row(y, source_planes::SECOND);
    float* weight = planes_.row(y, source_planes::WEIGHT);
    float* red = planes_.row(y, source_planes::RED);
    float* green = planes_.row(y, source_planes::GREEN);
    float* blue = planes_.row(y, source_planes::BLUE);
    float* alpha = planes_.row(y, source_planes::ALPHA);
    const kernel_terms nothing = no_source(*form_);
    planes_.clear_margins(y, nothing);
    for (std::int32_t x = 0; x < planes_.width(); ++x) {
        kernel_terms kernel = nothing;
        if (source[Image::ALPHA] > 0.0F || keep_transparent) {
            float distance = std::abs(depth_to_distance(std::abs(*depth)));
            if (distance > max_depth) distance = max_depth;
            kernel = steps_[kernel_index(*this, distance, last)];
        }
        shape[x] = kernel.shape;
        second[x] = kernel.second;
        weight[x] = kernel.weight;
        red[x] = source[Image::RED] * kernel.weight;
        green[x] = source[Image::GREEN] * kernel.weight;
        blue[x] = source[Image::BLUE] * kernel.weight;
        alpha[x] = source[Image::ALPHA] * kernel.weight;
        source += stride;
        depth += depth_stride;
    }
}

void FocusfallFast::blur_macro_tile(std::int32_t tile) {
    const std::int32_t columns = (planes_.width() + MACRO_COLUMNS - 1) / MACRO_COLUMNS;
    const std::int32_t x = tile % columns * MACRO_COLUMNS;
    const std::int32_t y = tile / columns * MACRO_ROWS;
    tile_sums sums[MACRO_TILES] = {};
    const gather_frame frame = {&planes_, &maxima_, &*offsets_, *form_,
                                static_cast<float>(4.0 * bad_bokeh), *form_==closed_form::FLAT && offsets_->reach >= 4};
    gather_macro_tile(frame, x, y, sums);

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
    const std::int32_t rows = std::min(TILE_ROWS, planes_.height() - y);
    const std::int32_t columns = std::min(TILE_COLUMNS, planes_.width() - x);
    for (std::int32_t row = 0; row < rows; ++row) {
        const float* source = input_image->Pixel(x, y + row);
        const float* depth = depth_image->Pixel(x, y + row) + depth_component();
        float* pixel = output_image->Pixel(x, y + row);
        for (std::int32_t column = 0; column < columns; ++column) {
            std::copy_n(source, stride, pixel);
            const float weight = sums.at(SUM_WEIGHT, row, column);
            const float divisor = normalize > 0.5F && weight > 0.0F ? weight : 1.0F;
            pixel[Image::RED] = sums.at(SUM_RED, row, column) / divisor;
            pixel[Image::GREEN] = sums.at(SUM_GREEN, row, column) / divisor;
            pixel[Image::BLUE] = sums.at(SUM_BLUE, row, column) / divisor;
            pixel[Image::ALPHA] = sums.at(SUM_ALPHA, row, column) / divisor;
            pixel[Image::Z] = *depth;
            source += stride;
            depth += depth_stride;
            pixel += stride;
        }
    }
}

bool FocusfallFast::write_back() { return IsAborted(); }
