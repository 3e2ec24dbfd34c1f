#include "plugin/kernels/kernel_weights.h"

#include <cmath>

void load_kernel_weights(const focusfall_interface& /*params*/, const Image* kernel,
                         std::vector<float>& weights) {
    weights.clear();
    if (!kernel) return;

    weights.reserve(static_cast<std::size_t>(kernel->Width()) *
                    static_cast<std::size_t>(kernel->Height()));
    float sum = 0.0F;
    for (std::int32_t y = 0; y < kernel->Height(); ++y) {
        for (std::int32_t x = 0; x < kernel->Width(); ++x) {
            const float value = kernel->Pixel(x, y)[Image::RED];
            sum += std::abs(value);
            weights.push_back(value);
        }
    }
    for (float& weight : weights) weight /= sum;
}
