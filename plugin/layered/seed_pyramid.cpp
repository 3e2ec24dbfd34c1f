#include "plugin/layered/seed_pyramid.h"

#include <initializer_list>

using gather::BLOCK_COLUMNS;
using gather::pieces;

namespace layered {

namespace {

// Levels that a band fills by itself: its rows are those of one cell of the last.
constexpr std::int32_t BAND_LEVELS = 6;
static_assert(seed_pyramid::BAND_ROWS == 1 << BAND_LEVELS);
constexpr std::int32_t MAX_LEVELS = 11;

// The level by whose cells distances from the seeds are measured, and their side, pixels.
constexpr std::int32_t DISTANCE_LEVEL = 2;
constexpr std::int32_t DISTANCE_SIDE = 2 << DISTANCE_LEVEL;
static_assert(DISTANCE_LEVEL < seed_pyramid::spread_levels());

}  // namespace

void seed_pyramid::level::resize(std::int32_t new_width, std::int32_t new_height) {
    width = new_width;
    height = new_height;
    stride = pieces(width, BLOCK_COLUMNS) * BLOCK_COLUMNS + 2 * MARGIN;
    floats.make_room(static_cast<std::size_t>(stride) * seed_run::QUANTITIES *
                     static_cast<std::size_t>(height));
}

void seed_pyramid::level::between(std::int32_t x, std::int32_t y, std::int32_t columns,
                                  seed_run& to) const {
    // a cell's middle lies a quarter of its side from those of the finer cells in it
    const std::int32_t y0 = (y + 1) / 2 - 1;
    const float below = y % 2 == 0 ? 0.75F : 0.25F;
    const std::int32_t cells = pieces(columns, 2);
    for (std::int32_t q = 0; q < seed_run::QUANTITIES; ++q) {
        const float* const upper = row(std::max(y0, 0), q) + x / 2;
        const float* const lower = row(std::min(y0 + 1, height - 1), q) + x / 2;
        // from the cell left of the first to the one right of the last
        float middle[BLOCK_COLUMNS / 2 + 2];
        for (std::int32_t i = 0; i < cells + 2; ++i) {
            middle[i] = (1.0F - below) * upper[i - 1] + below * lower[i - 1];
        }
        float* const values = to.values[q];
        for (std::int32_t i = 0; i < cells; ++i) {
            values[2 * i] = 0.25F * middle[i] + 0.75F * middle[i + 1];
            values[2 * i + 1] = 0.75F * middle[i + 1] + 0.25F * middle[i + 2];
        }
    }
    // cells without a mean have a weight of 0, and are 0
    float scale[BLOCK_COLUMNS];
    for (std::int32_t i = 0; i < 2 * cells; ++i) {
        const float weight = to.values[seed_run::WEIGHT][i];
        scale[i] = weight > 0.0F ? 1.0F / weight : 0.0F;
    }
    for (float* const values : to.values) {
        for (std::int32_t i = 0; i < 2 * cells; ++i) values[i] *= scale[i];
    }
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
        l.resize(width, height);
    }
}

void seed_pyramid::release() {
    levels_ = std::vector<level>();
    cells_to_seeds_ = std::vector<std::int32_t>();
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
        if (y % 2 == 0) {
            // where that is 0, the other quantities are not read
            std::fill_n(finest.row(y / 2, seed_run::WEIGHT), finest.width + 1, 0.0F);
        }
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
            if (deepest[i] >= picture_.tolerance) any = sow_pixel(x + i, y) || any;
        }
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
        add_seed(seed, sure / (1.0F + brightest), x / 2, y / 2);
        any = true;
    }
    return any;
}

void seed_pyramid::add_seed(const float* seed, float weight, std::int32_t x,
                            std::int32_t y) {
    level& finest = levels_.front();
    const bool is_first = !(finest.row(y, seed_run::WEIGHT)[x] > 0.0F);
    for (std::int32_t q = 0; q < seed_run::QUANTITIES; ++q) {
        float& sum = finest.row(y, q)[x];
        sum = (is_first ? 0.0F : sum) + weight * seed[q];
    }
}

void seed_pyramid::sum_up(std::int32_t to, std::int32_t first_row,
                          std::int32_t last_row) {
    const level& from = levels_[static_cast<std::size_t>(to - 1)];
    level& sums = levels_[static_cast<std::size_t>(to)];
    for (std::int32_t y = first_row; y < std::min(last_row, sums.height); ++y) {
        sums.row(y, seed_run::WEIGHT)[sums.width] = 0.0F;
        for (std::int32_t x = 0; x < sums.width; x += BLOCK_COLUMNS)
            sums.sum_up(from, x, y);
    }
}

