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

// exp(-x * x / (s * s)) / (s * s). Without the usual 2 below the exponent's fraction, so
// a Gaussian of this tool is narrower than its s suggests.
double gaussian_falloff(double x, double s);

// A kernel for a blur of those diameters in pixels, in the style of `params` or, when
// there is a `custom` picture, that picture resized. Four equal components (those of the
// picture when custom), peak about 1, not normalised; odd sides, none below `min_size`
// when that is odd. The caller owns it. Null for an unknown style, and for a diameter
// that is not positive together with a `min_size` below 1. Throws what making an image
// throws. [render thread]
Image* make_kernel(const focusfall_interface& params, double width_diameter,
                   double height_diameter, const Image* custom, std::int32_t min_size);

// The square kernel of a style, a blur_style_code, for a diameter in pixels; null for an
// unknown one. The caller owns it.
Image* make_style_kernel(const focusfall_interface& params, std::int32_t style,
                         double diameter, std::int32_t min_size);

// The styles: square kernels of side max(odd_kernel_size(diameter), min_size).
//
// Disk and Polygon are 1 inside, fade out over one pixel, and with `bad_bokeh` brighten
// towards the rim.
Image* make_disk_kernel(const focusfall_interface& params, double diameter,
                        std::int32_t min_size);
// A corner lies where the Disk's edge does; at `kernel_angle` 0 a side's middle is right.
Image* make_polygon_kernel(const focusfall_interface& params, double diameter,
                           std::int32_t min_size);
Image* make_gaussian_kernel(const focusfall_interface& params, double diameter,
                            std::int32_t min_size);
// The diffraction pattern of a round aperture (Airy, "On the diffraction of an
// object-glass with circular aperture", 1835), cut off at its third dark ring, half a
// diameter out.
Image* make_airy_kernel(const focusfall_interface& params, double diameter,
                        std::int32_t min_size);
// Positive in the middle, a negative ring around it.
Image* make_laplacian_kernel(const focusfall_interface& params, double diameter,
                             std::int32_t min_size);
