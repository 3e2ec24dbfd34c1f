#include "plugin/layered/depth_layers.h"

#include <bit>
#include <cmath>

namespace layered {

namespace {

// Half the thickness of the layer in focus, pixels of diameter, and the thickness of the
// next; from there on each limit is further out by a factor.
constexpr float FOCUS_LIMIT = 1.0F;
constexpr float SECOND_LIMIT = 3.0F;
constexpr float GROWTH = 1.5F;
// So far on either side of a limit, sources are of both layers: a part of the thinner
// layer, but no more pixels of diameter than a slow focus pull takes a few frames for,
// since each such source is gathered twice.
constexpr float SOFTNESS = 0.25F;
constexpr float MAX_SOFTNESS = 1.0F;

constexpr float BEYOND_ALL = 1e30F;

}  // namespace

depth_layers::depth_layers() {
    limits[0] = -BEYOND_ALL;
    limits[COUNT] = BEYOND_ALL;
    float limit = FOCUS_LIMIT;
    for (std::int32_t i = 0; FOCUS + 1 + i < COUNT; ++i) {
        limits[FOCUS + 1 + i] = limit;
        limits[FOCUS - i] = -limit;
        limit = i == 0 ? SECOND_LIMIT : limit * GROWTH;
    }
    limits[1] = -limit;
    for (std::int32_t i = 0; i <= COUNT; ++i) {
        const float before = i > 0 ? limits[i] - limits[i - 1] : BEYOND_ALL;
        const float after = i < COUNT ? limits[i + 1] - limits[i] : BEYOND_ALL;
        steepness[i] = 0.5F / std::min(MAX_SOFTNESS, SOFTNESS * std::min(before, after));
    }
    // everything is of the layers from the first on, nothing beyond the last
    steepness[0] = steepness[COUNT] = 1.0F;
}

std::int32_t depth_layers::layer_at(float diameter) const {
    // most of what is looked for lies near the focus, or where its neighbour did
    std::int32_t layer = FOCUS;
    while (layer + 1 < COUNT && diameter >= limits[layer + 1]) ++layer;
    while (layer > 0 && diameter < limits[layer]) --layer;
    return layer;
}

std::uint32_t depth_layers::layers_of(float diameter) const {
    const std::int32_t layer = layer_at(diameter);
    std::uint32_t bits = 0;
    for (std::int32_t l = std::max(0, layer - 1); l <= std::min(COUNT - 1, layer + 1);
         ++l) {
        if (part_of(l, diameter) > 0.0F) bits |= 1U << l;
    }
    return bits;
}

std::uint32_t depth_layers::layers_between(float nearest, float deepest,
                                           const float* diameters,
                                           std::int32_t count) const {
    std::uint32_t bits = layers_of(nearest) | layers_of(deepest);
    const std::int32_t last = COUNT - std::countl_zero(bits);
    for (std::int32_t l = std::countr_zero(bits); l < last; ++l) {
        if ((bits >> l & 1U) != 0) continue;
        const float from = begin_of(l);
        const float to = end_of(l);
        std::int32_t found = 0;
        for (std::int32_t i = 0; i < count; ++i) {
            found += diameters[i] > from && diameters[i] < to ? 1 : 0;
        }
        if (found > 0) bits |= 1U << l;
    }
    return bits;
}

float depth_layers::behind(float diameter, float count) const {
    const std::int32_t layer = layer_at(diameter);
    // the outermost layers have no thickness of their own
    if (layer == 0) return limits[1];
    const float thickness = limits[layer + 1] - limits[layer];
    const float place =
        static_cast<float>(layer) + (diameter - limits[layer]) / thickness + count;
    const auto to = static_cast<std::int32_t>(place);
    if (to >= COUNT - 1) return 2.0F * limits[COUNT - 1];
    return std::lerp(limits[to], limits[to + 1], place - static_cast<float>(to));
}

float depth_layers::reach_of(std::int32_t layer, float behind_count) const {
    const auto layers_nearer = static_cast<std::int32_t>(std::ceil(behind_count));
    // a source near a limit is also of the layer beyond it
    const std::int32_t first = layers_nearer > 0 ? layer - layers_nearer - 1 : layer;
    const float nearest = std::abs(limits[std::max(first, 0)]);
    const float diameter = std::max(nearest, std::abs(limits[layer + 1]));
    return (diameter + MAX_SOFTNESS) * 0.5F + 2.0F;  // and rounding
}

}  // namespace layered
