#pragma once
// Kernels that a formula gives: which ones, and what the formula needs of each.

#include <optional>
#include <span>
#include <vector>

#include "plugin/record/focusfall_interface.h"

namespace gather {

// How the weight of a source at offset (dx, dy) from it follows from its kernel_terms; d
// is the distance in pixels. `e` is the edge factor of the direction: 1 for the Disk, for
// the Polygon the distance of its edge from its centre, with the corners at 1.
enum class closed_form {
    EDGE,           // Disk, Polygon: clamp(shape * e + 1 - d, 0, 1)
    EDGE_WITH_RIM,  // with "Bad Bokeh": that * (1 + rim * min(1, (d / (shape * e))^4))
    GAUSSIAN,       // 2^-t, t = shape * d^2
    AIRY,           // the squared pattern at u^2 = AIRY_CENTRE * shape * d^2
    LAPLACIAN,      // 2^-t * (1 - t * ln 2), t = shape * d^2
};

// Whether the kernels have an edge, `shape` pixels from the centre; they are never wider
// than that and one more pixel.
constexpr bool is_edged(closed_form form) {
    return form == closed_form::EDGE || form == closed_form::EDGE_WITH_RIM;
}

// Whether the weights are products of a factor of dx and one of dy, within a square.
constexpr bool has_factors(closed_form form) {
    return form == closed_form::GAUSSIAN || form == closed_form::LAPLACIAN;
}

// What the formula needs of one kernel of the table. Four floats in this order: the
// loader of the sources reads them as vectors.
struct kernel_terms {
    float shape = 0.0F;           // edged: radius in pixels; else the scale of d^2
    float reach = 0.0F;           // pixels from which on the weights are 0; not for edges
    float inverse_fourth = 0.0F;  // EDGE_WITH_RIM: 1 / radius^4
    float weight = 0.0F;          // 1 / the sum of the magnitudes of the kernel's pixels
};

// The reach of a pixel without a source: below all others, and finite, so that its weight
// is too.
inline constexpr float NO_REACH = -1e30F;
constexpr kernel_terms no_source(closed_form form) {
    return is_edged(form) ? kernel_terms{.shape = NO_REACH}
                          : kernel_terms{.reach = NO_REACH};
}

// u^2 at the third dark ring of the Airy pattern, halved; u is the argument of its Bessel
// function.
inline constexpr double AIRY_CENTRE = 51.74972694756829;
// 2 * J1(u) / u as a polynomial of u^2 / AIRY_CENTRE - 1 up to that ring, highest power
// first: a Chebyshev fit, its largest error 3.4e-8.
inline constexpr double AIRY_PATTERN[] = {
    0.00030136834297, -0.0023147184775, 0.013440998462, -0.062365590363,
    0.2121227883,     -0.48591171573,   0.63479389785,  -0.23021110054,
    -0.37526131084,   0.28080315677,    0.014602255066};

// The functions below take a frame's style once it was read: an edit may store another
// one in the record while the frame renders.

// The formula for the kernels of a frame; none for a custom picture and for what no
// formula covers. [render thread]
std::optional<closed_form> find_closed_form(const focusfall_interface& params,
                                            std::int32_t style, const Image* custom);

// The edges of a frame's kernels: those of the Polygon, or of the Disk.
struct edge_shape {
    bool polygon;
    std::int32_t sides;  // of the Polygon, at least 3
    double turn;         // of the Polygon, radians
    bool shrunken;       // a smaller Disk
};
// The edges for a style, from the settings in the record. Never throws. [render thread]
edge_shape edge_of(const focusfall_interface& params, std::int32_t style);

// The edge factor `e` of the direction (dx, dy), in pixels from the kernel's centre, as
// at closed_form. Never throws. [any thread]
double edge_factor(const edge_shape& edge, std::int32_t dx, std::int32_t dy);

// The terms of the edged forms: entry k is for the kernel of diameter k * 0.01 pixels,
// k = 0 .. last. Throws std::bad_alloc. [render thread]
std::vector<kernel_terms> edged_terms(const focusfall_interface& params,
                                      const edge_shape& edge, std::size_t last);
// kernel_terms::shape of the kernel of that diameter, in pixels, for one of the other
// forms. Never throws. [any thread]
double shape_of(closed_form form, double diameter);
// Fills `terms` for one of these forms: entry i is for the kernel of diameter
// (first + i) * 0.01 pixels. Throws std::bad_alloc. [any thread, several ranges at once]
void fill_smooth_terms(closed_form form, std::size_t first,
                       std::span<kernel_terms> terms);

}  // namespace gather
