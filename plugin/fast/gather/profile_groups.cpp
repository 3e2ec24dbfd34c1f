#include "plugin/fast/gather/profile_groups.h"

#include <array>
#include <cmath>
#include <numbers>

namespace gather {

namespace {

using squares = std::array<double, profile_group::NODES>;

// All heights of the smallest kernels: their factors become 0 and 1, and the weights
// those of the formula.
squares whole_heights() {
    squares nodes;
    for (std::size_t n = 0; n < nodes.size(); ++n) nodes[n] = static_cast<double>(n * n);
    return nodes;
}

// Chebyshev nodes of the squares from 0 to radius^2.
squares spread_heights(std::int32_t radius) {
    squares nodes;
    const double half = 0.5 * radius * radius;
    for (std::size_t n = 0; n < nodes.size(); ++n) {
        const double turn = (static_cast<double>(n) + 0.5) / profile_group::NODES;
        nodes[n] = half * (1.0 - std::cos(std::numbers::pi * turn));
    }
    return nodes;
}

// The polynomial of `square` that is 1 at node n and 0 at all others.
double node_polynomial(const squares& nodes, std::size_t n, double square) {
    double product = 1.0;
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        if (i != n) product *= (square - nodes[i]) / (nodes[n] - nodes[i]);
    }
    return product;
}

// The group of radii above `below` up to `radius`.
profile_group group_of(closed_form form, std::int32_t radius, std::int32_t below) {
    const bool smallest = below < 0;
    const squares nodes = smallest ? whole_heights() : spread_heights(radius);
    // The polynomial goes through the weights divided by the falloff of a middle kernel:
    // they vary far less than the weights themselves. The smallest need no polynomial.
    const auto shape = [&](std::int32_t r) { return shape_of(form, 2.0 * r + 1.0); };
    const double middle = smallest ? 0.0 : 0.5 * (shape(radius) + shape(below));

    profile_group group = {.radius = radius, .square_of_height = {}, .node_factors = {}};
    for (std::size_t n = 0; n < nodes.size(); ++n)
        group.square_of_height[n] = static_cast<float>(nodes[n]);
    for (std::int32_t height = 0; height <= radius; ++height) {
        const double square = static_cast<double>(height) * height;
        for (std::size_t n = 0; n < nodes.size(); ++n) {
            const double falloff = std::exp2(middle * (nodes[n] - square));
            group.node_factors.push_back(
                static_cast<float>(node_polynomial(nodes, n, square) * falloff));
        }
    }
    return group;
}

}  // namespace

std::vector<profile_group> profile_groups(closed_form form, std::int32_t largest) {
    std::vector<profile_group> groups;
    std::int32_t radius = largest;
    while (radius >= profile_group::NODES) {
        const auto below =
            static_cast<std::int32_t>(profile_group::RADIUS_RATIO * radius);
        groups.push_back(group_of(form, radius, below));
        radius = below;
    }
    groups.push_back(group_of(form, radius, -1));
    return groups;
}

}  // namespace gather
