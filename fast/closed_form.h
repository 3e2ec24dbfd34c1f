#pragma once
// Kernels that a formula gives: which ones, and what the formula needs of each.

#include <optional>
#include <vector>

#include "render/focusfall_interface.h"

// How the weight at offset (dx, dy), distance d, follows from a source's planes. `e` is
// the edge factor of the offset: 1 for the Disk, for the Polygon the distance of its edge
// in that direction from its centre, as a part of its corners' distance.
enum class closed_form {
    FLAT,       // Disk, Polygon: clamp(SHAPE * e + 1 - d, 0, 1); SHAPE is the radius
    RIM,        // with "Bad Bokeh": FLAT * (1 + rim * min(1, (d / e)^4 * SECOND));
                // SECOND is 1 / radius^4
    GAUSSIAN,   // 2^(-SHAPE * d^2); in all that follow SECOND is the reach
    AIRY,       // the squared pattern at u^2 = SHAPE * d^2
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

// The first dark rings of the Airy pattern as u^2, u the argument of its Bessel function.
inline constexpr double AIRY_DARK_RINGS[] = {14.681970642123893, 49.21845632169460,
                                             103.49945389513658};

// The smooth factor that is left of 2 * J1(u) / u without its first three dark rings, as
// a polynomial of u^2 / 51.75 - 1 up to the third ring; highest power first. A Chebyshev
// fit, its largest error 6.4e-9.
inline constexpr double AIRY_SMOOTH[] = {
    1.704505291e-5, -0.0001589758744, 0.001177229686, -0.007092045026, 0.03289336629,
    -0.1118914323,  0.2597080709,     -0.3621440954,  0.224917733};
inline constexpr double AIRY_CENTRE = 51.75;

// The formula for the kernels of a frame; none for a custom picture and for what no
// formula covers. [render thread]
std::optional<closed_form> find_closed_form(const focusfall_interface& params,
                                            const Image* custom);

// Distance of the Polygon's edge in the direction of (dx, dy), its corners being at 1.
double edge_factor(const focusfall_interface& params, std::int32_t dx, std::int32_t dy);

// Entry k for the kernel of diameter k * 0.01 pixels, k = 0 .. last. [render thread]
std::vector<kernel_terms> kernel_terms_up_to(const focusfall_interface& params,
                                             closed_form form, std::size_t last);
