#include "plugin/layered/seed_level.h"

#include <algorithm>
#include <cmath>

// older kinds of vectors that add nothing to the ones kept here
#define HWY_DISABLED_TARGETS (HWY_SSSE3 | HWY_AVX3_DL)
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE \
    "plugin/layered/seed_level.cpp"  // compiled once for each kind of vectors
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

// The loops over a run are plain ones, which the compiler makes vectors of.
HWY_BEFORE_NAMESPACE();
namespace layered {
namespace HWY_NAMESPACE {
namespace {

using gather::BLOCK_COLUMNS;

// Seeds that weigh less together give way to those around them: lights, of which a cell
// would spread nothing else however little each counts, and edges that barely are.
constexpr float TRUSTED = 0.25F;

// Sums up to BLOCK_COLUMNS cells of row y from x on.
void sum_up_run(const seed_level& fine, std::int32_t x, std::int32_t y,
                std::int32_t count, seed_level& to) {
    const bool has_lower = 2 * y + 1 < fine.height();
    const std::ptrdiff_t fine_x = std::ptrdiff_t{2} * x;
    const auto upper = [&](std::int32_t q) { return fine.row(2 * y, q) + fine_x; };
    const auto lower = [&](std::int32_t q) {
        return fine.row(has_lower ? 2 * y + 1 : 2 * y, q) + fine_x;
    };
    const float* const upper_weights = upper(seed_run::WEIGHT);
    const float* const lower_weights = lower(seed_run::WEIGHT);
    std::int32_t any = 0;  // of most runs 0; then only their weights are read
    for (std::int32_t i = 0; i < 2 * count; ++i) {
        any |= (upper_weights[i] > 0.0F ? 1 : 0) | (lower_weights[i] > 0.0F ? 1 : 0);
    }
    if (any == 0) {
        std::fill_n(to.row(y, seed_run::WEIGHT) + x, count, 0.0F);
        return;
    }
    // a row below the last counts for nothing
    const float second = has_lower ? 1.0F : 0.0F;
    for (std::int32_t q = 0; q < seed_run::QUANTITIES; ++q) {
        float* const sums = to.row(y, q) + x;
        const float* const upper_values = upper(q);
        const float* const lower_values = lower(q);
        const auto pair = [](const float* weights, const float* values) {
            return (weights[0] > 0.0F ? values[0] : 0.0F) +
                   (weights[1] > 0.0F ? values[1] : 0.0F);
        };
        for (std::ptrdiff_t i = 0; i < count; ++i) {
            sums[i] = pair(upper_weights + 2 * i, upper_values + 2 * i) +
                      second * pair(lower_weights + 2 * i, lower_values + 2 * i);
        }
    }
}

void interpolate(const seed_level& level, std::int32_t x, std::int32_t y,
                 std::int32_t columns, seed_run& to) {
    // a cell's middle lies a quarter of its side from those of the finer cells in it
    const std::int32_t y0 = (y + 1) / 2 - 1;
    const float below = y % 2 == 0 ? 0.75F : 0.25F;
    const std::int32_t cells = gather::pieces(columns, 2);
    for (std::int32_t q = 0; q < seed_run::QUANTITIES; ++q) {
        const float* const upper = level.row(std::max(y0, 0), q) + x / 2;
        const float* const lower =
            level.row(std::min(y0 + 1, level.height() - 1), q) + x / 2;
        // from the cell left of the first to the one right of the last
        float middle[BLOCK_COLUMNS / 2 + 2];
        for (std::int32_t i = 0; i < cells + 2; ++i) {
            middle[i] = (1.0F - below) * upper[i - 1] + below * lower[i - 1];
        }
        float* const values = to.values[q];
        for (std::ptrdiff_t i = 0; i < cells; ++i) {
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

void make_means(const seed_level* coarse, std::int32_t x, std::int32_t y,
                std::int32_t columns, seed_level& to) {
    seed_run between = {};
    if (coarse) interpolate(*coarse, x, y, columns, between);
    float sums[BLOCK_COLUMNS];
    float trust[BLOCK_COLUMNS];
    std::copy_n(to.row(y, seed_run::WEIGHT) + x, columns, sums);
    for (std::int32_t i = 0; i < columns; ++i)
        trust[i] = coarse ? std::min(sums[i] / TRUSTED, 1.0F) : 1.0F;
    for (std::int32_t q = 0; q < seed_run::QUANTITIES; ++q) {
        float* const values = to.row(y, q) + x;
        const float* const others = between.values[q];
        for (std::int32_t i = 0; i < columns; ++i) {
            const float mean = values[i] / sums[i];  // not used where that is 0 / 0
            const float value = trust[i] * mean + (1.0F - trust[i]) * others[i];
            values[i] = sums[i] > 0.0F ? value : others[i];
        }
    }
}

// Fills a run with values, each so many times side by side.
HWY_INLINE void repeat(const float* from, std::int32_t times, float* to) {
    for (std::int32_t i = 0; i < BLOCK_COLUMNS / times; ++i) {
        for (std::int32_t k = 0; k < times; ++k) to[i * times + k] = from[i];
    }
}

bool find_behind(const seed_level& finest, const visible_picture& picture, std::int32_t x,
                 std::int32_t y, std::int32_t columns, const float* distances,
                 seed_run& to) {
    const float* const own = picture.diameters->row(y) + x;
    float weights[BLOCK_COLUMNS];
    float diameters[BLOCK_COLUMNS];
    float distance[BLOCK_COLUMNS];
    repeat(finest.row(y / 2, seed_run::WEIGHT) + x / 2, 2, weights);
    repeat(finest.row(y / 2, seed_run::DIAMETER) + x / 2, 2, diameters);
    repeat(distances, seed_level::DISTANCE_SIDE, distance);
    float seen[BLOCK_COLUMNS];
    std::int32_t any = 0;
    for (std::int32_t i = 0; i < columns; ++i) {
        // a quarter more than what the two reach, since a surface may be blurred more
        // towards its edge
        const float both = std::min(std::abs(diameters[i]), picture.largest) +
                           std::min(std::abs(own[i]), picture.largest);
        const std::int32_t is_seen =
            (distance[i] < 0.625F * both ? 1 : 0) & (weights[i] > 0.0F ? 1 : 0) &
            (diameters[i] - own[i] >= 0.5F * picture.tolerance ? 1 : 0);
        seen[i] = static_cast<float>(is_seen);
        any |= is_seen;
    }
    if (any == 0) return false;
    interpolate(finest, x, y, columns, to);
    for (std::int32_t i = 0; i < columns; ++i) {
        const float diameter = to.values[seed_run::DIAMETER][i];
        const float part =
            part_of_edge((diameter - own[i]) / picture.gap(diameter, own[i]));
        float& weight = to.values[seed_run::WEIGHT][i];
        weight = weight > 0.0F && seen[i] > 0.0F ? part : 0.0F;
    }
    return true;
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace layered
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace layered {

namespace {

HWY_EXPORT(sum_up_run);
HWY_EXPORT(make_means);
HWY_EXPORT(find_behind);

}  // namespace

void seed_level::resize(std::int32_t width, std::int32_t height) {
    width_ = width;
    height_ = height;
    stride_ = std::ptrdiff_t{gather::pieces(width, gather::BLOCK_COLUMNS)} *
                  gather::BLOCK_COLUMNS +
              2 * MARGIN;
    floats_.make_room(static_cast<std::size_t>(stride_) * seed_run::QUANTITIES *
                      static_cast<std::size_t>(height));
}

void seed_level::clear_row(std::int32_t y) {
    // and the column that sums of pairs of columns may read
    std::fill_n(row(y, seed_run::WEIGHT), width_ + 1, 0.0F);
}

void seed_level::sum_up_row(const seed_level& fine, std::int32_t y) {
    row(y, seed_run::WEIGHT)[width_] = 0.0F;
    for (std::int32_t x = 0; x < width_; x += gather::BLOCK_COLUMNS) {
        HWY_DYNAMIC_DISPATCH(sum_up_run)
        (fine, x, y, std::min(gather::BLOCK_COLUMNS, width_ - x), *this);
    }
}

void seed_level::fill_run(const seed_level* coarse, std::int32_t x, std::int32_t y) {
    HWY_DYNAMIC_DISPATCH(make_means)
    (coarse, x, y, std::min(gather::BLOCK_COLUMNS, width_ - x), *this);
}

void seed_level::fill_margins(std::int32_t y) {
    for (std::int32_t q = 0; q < seed_run::QUANTITIES; ++q) {
        float* const values = row(y, q);
        values[-1] = values[0];
        values[width_] = values[width_ - 1];
    }
}

bool seed_level::means_behind(const visible_picture& picture, std::int32_t x,
                              std::int32_t y, std::int32_t columns,
                              const float* distances, seed_run& to) const {
    return HWY_DYNAMIC_DISPATCH(find_behind)(*this, picture, x, y, columns, distances,
                                             to);
}

}  // namespace layered

#endif  // HWY_ONCE
