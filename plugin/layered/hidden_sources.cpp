#include "plugin/layered/hidden_sources.h"

#include <algorithm>
#include <cmath>
#include <ranges>

#include "lens/kernel_sizes.h"

using gather::BLOCK_COLUMNS;
using gather::BLOCK_ROWS;
using gather::pieces;
using gather::source_planes;

namespace layered {

namespace {

// Rounding leaves an alpha of 1 a little below.
constexpr float OPAQUE = 0.999F;

void clear(hidden_run& run) {
    run = hidden_run{};
    std::ranges::fill(run.planes[hidden_run::POSITION], depth_layers::NOWHERE);
}

}  // namespace

void hidden_sources::prepare(const visible_picture& picture, const seed_pyramid* guess,
                             const background_picture& background,
                             const source_kind& kind) {
    picture_ = picture;
    guess_ = guess;
    background_ = background;
    kind_ = kind;
    mixed_ = nullptr;
    columns_ = pieces(picture.diameters->width(), BLOCK_COLUMNS);
    rows_.resize(
        static_cast<std::size_t>(pieces(picture.diameters->height(), BLOCK_ROWS)));
}

bool hidden_sources::any() const {
    return std::ranges::any_of(rows_,
                               [](const row_of_blocks& row) { return row.used > 0; });
}

void hidden_sources::load(std::int32_t block_row, gather::block_grid::block* blocks) {
    const diameter_map& map = *picture_.diameters;
    row_of_blocks& row = rows_[static_cast<std::size_t>(block_row)];
    row.by_place.assign(
        static_cast<std::size_t>(BLOCK_ROWS) * static_cast<std::size_t>(columns_),
        nullptr);
    row.layers.assign(static_cast<std::size_t>(columns_), 0);
    row.used = 0;
    auto place = row.by_place.begin();
    const std::int32_t first = block_row * BLOCK_ROWS;
    for (std::int32_t y = first; y < std::min(first + BLOCK_ROWS, map.height()); ++y) {
        for (std::int32_t x = 0; x < map.width(); x += BLOCK_COLUMNS, ++place) {
            if (row.used == row.runs.size()) row.runs.emplace_back();
            hidden_run& run = row.runs[row.used];
            if (!load_run(x, y, std::min(BLOCK_COLUMNS, map.width() - x),
                          blocks[x / BLOCK_COLUMNS], run)) {
                continue;
            }
            row.layers[static_cast<std::size_t>(x / BLOCK_COLUMNS)] |= run.layers;
            *place = &run;
            ++row.used;
        }
    }
}

bool hidden_sources::load_run(std::int32_t x, std::int32_t y, std::int32_t columns,
                              gather::block_grid::block& block, hidden_run& run) const {
    float diameters[BLOCK_COLUMNS];
    if (background_.colors) background_.diameters(x, y, columns, diameters);
    seed_run guess;
    const bool guessed = guess_ && guess_->behind(x, y, columns, guess);
    bool any = false;
    for (std::int32_t i = 0; i < columns && (background_.colors || guessed); ++i) {
        hidden_source source;
        if (background_.colors) source = background_at(x + i, y, diameters[i]);
        if (!(source.weight > 0.0F) && guessed) source = source_of(guess, i);
        if (!(source.weight > 0.0F)) continue;
        if (!kind_.keep_transparent && !(source.alpha > 0.0F)) continue;
        if (!any) clear(run);
        any = true;
        store(source, x + i, y, block, run);
    }
    any = store_mixed(x, y, any, block, run) || any;
    if (!any) return false;
    const float* const positions = run.planes[hidden_run::POSITION];
    float nearest = depth_layers::NOWHERE;
    float deepest = -depth_layers::NOWHERE;
    for (std::int32_t i = 0; i < columns; ++i) {
        nearest = std::min(nearest, positions[i]);
        if (positions[i] < depth_layers::NOWHERE)
            deepest = std::max(deepest, positions[i]);
    }
    run.layers = kind_.layers->layers_between(nearest, deepest, positions, columns);
    block.groups |= run.layers;
    return true;
}

hidden_sources::hidden_source hidden_sources::source_of(const seed_run& guess,
                                                        std::int32_t i) {
    const auto value = [&guess, i](std::int32_t q) { return guess.values[q][i]; };
    return {.weight = value(seed_run::WEIGHT),
            .red = value(seed_run::RED),
            .green = value(seed_run::GREEN),
            .blue = value(seed_run::BLUE),
            .alpha = value(seed_run::ALPHA),
            .diameter = value(seed_run::DIAMETER)};
}

hidden_sources::hidden_source hidden_sources::background_at(std::int32_t x,
                                                            std::int32_t y,
                                                            float diameter) const {
    const float* const pixel = background_.colors->Pixel(x, y);
    if (is_empty(pixel) || !is_finite(pixel)) return {};
    const float own = own_diameter(x, y);
    const float alpha = picture_.colors->Pixel(x, y)[Image::ALPHA];
    const float beside = part_of_edge((diameter - own) / picture_.gap(diameter, own));
    // written so that an alpha that is not a number hides it
    const float through = alpha < 1.0F ? 1.0F - std::max(alpha, 0.0F) : 0.0F;
    return {.weight = std::max(beside, through),
            .red = pixel[Image::RED],
            .green = pixel[Image::GREEN],
            .blue = pixel[Image::BLUE],
            .alpha = pixel[Image::ALPHA],
            .diameter = diameter};
}

float hidden_sources::own_diameter(std::int32_t x, std::int32_t y) const {
    // nothing hides the background where the picture is empty
    return background_.colors && is_empty(picture_.colors->Pixel(x, y))
               ? -2.0F * picture_.largest
               : picture_.diameters->row(y)[x];
}

void hidden_sources::store(const hidden_source& source, std::int32_t x, std::int32_t y,
                           gather::block_grid::block& block, hidden_run& run) const {
    const float diameter = std::min(std::abs(source.diameter), picture_.largest);
    gather::kernel_terms terms = {.shape = diameter, .weight = 1.0F};
    if (kind_.form) terms = kind_.terms[lens::kernel_index(diameter, kind_.last)];
    terms.weight *= source.weight;
    const bool opaque = source.alpha > OPAQUE;
    const bool edged = kind_.form && gather::is_edged(*kind_.form);
    const float position =
        std::max(source.diameter,
                 kind_.layers->behind(own_diameter(x, y), depth_layers::LAYERS_BEHIND));

    const std::int32_t i = x % BLOCK_COLUMNS;
    const auto set = [&](std::int32_t plane, float value) {
        run.planes[plane][i] = value;
    };
    set(source_planes::SHAPE, terms.shape);
    set(source_planes::REACH, edged ? terms.inverse_fourth : terms.reach);
    set(source_planes::WEIGHT, terms.weight);
    set(source_planes::RED, source.red * terms.weight);
    set(source_planes::GREEN, source.green * terms.weight);
    set(source_planes::BLUE, source.blue * terms.weight);
    set(source_planes::ALPHA, opaque ? terms.weight : source.alpha * terms.weight);
    set(hidden_run::POSITION, position);
    block.reach = std::max(block.reach, edged ? terms.shape : terms.reach);
    block.opaque = block.opaque && opaque;
}

bool hidden_sources::store_mixed(std::int32_t x, std::int32_t y, bool any,
                                 gather::block_grid::block& block,
                                 hidden_run& run) const {
    if (!mixed_) return false;
    // they come row by row, from left to right
    const auto& found = (*mixed_)[static_cast<std::size_t>(y / BLOCK_ROWS)];
    const auto first = std::ranges::partition_point(
        found, [x, y](const mixed_pixel& p) { return p.y < y || (p.y == y && p.x < x); });
    bool stored = false;
    for (auto next = first; next != found.end(); ++next) {
        const mixed_pixel& pixel = *next;
        if (pixel.y != y || pixel.x >= x + BLOCK_COLUMNS) break;
        if (!any && !stored) clear(run);
        stored = true;
        // blurred as the surface that it is of; up to a pixel that is not at all
        const float diameter = std::abs(pixel.diameter);
        const gather::kernel_terms& terms =
            kind_.terms[diameter > 1.0F ? lens::kernel_index(diameter, kind_.last) : 0];
        const bool edged = gather::is_edged(*kind_.form);
        const auto set = [&](std::int32_t plane, float value) {
            run.planes[plane][pixel.x - x] = value;
        };
        set(source_planes::SHAPE, terms.shape);
        set(source_planes::REACH, edged ? terms.inverse_fourth : terms.reach);
        set(source_planes::WEIGHT, terms.weight * pixel.part);
        set(source_planes::RED, terms.weight * pixel.front[0]);
        set(source_planes::GREEN, terms.weight * pixel.front[1]);
        set(source_planes::BLUE, terms.weight * pixel.front[2]);
        set(source_planes::ALPHA, terms.weight * pixel.part);
        set(hidden_run::POSITION, pixel.diameter);
        block.reach = std::max(block.reach, edged ? terms.shape : terms.reach);
    }
    return stored;
}

void hidden_sources::release() { rows_ = std::vector<row_of_blocks>(); }

}  // namespace layered
