#pragma once
// Kernel images: the shape of one out-of-focus highlight at one blur diameter.

#include <cstdint>

#include "plugin/record/focusfall_interface.h"

// Smallest side of a kernel, pixels.
inline constexpr std::int32_t KERNEL_MIN_SIZE = 3;

// Side, in pixels, of the kernel image for a blur `diameter` in pixels: the smallest odd
// whole number not below it (1.0 gives 1, 2.0 gives 3, 5.0 gives 5). `diameter` must be
// positive. Never throws; callable from any thread.
std::int32_t odd_kernel_size(double diameter);

// exp(-x * x / (s * s)) / (s * s): the exponent lacks the usual factor of 1/2, so a
// Gaussian of this tool is narrower than one of standard deviation s. `s` must not be 0.
// Never throws; callable from any thread.
double gaussian_falloff(double x, double s);

// A kernel for a blur of those diameters in pixels, in the style of `params` or, when
// there is a `custom` picture, that picture resized. Four equal components (those of the
// picture when custom), peak about 1, not normalised; odd sides, none below `min_size`
// when that is odd. The caller owns it. Null for an unknown style, and for a diameter
// that is not positive together with a `min_size` below 1. Throws like Image's
// constructor. [any thread while the settings do not change]
Image* make_kernel(const focusfall_interface& params, double width_diameter,
                   double height_diameter, const Image* custom, std::int32_t min_size);

// The square kernel of `style`, a blur_style_code, for a diameter in pixels; null for an
// unknown style. Owner, errors and threads as make_kernel.
Image* make_style_kernel(const focusfall_interface& params, std::int32_t style,
                         double diameter, std::int32_t min_size);

// The styles: square kernels of side max(odd_kernel_size(diameter), min_size). Owner,
// errors and threads as make_kernel.
//
// Disk and Polygon are 1 inside, fade out over one pixel, and with `bad_bokeh` brighten
// towards the rim.
Image* make_disk_kernel(const focusfall_interface& params, double diameter,
                        std::int32_t min_size);
// The corners are as far out as the Disk's edge; at a `kernel_angle` of 0 the middle of
// one side is to the right.
Image* make_polygon_kernel(const focusfall_interface& params, double diameter,
                           std::int32_t min_size);
// See gaussian_falloff; its s is a sixth of the diameter.
Image* make_gaussian_kernel(const focusfall_interface& params, double diameter,
                            std::int32_t min_size);
// The diffraction pattern of a round aperture (Airy, "On the diffraction of an
// object-glass with circular aperture", 1835), cut off at its third dark ring, half a
// diameter out.
Image* make_airy_kernel(const focusfall_interface& params, double diameter,
                        std::int32_t min_size);
// The Laplacian of a Gaussian, inverted: positive in the middle, with a negative ring
// around it.
Image* make_laplacian_kernel(const focusfall_interface& params, double diameter,
                             std::int32_t min_size);
