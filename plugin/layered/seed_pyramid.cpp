#include "plugin/layered/seed_pyramid.h"

#include <bit>
#include <initializer_list>

#include "plugin/layered/depth_steps.h"

using gather::BLOCK_COLUMNS;
using gather::pieces;

namespace layered {

namespace {

// Levels that a band fills by itself: its rows are those of one cell of the last.
constexpr std::int32_t BAND_LEVELS = 6;
static_assert(seed_pyramid::BAND_ROWS == 1 << BAND_LEVELS);
constexpr std::int32_t MAX_LEVELS = 11;

// The level by whose cells distances from the seeds are measured.
constexpr std::int32_t DISTANCE_LEVEL = 2;
constexpr std::int32_t DISTANCE_SIDE = seed_level::DISTANCE_SIDE;  // of a cell, pixels
static_assert(DISTANCE_SIDE == 2 << DISTANCE_LEVEL);
static_assert(DISTANCE_LEVEL == seed_pyramid::spread_levels() - 1);

}  // namespace

void seed_pyramid::prepare(const visible_picture& picture) {
    picture_ = picture;
    std::int32_t width = picture.diameters->width();
    std::int32_t height = picture.diameters->height();
    sown_.assign(static_cast<std::size_t>(pieces(height, BAND_ROWS)), 0);
    // what is hidden further from the edge than the largest blur is not seen
    const auto count = static_cast<std::int32_t>(std::ceil(std::log2(picture.largest)));
    levels_.resize(
        static_cast<std::size_t>(std::clamp(count, spread_levels() + 1, MAX_LEVELS)));
    for (seed_level& l : levels_) {
        width = pieces(width, 2);
        height = pieces(height, 2);
        l.resize(width, height);
    }
}

void seed_pyramid::release() {
    levels_ = std::vector<seed_level>();
    cells_to_seeds_ = std::vector<std::int32_t>();
}

std::int32_t seed_pyramid::bands() const {
    return static_cast<std::int32_t>(sown_.size());
}

bool seed_pyramid::any() const { return std::ranges::count(sown_, 1) > 0; }

void seed_pyramid::sow(std::int32_t band) {
    const std::int32_t height = picture_.diameters->height();
    const std::int32_t first = band * BAND_ROWS;
    const std::int32_t last = std::min(first + BAND_ROWS, height);
    bool any = false;
    for (std::int32_t y = first; y < last; ++y) {
        if (y % 2 == 0) levels_.front().clear_row(y / 2);
        any = sow_row(y) || any;
    }
    sown_[static_cast<std::size_t>(band)] = any ? 1 : 0;
    // the levels whose cells lie within the band
    for (std::int32_t to = 1;
         to < std::min(BAND_LEVELS, static_cast<std::int32_t>(levels_.size())); ++to) {
        const std::int32_t rows = BAND_ROWS >> (to + 1);
        sum_up(to, band * rows, (band + 1) * rows);
    }
}

bool seed_pyramid::sow_row(std::int32_t y) {
    bool any = false;
    for (std::int32_t x = 0; x < picture_.diameters->width(); x += BLOCK_COLUMNS) {
        run_bits left = deeper_beside(*picture_.diameters, x, y, picture_.tolerance);
        for (; left != 0; left &= left - 1)
            any = sow_pixel(x + std::countr_zero(left), y) || any;
    }
    return any;
}

bool seed_pyramid::sow_pixel(std::int32_t x, std::int32_t y) {
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
        if (!is_finite(pixel)) continue;
        const float red = pixel[Image::RED];
        const float green = pixel[Image::GREEN];
        const float blue = pixel[Image::BLUE];
        // an edge becomes one by degrees, and lights do not spread
        const float brightest = std::max({red, green, blue, 0.0F});
        const float sure = std::min(1.0F, ((beside - own) / edge - 1.0F) * 0.5F + 1e-4F);
        const float seed[] = {1.0F,           red, green, blue, pixel[Image::ALPHA],
                              map.row(qy)[qx]};
        levels_.front().add_seed(seed, sure / (1.0F + brightest), x / 2, y / 2);
        any = true;
    }
    return any;
}

void seed_pyramid::sum_up(std::int32_t to, std::int32_t first_row,
                          std::int32_t last_row) {
    seed_level& sums = levels_[static_cast<std::size_t>(to)];
    for (std::int32_t y = first_row; y < std::min(last_row, sums.height()); ++y)
        sums.sum_up_row(levels_[static_cast<std::size_t>(to - 1)], y);
}

