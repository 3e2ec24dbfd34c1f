#include "plugin/layered/hidden_sources.h"

#include <algorithm>
#include <cmath>

#include "lens/kernel_sizes.h"

using gather::BLOCK_COLUMNS;
using gather::BLOCK_ROWS;
using gather::pieces;
using gather::source_planes;

namespace layered {

namespace {

// The gap at a depth edge grows with the blur.
constexpr float GAP_PART = 0.1F;
// Levels that a band fills by itself: its rows are those of one cell of the last.
constexpr std::int32_t BAND_LEVELS = 6;
static_assert(hidden_sources::BAND_ROWS == 1 << BAND_LEVELS);
constexpr std::int32_t MAX_LEVELS = 11;

// What is hidden lies so many layers behind what hides it: nearer, it would dilute it.
constexpr float LAYERS_BEHIND = 2.0F;

// Rounding leaves an alpha of 1 a little below.
constexpr float OPAQUE = 0.999F;

}  // namespace

void hidden_sources::cell::add(const cell& other, float factor) {
    weight += factor * other.weight;
    red += factor * other.red;
    green += factor * other.green;
    blue += factor * other.blue;
    alpha += factor * other.alpha;
    diameter += factor * other.diameter;
}

hidden_sources::cell hidden_sources::cell::mean() const {
    cell result;
    result.add(*this, 1.0F / weight);
    result.weight = 1.0F;
    return result;
}

hidden_sources::cell hidden_sources::level::between(std::int32_t x,
                                                    std::int32_t y) const {
    // a cell's middle lies a quarter of its side from those of the finer cells in it
    const std::int32_t x0 = (x + 1) / 2 - 1;
    const std::int32_t y0 = (y + 1) / 2 - 1;
    const float right = x % 2 == 0 ? 0.75F : 0.25F;
    const float below = y % 2 == 0 ? 0.75F : 0.25F;
    cell sum;
    for (std::int32_t j = 0; j < 2; ++j) {
        const cell* const around = row(std::clamp(y0 + j, 0, height - 1));
        for (std::int32_t i = 0; i < 2; ++i) {
            sum.add(around[std::clamp(x0 + i, 0, width - 1)],
                    (i == 0 ? 1.0F - right : right) * (j == 0 ? 1.0F - below : below));
        }
    }
    return sum.weight > 0.0F ? sum.mean() : cell();
}

void hidden_sources::prepare(const visible_picture& picture) {
    picture_ = picture;
    std::int32_t width = picture.diameters->width();
    std::int32_t height = picture.diameters->height();
    columns_ = pieces(width, BLOCK_COLUMNS);
    rows_.resize(static_cast<std::size_t>(pieces(height, BLOCK_ROWS)));
    sown_.assign(static_cast<std::size_t>(pieces(height, BAND_ROWS)), 0);
    // what is hidden further from the edge than the largest blur is not seen
    const auto count = static_cast<std::int32_t>(std::ceil(std::log2(picture.largest)));
    levels_.resize(
        static_cast<std::size_t>(std::clamp(count, spread_levels() + 1, MAX_LEVELS)));
    for (level& l : levels_) {
        width = pieces(width, 2);
        height = pieces(height, 2);
        l.width = width;
        l.height = height;
        l.cells.resize(static_cast<std::size_t>(width) *
                       static_cast<std::size_t>(height));
    }
}

std::int32_t hidden_sources::bands() const {
    return static_cast<std::int32_t>(sown_.size());
}

bool hidden_sources::any() const { return std::ranges::count(sown_, 1) > 0; }

float hidden_sources::gap(float a, float b) const {
    return std::max(picture_.tolerance, GAP_PART * std::max(std::abs(a), std::abs(b)));
}

void hidden_sources::sow(std::int32_t band) {
    level& finest = levels_.front();
    const std::int32_t height = picture_.diameters->height();
    const std::int32_t first = band * BAND_ROWS;
    const std::int32_t last = std::min(first + BAND_ROWS, height);
    bool any = false;
    for (std::int32_t y = first; y < last; ++y) {
        cell* const cells = finest.row(y / 2);
        if (y % 2 == 0) std::fill_n(cells, finest.width, cell());
        any = sow_row(y, cells) || any;
    }
    sown_[static_cast<std::size_t>(band)] = any ? 1 : 0;
    // the levels whose cells lie within the band
    for (std::int32_t to = 1;
         to < std::min(BAND_LEVELS, static_cast<std::int32_t>(levels_.size())); ++to) {
        const std::int32_t rows = BAND_ROWS >> (to + 1);
        sum_up(to, band * rows, (band + 1) * rows);
    }
}

bool hidden_sources::sow_row(std::int32_t y, cell* cells) const {
    const diameter_map& map = *picture_.diameters;
    const float* const own = map.row(y);
    const float* const above = map.row(std::max(y - 1, 0));
    const float* const below = map.row(std::min(y + 1, map.height() - 1));
    bool any = false;
    for (std::int32_t x = 0; x < map.width(); x += BLOCK_COLUMNS) {
        const std::int32_t columns = std::min(BLOCK_COLUMNS, map.width() - x);
        // most runs have no edge: see that in one go
        float deepest[BLOCK_COLUMNS];
        for (std::int32_t i = 0; i < columns; ++i) {
            const float* const at = own + x + i;
            deepest[i] =
                std::max(std::max(at[-1], at[1]), std::max(above[x + i], below[x + i])) -
                *at;
        }
        std::int32_t edges = 0;
        for (std::int32_t i = 0; i < columns; ++i) {
            edges += deepest[i] >= picture_.tolerance ? 1 : 0;
        }
        if (edges == 0) continue;
        for (std::int32_t i = 0; i < columns; ++i) {
            if (deepest[i] >= picture_.tolerance)
                any = sow_pixel(x + i, y, cells[(x + i) / 2]) || any;
        }
    }
    return any;
}

bool hidden_sources::sow_pixel(std::int32_t x, std::int32_t y, cell& to) const {
    constexpr std::int32_t STEPS[][2] = {{1, 0}, {-1, 0}, {0, 1}, {0, -1}};
    const diameter_map& map = *picture_.diameters;
    const auto inside = [&](std::int32_t px, std::int32_t py) {
        return px >= 0 && py >= 0 && px < map.width() && py < map.height();
    };
    const float own = map.row(y)[x];
    bool any = false;
    for (const auto& [dx, dy] : STEPS) {
        if (!inside(x + dx, y + dy)) continue;
        const float beside = map.row(y + dy)[x + dx];
        const float edge = gap(own, beside);
        if (beside - own < edge) continue;
        // the second pixel beyond the edge: the first may hold some of the front's colour
        std::int32_t qx = x + 2 * dx;
        std::int32_t qy = y + 2 * dy;
        if (!inside(qx, qy) || std::abs(map.row(qy)[qx] - beside) > edge * 0.5F + 0.5F) {
            qx = x + dx;
            qy = y + dy;
        }
        const float* const pixel = picture_.colors->Pixel(qx, qy);
        const cell seed = {.weight = 1.0F,
                           .red = pixel[Image::RED],
                           .green = pixel[Image::GREEN],
                           .blue = pixel[Image::BLUE],
                           .alpha = pixel[Image::ALPHA],
                           .diameter = map.row(qy)[qx]};
        if (!std::isfinite(seed.red + seed.green + seed.blue + seed.alpha)) continue;
        // an edge becomes one by degrees, and lights do not spread
        const float brightest = std::max({seed.red, seed.green, seed.blue, 0.0F});
        const float sure = std::min(1.0F, ((beside - own) / edge - 1.0F) * 0.5F + 1e-4F);
        to.add(seed, sure / (1.0F + brightest));
        any = true;
    }
    return any;
}

void hidden_sources::sum_up(std::int32_t to, std::int32_t first_row,
                            std::int32_t last_row) {
    const level& from = levels_[static_cast<std::size_t>(to - 1)];
    level& sums = levels_[static_cast<std::size_t>(to)];
    for (std::int32_t y = first_row; y < std::min(last_row, sums.height); ++y) {
        cell* const row = sums.row(y);
        std::fill_n(row, sums.width, cell());
        for (std::int32_t fine = 2 * y; fine < std::min(2 * y + 2, from.height); ++fine) {
            const cell* const cells = from.row(fine);
            for (std::int32_t x = 0; x < from.width; ++x) {
                if (cells[x].weight > 0.0F) row[x / 2].add(cells[x], 1.0F);
            }
        }
    }
}

void hidden_sources::join_levels() {
    const auto count = static_cast<std::int32_t>(levels_.size());
    for (std::int32_t i = BAND_LEVELS; i < count; ++i) {
        sum_up(i, 0, levels_[static_cast<std::size_t>(i)].height);
    }
    for (std::int32_t i = count - 1; i >= spread_levels(); --i) {
        fill(i, 0, levels_[static_cast<std::size_t>(i)].height);
    }
}

std::int32_t hidden_sources::spread_bands(std::int32_t number) const {
    return pieces(levels_[static_cast<std::size_t>(number)].height, SPREAD_ROWS);
}

void hidden_sources::spread(std::int32_t number, std::int32_t band) {
    fill(number, band * SPREAD_ROWS, (band + 1) * SPREAD_ROWS);
}

void hidden_sources::fill(std::int32_t number, std::int32_t first_row,
                          std::int32_t last_row) {
    level& l = levels_[static_cast<std::size_t>(number)];
    const bool is_last = number + 1 == static_cast<std::int32_t>(levels_.size());
    for (std::int32_t y = first_row; y < std::min(last_row, l.height); ++y) {
        cell* const row = l.row(y);
        for (std::int32_t x = 0; x < l.width; ++x) {
            if (row[x].weight > 0.0F) {
                row[x] = row[x].mean();
            } else if (!is_last) {
                row[x] = levels_[static_cast<std::size_t>(number + 1)].between(x, y);
            }
        }
    }
}

void hidden_sources::load(std::int32_t block_row, gather::block_grid::block* blocks) {
    const diameter_map& map = *picture_.diameters;
    row_of_blocks& row = rows_[static_cast<std::size_t>(block_row)];
    row.index.assign(static_cast<std::size_t>(BLOCK_ROWS * columns_), -1);
    row.runs.clear();
    const std::int32_t first = block_row * BLOCK_ROWS;
    for (std::int32_t y = first; y < std::min(first + BLOCK_ROWS, map.height()); ++y) {
        for (std::int32_t column = 0; column < columns_; ++column) {
            const std::int32_t x = column * BLOCK_COLUMNS;
            hidden_run run;
            if (!load_run(x, y, std::min(BLOCK_COLUMNS, map.width() - x), blocks[column],
                          run)) {
                continue;
            }
            row.index[static_cast<std::size_t>((y - first) * columns_ + column)] =
                static_cast<std::int32_t>(row.runs.size());
            row.runs.push_back(run);
        }
    }
}

bool hidden_sources::load_run(std::int32_t x, std::int32_t y, std::int32_t columns,
                              gather::block_grid::block& block, hidden_run& run) const {
    const level& finest = levels_.front();
    const cell* const cells = finest.row(y / 2);
    const float* const diameters = picture_.diameters->row(y);
    bool any = false;
    for (std::int32_t i = 0; i < columns; ++i) {
        const float own = diameters[x + i];
        const cell& near = cells[(x + i) / 2];
        if (!(near.weight > 0.0F) || near.diameter - own < 0.5F * picture_.tolerance)
            continue;
        const cell source = finest.between(x + i, y);
        const float edge = gap(source.diameter, own);
        if (!(source.diameter - own > 0.75F * edge)) continue;
        if (!picture_.keep_transparent && !(source.alpha > 0.0F)) continue;
        if (!any) {
            run = hidden_run{};
            std::ranges::fill(run.planes[hidden_run::POSITION], depth_layers::NOWHERE);
        }
        any = true;
        store(source, own, i, block, run);
    }
    return any;
}

void hidden_sources::store(const cell& source, float own, std::int32_t i,
                           gather::block_grid::block& block, hidden_run& run) const {
    const float diameter = std::min(std::abs(source.diameter), picture_.largest);
    gather::kernel_terms terms = {.shape = diameter, .weight = 1.0F};
    if (picture_.form)
        terms = picture_.terms[lens::kernel_index(diameter, picture_.last)];
    const float edge = gap(source.diameter, own);
    terms.weight *= std::min(1.0F, ((source.diameter - own) / edge - 0.75F) * 0.5F);
    const bool opaque = source.alpha > OPAQUE;
    const bool edged = picture_.form && gather::is_edged(*picture_.form);
    const float position =
        std::max(source.diameter, picture_.layers->behind(own, LAYERS_BEHIND));

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
    const std::uint32_t layers = picture_.layers->layers_of(position);
    run.layers |= layers;
    block.groups |= layers;
    block.reach = std::max(block.reach, edged ? terms.shape : terms.reach);
    block.opaque = block.opaque && opaque;
}

void hidden_sources::release() {
    levels_ = std::vector<level>();
    rows_ = std::vector<row_of_blocks>();
}

}  // namespace layered
