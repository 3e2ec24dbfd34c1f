#include "plugin/layered/seed_pyramid.h"

#include "plugin/fast/gather/tiling.h"

using gather::BLOCK_COLUMNS;
using gather::pieces;

namespace layered {

namespace {

// Levels that a band fills by itself: its rows are those of one cell of the last.
constexpr std::int32_t BAND_LEVELS = 6;
static_assert(seed_pyramid::BAND_ROWS == 1 << BAND_LEVELS);
constexpr std::int32_t MAX_LEVELS = 11;

}  // namespace

void seed_pyramid::cell::add(const cell& other, float factor) {
    weight += factor * other.weight;
    red += factor * other.red;
    green += factor * other.green;
    blue += factor * other.blue;
    alpha += factor * other.alpha;
    diameter += factor * other.diameter;
}

seed_pyramid::cell seed_pyramid::cell::mean() const {
    cell result;
    result.add(*this, 1.0F / weight);
    result.weight = 1.0F;
    return result;
}

seed_pyramid::cell seed_pyramid::level::between(std::int32_t x, std::int32_t y) const {
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

void seed_pyramid::prepare(const visible_picture& picture) {
    picture_ = picture;
    std::int32_t width = picture.diameters->width();
    std::int32_t height = picture.diameters->height();
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

std::int32_t seed_pyramid::bands() const {
    return static_cast<std::int32_t>(sown_.size());
}

bool seed_pyramid::any() const { return std::ranges::count(sown_, 1) > 0; }

void seed_pyramid::sow(std::int32_t band) {
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

bool seed_pyramid::sow_row(std::int32_t y, cell* cells) const {
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

bool seed_pyramid::sow_pixel(std::int32_t x, std::int32_t y, cell& to) const {
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
        const float edge = picture_.gap(own, beside);
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
        if (!is_finite(pixel)) continue;
        // an edge becomes one by degrees, and lights do not spread
        const float brightest = std::max({seed.red, seed.green, seed.blue, 0.0F});
        const float sure = std::min(1.0F, ((beside - own) / edge - 1.0F) * 0.5F + 1e-4F);
        to.add(seed, sure / (1.0F + brightest));
        any = true;
    }
    return any;
}

void seed_pyramid::sum_up(std::int32_t to, std::int32_t first_row,
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

void seed_pyramid::join_levels() {
    const auto count = static_cast<std::int32_t>(levels_.size());
    for (std::int32_t i = BAND_LEVELS; i < count; ++i) {
        sum_up(i, 0, levels_[static_cast<std::size_t>(i)].height);
    }
    for (std::int32_t i = count - 1; i >= spread_levels(); --i) {
        fill(i, 0, levels_[static_cast<std::size_t>(i)].height);
    }
}

std::int32_t seed_pyramid::spread_bands(std::int32_t number) const {
    return pieces(levels_[static_cast<std::size_t>(number)].height, SPREAD_ROWS);
}

void seed_pyramid::spread(std::int32_t number, std::int32_t band) {
    fill(number, band * SPREAD_ROWS, (band + 1) * SPREAD_ROWS);
}

void seed_pyramid::fill(std::int32_t number, std::int32_t first_row,
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

}  // namespace layered