void seed_pyramid::join_levels() {
    const auto count = static_cast<std::int32_t>(levels_.size());
    for (std::int32_t i = BAND_LEVELS; i < count; ++i) {
        sum_up(i, 0, levels_[static_cast<std::size_t>(i)].height());
    }
    for (std::int32_t i = count - 1; i >= spread_levels(); --i) {
        fill(i, 0, levels_[static_cast<std::size_t>(i)].height());
    }
    measure_distances();
}

std::int32_t seed_pyramid::spread_bands(std::int32_t number) const {
    return pieces(levels_[static_cast<std::size_t>(number)].height(), SPREAD_ROWS);
}

void seed_pyramid::spread(std::int32_t number, std::int32_t band) {
    fill(number, band * SPREAD_ROWS, (band + 1) * SPREAD_ROWS);
}

void seed_pyramid::fill(std::int32_t number, std::int32_t first_row,
                        std::int32_t last_row) {
    seed_level& l = levels_[static_cast<std::size_t>(number)];
    const std::size_t next = static_cast<std::size_t>(number) + 1;
    const seed_level* const coarse = next < levels_.size() ? &levels_[next] : nullptr;
    for (std::int32_t y = first_row; y < std::min(last_row, l.height()); ++y) {
        for (std::int32_t x = 0; x < l.width(); x += BLOCK_COLUMNS) {
            if (is_read(number, x, y)) l.fill_run(coarse, x, y);
        }
        l.fill_margins(y);
    }
}

bool seed_pyramid::is_read(std::int32_t number, std::int32_t x, std::int32_t y) const {
    if (number > DISTANCE_LEVEL) return true;
    // each level reads cells beside those that the finer one needs
    const std::int32_t beside = number + 1;
    const std::int32_t finer = DISTANCE_LEVEL - number;
    const std::int32_t* const cells = cells_to_seeds(x >> finer, y >> finer);
    const std::int32_t count =
        std::min(BLOCK_COLUMNS >> finer, levels_[DISTANCE_LEVEL].width() - (x >> finer));
    return pixels_to_seeds(*std::min_element(cells, cells + count) - beside) <
           reach_of_seeds();
}

void seed_pyramid::measure_distances() {
    const seed_level& l = levels_[DISTANCE_LEVEL];
    const std::int32_t stride = l.width() + 2;
    // with a border of cells, which have no seeds
    cells_to_seeds_.assign(
        static_cast<std::size_t>(stride) * static_cast<std::size_t>(l.height() + 2),
        1 << MAX_LEVELS);
    std::int32_t* const cells = cells_to_seeds_.data() + stride + 1;
    const auto nearer = [cells](std::int32_t i,
                                std::initializer_list<std::int32_t> from) {
        for (const std::int32_t step : from)
            cells[i] = std::min(cells[i], cells[i + step] + 1);
    };
    for (std::int32_t y = 0; y < l.height(); ++y) {
        for (std::int32_t x = 0; x < l.width(); ++x) {
            const std::int32_t i = y * stride + x;
            if (l.row(y, seed_run::WEIGHT)[x] > 0.0F) cells[i] = 0;
            nearer(i, {-1, -stride - 1, -stride, -stride + 1});
        }
    }
    for (std::int32_t y = l.height() - 1; y >= 0; --y) {
        for (std::int32_t x = l.width() - 1; x >= 0; --x) {
            nearer(y * stride + x, {1, stride + 1, stride, stride - 1});
        }
    }
}

const std::int32_t* seed_pyramid::cells_to_seeds(std::int32_t x, std::int32_t y) const {
    const std::ptrdiff_t stride = levels_[DISTANCE_LEVEL].width() + 2;
    return cells_to_seeds_.data() + x + 1 + (y + 1) * stride;
}

float seed_pyramid::pixels_to_seeds(std::int32_t cells) {
    // at least: the distance is rounded by a cell
    return static_cast<float>((cells - 2) * DISTANCE_SIDE);
}

float seed_pyramid::reach_of_seeds() const { return 1.25F * picture_.largest; }

bool seed_pyramid::behind(std::int32_t x, std::int32_t y, std::int32_t columns,
                          seed_run& to) const {
    const std::int32_t* const cells =
        cells_to_seeds(x / DISTANCE_SIDE, y / DISTANCE_SIDE);
    float distances[BLOCK_COLUMNS / DISTANCE_SIDE] = {};
    bool near = false;
    for (std::int32_t i = 0; i < pieces(columns, DISTANCE_SIDE); ++i) {
        distances[i] = pixels_to_seeds(cells[i]);
        near = near || distances[i] < reach_of_seeds();
    }
    return near && levels_.front().means_behind(picture_, x, y, columns, distances, to);
}

}  // namespace layered
