#include "plugin/fast/gather/closed_form.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "lens/kernel_sizes.h"
#include "plugin/kernels/kernel_geometry.h"

namespace gather {

namespace {

// Distance of the corners from the centre of the edged kernel k, pixels.
double corner_radius(const edge_shape& edge, std::size_t k) {
    return disk_radius(lens::kernel_diameter(k), edge.shrunken);
}

// The sum of the pixels of an edged kernel, in parts that a growing radius changes in
// steps. The pixels in the ramp at the edge add up to radius * slope + constant, those
// inside to 1 each. A rim adds rim * (fourth_powers / radius^4 + the ramp).
struct edged_sums {
    double slope = 0.0;          // sum of e in the ramp
    double constant = 0.0;       // sum of 1 - d in the ramp
    double inside = 0.0;         // pixels within the edge
    double fourth_powers = 0.0;  // sum of (d / e)^4 within the edge

    void add(const edged_sums& other) {
        slope += other.slope;
        constant += other.constant;
        inside += other.inside;
        fourth_powers += other.fourth_powers;
    }
};

// How the sums change from kernel to kernel as the radii grow; one visit to each pixel
// serves all kernels. A pixel's value is 0 until the radius reaches (d - 1) / e, then
// radius * e + 1 - d until it is 1, when the radius is d / e.
std::vector<edged_sums> changes_of_sums(const edge_shape& edge,
                                        const std::vector<double>& radii) {
    const auto first_above = [&](double radius) {
        const auto at = std::upper_bound(radii.begin() + 1, radii.end(), radius);
        return static_cast<std::size_t>(at - radii.begin());
    };
    std::vector<edged_sums> changes(radii.size() + 1);
    const std::int32_t reach = lens::kernel_radius(radii.size() - 1);
    for (std::int32_t dy = -reach; dy <= reach; ++dy) {
        for (std::int32_t dx = -reach; dx <= reach; ++dx) {
            const double d = std::sqrt(static_cast<double>(dx * dx + dy * dy));
            const double e = edge_factor(edge, dx, dy);
            changes[first_above((d - 1.0) / e)].add({.slope = e, .constant = 1.0 - d});
            changes[first_above(d / e)].add({.slope = -e,
                                             .constant = d - 1.0,
                                             .inside = 1.0,
                                             .fourth_powers = std::pow(d / e, 4.0)});
        }
    }
    return changes;
}

// Sum of the factors of one row of a square kernel, whose halves mirror each other;
// `factor` has radius + 1 entries, from the centre on.
double mirrored_sum(const std::vector<double>& factor) {
    double half = 0.0;
    for (std::size_t i = factor.size() - 1; i > 0; --i) half += factor[i];
    return factor[0] + 2.0 * half;
}

// Sum of 2^-(scale * (i^2 + j^2)): the square of the sum over one row.
double gaussian_sum(double scale, std::int32_t radius) {
    std::vector<double> factor;
    for (std::int32_t i = 0; i <= radius; ++i)
        factor.push_back(std::exp2(-scale * i * i));
    const double row = mirrored_sum(factor);
    return row * row;
}

// Sum of |2^-t * (1 - t * ln 2)| over a square kernel, t = scale * (i^2 + j^2) for
// column i and row j. With p_i = 2^-(scale * i^2) and q_i = p_i * scale * i^2 * ln 2, row
// j is p_j * (p_i * rest_j - q_i), where rest_j = 1 - scale * j^2 * ln 2. It is positive
// up to the column where q_i / p_i exceeds rest_j, and negative from there on; so the sum
// of its magnitudes is twice that of the positive part less that of the whole row. Both
// are differences of prefix sums over p and q.
double laplacian_sum(double scale, std::int32_t radius) {
    const auto count = static_cast<std::size_t>(radius) + 1;
    // prefix sums over columns 0 .. i - 1, those beside the centre counted twice (left
    // and right), of p (plain) and q (scaled)
    std::vector<double> prefix_plain(count + 1);
    std::vector<double> prefix_scaled(count + 1);
    for (std::size_t i = 0; i < count; ++i) {
        const double t = scale * static_cast<double>(i * i);
        const double twice = i == 0 ? std::exp2(-t) : 2.0 * std::exp2(-t);
        prefix_plain[i + 1] = prefix_plain[i] + twice;
        prefix_scaled[i + 1] = prefix_scaled[i] + twice * t * std::numbers::ln2;
    }
    double sum = 0.0;
    // the first column that is negative; it comes closer from row to row
    std::size_t sign_change = count;
    for (std::size_t j = 0; j < count; ++j) {
        const double s = scale * static_cast<double>(j * j);
        const double rest = 1.0 - s * std::numbers::ln2;
        while (sign_change > 0 &&
               scale * static_cast<double>((sign_change - 1) * (sign_change - 1)) *
                       std::numbers::ln2 >
                   rest) {
            --sign_change;
        }
        const double positive =
            prefix_plain[sign_change] * rest - prefix_scaled[sign_change];
        const double whole = prefix_plain[count] * rest - prefix_scaled[count];
        sum += (j == 0 ? 1.0 : 2.0) * std::exp2(-s) * (2.0 * positive - whole);
    }
    return sum;
}

// The pattern, squared, at t = scale * d^2: 1 at the centre, 0 from the third dark ring,
// t = 2, on.
double airy_value(double t) {
    if (t == 0.0) return 1.0;  // what the polynomial gives in single precision
    if (t >= 2.0) return 0.0;
    double value = 0.0;
    for (const double coefficient : AIRY_PATTERN) {
        value = value * (t - 1.0) + coefficient;
    }
    return value * value;
}

// Pixels that are equally far from the centre of a kernel, and so have one weight.
struct ring {
    double squared_distance;
    double pixels;  // how many
};
// All rings up to a distance of `radius` pixels, nearest first.
std::vector<ring> rings_of(std::int32_t radius) {
    std::vector<std::int32_t> counts(
        static_cast<std::size_t>(radius) * static_cast<std::size_t>(radius) + 1);
    for (std::int32_t y = -radius; y <= radius; ++y) {
        for (std::int32_t x = -radius; x <= radius; ++x) {
            const std::int32_t square = x * x + y * y;
            if (square <= radius * radius) ++counts[static_cast<std::size_t>(square)];
        }
    }
    std::vector<ring> rings;
    for (std::size_t i = 0; i < counts.size(); ++i) {
        if (counts[i] > 0)
            rings.push_back({static_cast<double>(i), static_cast<double>(counts[i])});
    }
    return rings;
}

// Sum of the squared pattern over all pixels, ring by ring.
double airy_sum(double scale, const std::vector<ring>& rings) {
    double sum = 0.0;
    for (const ring& r : rings) {
        const double scaled_square = scale * r.squared_distance;
        if (scaled_square >= 2.0) break;
        sum += r.pixels * airy_value(scaled_square);
    }
    return sum;
}

}  // namespace

std::optional<closed_form> find_closed_form(const focusfall_interface& params,
                                            std::int32_t style, const Image* custom) {
    if (custom) return std::nullopt;
    const bool rim = params.bad_bokeh != 0.0;
    switch (style) {
        case POLYGON:
            // with fewer sides the edge lies behind the centre
            if (params.polygon_side_count < 3) return std::nullopt;
            [[fallthrough]];
        case DISK: return rim ? closed_form::EDGE_WITH_RIM : closed_form::EDGE;
        case GAUSSIAN: return closed_form::GAUSSIAN;
        case AIRY_DISK: return closed_form::AIRY;
        case LAPLACIAN: return closed_form::LAPLACIAN;
        default: return std::nullopt;
    }
}

edge_shape edge_of(const focusfall_interface& params, std::int32_t style) {
    return {.polygon = style == POLYGON,
            .sides = params.polygon_side_count,
            .turn = params.kernel_angle,
            .shrunken = style == DISK && params.shrink_disk};
}

double edge_factor(const edge_shape& edge, std::int32_t dx, std::int32_t dy) {
    if (!edge.polygon) return 1.0;
    const double half_angle = half_side_angle(edge.sides);
    return std::cos(half_angle) /
           std::cos(angle_from_side(dx, dy, half_angle, edge.turn));
}

std::vector<kernel_terms> edged_terms(const focusfall_interface& params,
                                      const edge_shape& edge, std::size_t last) {
    std::vector<double> radii(last + 1);
    for (std::size_t k = 1; k <= last; ++k) radii[k] = corner_radius(edge, k);
    const std::vector<edged_sums> changes = changes_of_sums(edge, radii);

    const double rim = 4.0 * params.bad_bokeh;
    edged_sums sums;
    std::vector<kernel_terms> terms(last + 1);
    for (std::size_t k = 1; k <= last; ++k) {
        sums.add(changes[k]);
        const double ramp = sums.slope * radii[k] + sums.constant;
        const double radius_fourth = std::pow(radii[k], 4.0);
        const double sum =
            sums.inside + ramp + rim * (sums.fourth_powers / radius_fourth + ramp);
        terms[k] = {.shape = static_cast<float>(radii[k]),
                    .inverse_fourth = static_cast<float>(1.0 / radius_fourth),
                    .weight = static_cast<float>(1.0 / sum)};
    }
    terms[0] = {.weight = 1.0F};  // unblurred
    return terms;
}

// The Gaussian is e^-(d / s)^2, the Laplacian follows from d^2 / (2 * s^2), with s a
// sixth of the diameter.
double shape_of(closed_form form, double diameter) {
    const double s = diameter / 6.0;
    if (form == closed_form::GAUSSIAN) return std::numbers::log2e / (s * s);
    if (form == closed_form::LAPLACIAN) return std::numbers::log2e / (2.0 * s * s);
    return (AIRY_DIAMETER / diameter) * (AIRY_DIAMETER / diameter) / AIRY_CENTRE;
}

void fill_smooth_terms(closed_form form, std::size_t first,
                       std::span<kernel_terms> terms) {
    const auto rings = rings_of(lens::kernel_radius(first + terms.size()) + 1);
    for (std::size_t i = 0; i < terms.size(); ++i) {
        const std::size_t k = first + i;
        const double diameter = lens::kernel_diameter(k);
        const double shape = shape_of(form, diameter);
        const std::int32_t radius = lens::kernel_radius(k);
        double sum = 0.0;
        double reach = radius + 0.5;
        if (form == closed_form::GAUSSIAN) {
            sum = gaussian_sum(shape, radius);
        } else if (form == closed_form::LAPLACIAN) {
            sum = laplacian_sum(shape, radius);
        } else {
            sum = airy_sum(shape, rings);
            reach = diameter * 0.5;
        }
        terms[i] = {.shape = static_cast<float>(shape),
                    .reach = static_cast<float>(reach),
                    .weight = static_cast<float>(1.0 / sum)};
        // unblurred: all weight in the pixel itself
        if (k == 0) terms[i] = {.shape = 0.0F, .reach = 0.5F, .weight = 1.0F};
    }
}

}  // namespace gather