void seed_pyramid::level::sum_up(const level& from, std::int32_t x, std::int32_t y) {
    const std::int32_t count = std::min(BLOCK_COLUMNS, width - x);
    const std::int32_t rows[] = {2 * y, std::min(2 * y + 1, from.height - 1)};
    const float* weights[] = {from.row(rows[0], seed_run::WEIGHT) + 2 * x,
                              from.row(rows[1], seed_run::WEIGHT) + 2 * x};
    // a row below the last counts for nothing
    const float second = rows[1] > rows[0] ? 1.0F : 0.0F;
    float total = 0.0F;  // of most runs 0; then only their weights are read
    for (std::int32_t i = 0; i < 2 * count; ++i) total += weights[0][i] + weights[1][i];
    for (std::int32_t q = 0; q < seed_run::QUANTITIES; ++q) {
        float* const sums = row(y, q) + x;
        if (!(total > 0.0F)) {
            if (q == seed_run::WEIGHT) std::fill_n(sums, count, 0.0F);
            continue;
        }
        const float* const values[] = {from.row(rows[0], q) + 2 * x,
                                       from.row(rows[1], q) + 2 * x};
        const auto value = [&](std::int32_t fine_row, std::int32_t i) {
            return weights[fine_row][i] > 0.0F ? values[fine_row][i] : 0.0F;
        };
        for (std::int32_t i = 0; i < count; ++i) {
            sums[i] = value(0, 2 * i) + value(0, 2 * i + 1) +
                      second * (value(1, 2 * i) + value(1, 2 * i + 1));
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
    measure_distances();
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
    for (std::int32_t y = first_row; y < std::min(last_row, l.height); ++y) {
        for (std::int32_t x = 0; x < l.width; x += BLOCK_COLUMNS) fill_run(number, x, y);
        for (std::int32_t q = 0; q < seed_run::QUANTITIES; ++q) {
            float* const values = l.row(y, q);
            values[-1] = values[0];
            values[l.width] = values[l.width - 1];
        }
    }
}

void seed_pyramid::fill_run(std::int32_t number, std::int32_t x, std::int32_t y) {
    level& l = levels_[static_cast<std::size_t>(number)];
    const std::int32_t columns = std::min(BLOCK_COLUMNS, l.width - x);
    seed_run coarse = {};
    if (number + 1 < static_cast<std::int32_t>(levels_.size()))
        levels_[static_cast<std::size_t>(number + 1)].between(x, y, columns, coarse);
    float sums[BLOCK_COLUMNS];
    std::copy_n(l.row(y, seed_run::WEIGHT) + x, columns, sums);
    for (std::int32_t q = 0; q < seed_run::QUANTITIES; ++q) {
        float* const values = l.row(y, q) + x;
        for (std::int32_t i = 0; i < columns; ++i) {
            values[i] = sums[i] > 0.0F ? values[i] / sums[i] : coarse.values[q][i];
        }
    }
}

void seed_pyramid::measure_distances() {
    const level& l = levels_[DISTANCE_LEVEL];
    const std::int32_t stride = l.width + 2;
    // with a border of cells, which have no seeds
    cells_to_seeds_.assign(
        static_cast<std::size_t>(stride) * static_cast<std::size_t>(l.height + 2),
        1 << MAX_LEVELS);
    std::int32_t* const cells = cells_to_seeds_.data() + stride + 1;
    const auto nearer = [cells](std::int32_t i,
                                std::initializer_list<std::int32_t> from) {
        for (const std::int32_t step : from)
            cells[i] = std::min(cells[i], cells[i + step] + 1);
    };
    for (std::int32_t y = 0; y < l.height; ++y) {
        for (std::int32_t x = 0; x < l.width; ++x) {
            const std::int32_t i = y * stride + x;
            if (l.row(y, seed_run::WEIGHT)[x] > 0.0F) cells[i] = 0;
            nearer(i, {-1, -stride - 1, -stride, -stride + 1});
        }
    }
    for (std::int32_t y = l.height - 1; y >= 0; --y) {
        for (std::int32_t x = l.width - 1; x >= 0; --x) {
            nearer(y * stride + x, {1, stride + 1, stride, stride - 1});
        }
    }
}

bool seed_pyramid::behind(std::int32_t x, std::int32_t y, std::int32_t columns,
                          seed_run& to) const {
    const level& finest = levels_.front();
    const float* const own = picture_.diameters->row(y) + x;
    const float* const weights = finest.row(y / 2, seed_run::WEIGHT) + x / 2;
    const float* const diameters = finest.row(y / 2, seed_run::DIAMETER) + x / 2;
    float seen[BLOCK_COLUMNS];
    if (!find_seen(x, y, columns, seen)) return false;
    float any = 0.0F;
    for (std::int32_t i = 0; i < columns; ++i) {
        const bool deeper = diameters[i / 2] - own[i] >= 0.5F * picture_.tolerance;
        seen[i] = weights[i / 2] > 0.0F && deeper ? seen[i] : 0.0F;
        any += seen[i];
    }
    if (!(any > 0.0F)) return false;
    finest.between(x, y, columns, to);
    for (std::int32_t i = 0; i < columns; ++i) {
        const float diameter = to.values[seed_run::DIAMETER][i];
        const float part =
            part_of_edge((diameter - own[i]) / picture_.gap(diameter, own[i]));
        float& weight = to.values[seed_run::WEIGHT][i];
        weight = weight > 0.0F ? seen[i] * part : 0.0F;
    }
    return true;
}

bool seed_pyramid::find_seen(std::int32_t x, std::int32_t y, std::int32_t columns,
                             float* seen) const {
    const level& finest = levels_.front();
    const float* const own = picture_.diameters->row(y) + x;
    const float* const diameters = finest.row(y / 2, seed_run::DIAMETER) + x / 2;
    const std::int32_t* const cells =
        cells_to_seeds_.data() + x / DISTANCE_SIDE + 1 +
        (y / DISTANCE_SIDE + 1) * (levels_[DISTANCE_LEVEL].width + 2);
    bool any = false;
    for (std::int32_t first = 0; first < columns; first += DISTANCE_SIDE) {
        // a quarter more than what the two reach, since a surface may be blurred more
        // towards its edge, and a cell for what the distance is rounded by
        const auto distance =
            static_cast<float>((cells[first / DISTANCE_SIDE] - 2) * DISTANCE_SIDE);
        const bool near = distance < 1.25F * picture_.largest;
        any = any || near;
        for (std::int32_t i = first; i < first + DISTANCE_SIDE; ++i) {
            const float both = std::min(std::abs(diameters[i / 2]), picture_.largest) +
                               std::min(std::abs(own[i]), picture_.largest);
            seen[i] = near && distance < 0.625F * both ? 1.0F : 0.0F;
        }
    }
    return any;
}

}  // namespace layered
