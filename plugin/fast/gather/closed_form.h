#pragma once
// Kernels that a formula gives: which ones, and what the formula needs of each.

#include <optional>
#include <span>
#include <vector>

#include "plugin/record/focusfall_interface.h"

// How the weight at offset (dx, dy), distance d, follows from a source's planes. `e` is
// the edge factor of the offset: 1 for the Disk, for the Polygon the distance of its edge
// in that direction from its centre, as a part of its corners' distance.
enum class closed_form {
    FLAT,       // Disk, Polygon: clamp(SHAPE * e + 1 - d, 0, 1); SHAPE is the radius
    RIM,        // with "Bad Bokeh": FLAT * (1 + rim * min(1, (d / e)^4 * SECOND));
                // SECOND is 1 / radius^4
    GAUSSIAN,   // 2^(-SHAPE * d^2); in all that follow SECOND is the reach
    AIRY,       // the squared pattern at u^2 = AIRY_CENTRE * SHAPE * d^2
    LAPLACIAN,  // 2^(-t) * (1 - t * ln 2), t = SHAPE * d^2
};

// One kernel of the table.
struct kernel_terms {
    float shape = 0.0F;
    float second = 0.0F;
    float weight = 0.0F;  // 1 / the sum of the values' magnitudes
};

// Whether SHAPE is the reach: how far from the source its weights end, at least.
constexpr bool is_edged(closed_form form) {
    return form == closed_form::FLAT || form == closed_form::RIM;
}

// What stands for a pixel without a source: it reaches nowhere and its weight is finite.
inline constexpr float NO_REACH = -1e30F;
constexpr kernel_terms no_source(closed_form form) {
    return is_edged(form) ? kernel_terms{NO_REACH, 0.0F, 0.0F}
                          : kernel_terms{0.0F, NO_REACH, 0.0F};
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

// The formula for the kernels of a frame; none for a custom picture and for what no
// formula covers. [render thread]
std::optional<closed_form> find_closed_form(const focusfall_interface& params,
                                            const Image* custom);

// Distance of the Polygon's edge in the direction of (dx, dy), its corners being at 1.
double edge_factor(const focusfall_interface& params, std::int32_t dx, std::int32_t dy);

// Of FLAT and RIM: entry k for the kernel of diameter k * 0.01 pixels, k = 0 .. last.
std::vector<kernel_terms> edged_terms(const focusfall_interface& params,
                                      std::size_t last);
// Of the other forms: the entries for kernels `first` on. [any thread]
void fill_smooth_terms(const focusfall_interface& params, closed_form form,
                       std::size_t first, std::span<kernel_terms> terms);
