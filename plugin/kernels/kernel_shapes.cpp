#include "plugin/kernels/kernel_shapes.h"

#include <math.h>

#include <algorithm>
#include <cmath>

#include "plugin/kernels/kernel_geometry.h"

namespace {

// Bessel function of the first kind of order 1.
double bessel_j1(double x) {
#ifdef _WIN32
    return _j1(x);
#else
    return j1(x);
#endif
}

// A square kernel whose pixels are profile(dx, dy, distance from the centre).
template <class Profile>
Image* new_kernel(const focusfall_interface& params, double diameter,
                  std::int32_t min_size, Profile profile) {
    const std::int32_t size = std::max(odd_kernel_size(diameter), min_size);
    Owned<Image> kernel(NewImage(0x60020000, params.reference_image,  // model
                                 0x10020000, size,                    // width
                                 0x10020001, size,                    // height
                                 0x10020002, Image::FOUR_FLOATS, 0));
    const double centre = (size - 1) * 0.5;
    for (std::int32_t y = 0; y < size; ++y) {
        const double dy = y - centre;
        for (std::int32_t x = 0; x < size; ++x) {
            const double dx = x - centre;
            const auto value =
                static_cast<float>(profile(dx, dy, std::sqrt(dx * dx + dy * dy)));
            std::fill_n(kernel->Pixel(x, y), 4, value);
        }
    }
    return kernel.release();
}

// The four components of `picture` in the size of a kernel; the caller owns the result.
Image* resized(const Image& picture, double width_diameter, double height_diameter,
               std::int32_t min_size) {
    const double width = std::max(width_diameter, static_cast<double>(min_size));
    const double height = std::max(height_diameter, static_cast<double>(min_size));
    return picture.ResizeOfImage(0x10000000, odd_kernel_size(width),   // width
                                 0x10000001, odd_kernel_size(height),  // height
                                 0x10000003, Image::FOUR_FLOATS, 0);
}

// Value at distance d of a shape whose edge is at R in that direction.
double hard_edged(double d, double R, double bad_bokeh) {
    const double rim = 4.0 * bad_bokeh;
    if (d <= R) {
        const double square = (d / R) * (d / R);
        return rim * (square * square) + 1.0;
    }
    if (d > R + 1.0) return 0.0;
    const double coverage = R + 1.0 - d;
    return coverage * rim + coverage;
}

}  // namespace

std::int32_t odd_kernel_size(double diameter) {
    return 1 - 2 * static_cast<std::int32_t>(-0.5 * std::ceil(diameter));
}

double gaussian_falloff(double x, double s) {
    return std::exp(-(x * x) / (s * s)) / (s * s);
}

Image* make_disk_kernel(const focusfall_interface& params, double diameter,
                        std::int32_t min_size) {
    const double radius = disk_radius(diameter, params.shrink_disk);
    return new_kernel(params, diameter, min_size, [&](double, double, double d) {
        return hard_edged(d, radius, params.bad_bokeh);
    });
}

Image* make_polygon_kernel(const focusfall_interface& params, double diameter,
                           std::int32_t min_size) {
    const double half_angle = half_side_angle(params.polygon_side_count);
    const double apothem = std::cos(half_angle) * base_radius(diameter);
    return new_kernel(params, diameter, min_size, [&](double dx, double dy, double d) {
        const double angle = angle_from_side(dx, dy, half_angle, params.kernel_angle);
        return hard_edged(d, apothem / std::cos(angle), params.bad_bokeh);
    });
}

Image* make_gaussian_kernel(const focusfall_interface& params, double diameter,
                            std::int32_t min_size) {
    const double s = diameter / 6.0;
    const double peak = gaussian_falloff(0.0, s);
    return new_kernel(params, diameter, min_size, [&](double, double, double d) {
        return gaussian_falloff(d, s) / peak;
    });
}

Image* make_airy_kernel(const focusfall_interface& params, double diameter,
                        std::int32_t min_size) {
    const double scale = diameter / AIRY_DIAMETER;
    return new_kernel(params, diameter, min_size, [&](double, double, double d) {
        double u = d / scale;
        if (u >= THIRD_DARK_RING) return 0.0;
        if (u == 0.0) u = 1e-11;
        const double ratio = bessel_j1(u) / u;
        return 4.0 * (ratio * ratio);
    });
}

Image* make_laplacian_kernel(const focusfall_interface& params, double diameter,
                             std::int32_t min_size) {
    const double s = diameter / 6.0;
    return new_kernel(params, diameter, min_size, [&](double, double, double d) {
        const double t = d * d / (2.0 * s * s);
        return std::exp(-t) * (1.0 - t);
    });
}

Image* make_style_kernel(const focusfall_interface& params, std::int32_t style,
                         double diameter, std::int32_t min_size) {
    switch (style) {
        case DISK: return make_disk_kernel(params, diameter, min_size);
        case POLYGON: return make_polygon_kernel(params, diameter, min_size);
        case GAUSSIAN: return make_gaussian_kernel(params, diameter, min_size);
        case AIRY_DISK: return make_airy_kernel(params, diameter, min_size);
        case LAPLACIAN: return make_laplacian_kernel(params, diameter, min_size);
        default: return nullptr;
    }
}

Image* make_kernel(const focusfall_interface& params, double width_diameter,
                   double height_diameter, const Image* custom, std::int32_t min_size) {
    if (!(width_diameter > 0.0 && height_diameter > 0.0) && min_size < 1) return nullptr;
    if (custom) return resized(*custom, width_diameter, height_diameter, min_size);

    const double diameter =
        width_diameter > height_diameter ? width_diameter : height_diameter;
    const std::int32_t style = params.blur_style.load(std::memory_order_relaxed);
    Owned<Image> kernel(make_style_kernel(params, style, diameter, min_size));
    if (!kernel) return nullptr;
    if (width_diameter == height_diameter) return kernel.release();
    return resized(*kernel, width_diameter, height_diameter, min_size);
}
