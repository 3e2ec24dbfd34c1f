#pragma once
// How the weights of a smooth kernel follow, at all heights above and below a source,
// from those at a few of them.

#include <cstddef>
#include <cstdint>
#include <vector>

#include "plugin/fast/gather/closed_form.h"

namespace gather {

// Sources of like radius. Up to its end, the weight of a source is a smooth function of
// the square of the height, in pixels, at which an output pixel lies above or below it.
// What several sources of a group add to a column of pixels at height h is therefore
//
//     sum over n of factor(h, n) * (what they add at the height of node n)
//
// for all heights up to the least of their radii; the factors are the group's alone.
struct profile_group {
    // Nodes of a group. With radii from RADIUS_RATIO * radius to radius a Gaussian's
    // weight errs by 2.2e-7 of itself at most, computed for radii from 10 to 600, where
    // the factors are exact.
    static constexpr std::int32_t NODES = 10;
    static constexpr double RADIUS_RATIO = 0.8;

    std::int32_t radius;              // the largest, pixels
    float square_of_height[NODES];    // of the nodes, square pixels
    std::vector<float> node_factors;  // factor(h, n) at h * NODES + n, h = 0 .. radius

    const float* factors(std::int32_t height) const {
        return node_factors.data() + std::ptrdiff_t{height} * NODES;
    }
};

// The groups for a form that has_factors and kernels up to a radius of `largest` pixels,
// largest radii first; the last one holds radius 0. Throws std::bad_alloc. [any thread]
std::vector<profile_group> profile_groups(closed_form form, std::int32_t largest);

}  // namespace gather
