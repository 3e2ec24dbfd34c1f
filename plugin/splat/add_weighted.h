#pragma once
// The innermost step of the blur: one kernel weight into one pixel.

#include <xmmintrin.h>

#include <cstdint>

#include "plugin/kestrel_image/color_rgba_f.h"

// The meaning of `add_weighted` in plain floats; tests compare the two.
inline void add_weighted_reference(color_rgba_f& pixel, const float* color,
                                   float weight) {
    pixel.r += weight * color[0];
    pixel.g += weight * color[1];
    pixel.b += weight * color[2];
    pixel.a += weight * color[3];
}

// Adds weight * color to one pixel in one 16-byte step. `pixel` lies on a 16-byte
// boundary; `color` (r, g, b, a) need not: in its record it follows two floats.
inline void add_weighted(color_rgba_f& pixel, const float* color, float weight) {
    // product and sum round apart, as in the reference: no fused multiply-add
    const __m128 scaled = _mm_mul_ps(_mm_set1_ps(weight), _mm_loadu_ps(color));
    _mm_store_ps(&pixel.r, _mm_add_ps(_mm_load_ps(&pixel.r), scaled));
}

// Adds a run of `count` pixels: each weight times `stamp_weight` to `norm`, and that
// product times `color` to `pixels`. The three arrays must not overlap.
inline void add_run(color_rgba_f* __restrict pixels, float* __restrict norm,
                    const float* __restrict weights, const float* color,
                    float stamp_weight, std::int32_t count) {
    for (std::int32_t i = 0; i < count; ++i) norm[i] += stamp_weight * weights[i];
    for (std::int32_t i = 0; i < count; ++i) {
        add_weighted(pixels[i], color, stamp_weight * weights[i]);
    }
}
