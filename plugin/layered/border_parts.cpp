#include "plugin/layered/border_parts.h"

#include <algorithm>
#include <cmath>

#include "plugin/kernels/kernel_shapes.h"
#include "plugin/kernels/kernel_weights.h"

namespace layered {

namespace {

// The diameter in the middle of a layer, whole hundredths of a pixel as kernels have
// them.
std::size_t middle_kernel(const depth_layers& layers, std::int32_t layer, float largest) {
    if (layer == depth_layers::FOCUS) return 0;
    const float a = std::abs(layers.limits[layer]);
    const float b = std::abs(layers.limits[layer + 1]);
    const float middle =
        (std::min(std::min(a, b), largest) + std::min(std::max(a, b), largest)) * 0.5F;
    return static_cast<std::size_t>(middle / lens::KERNEL_STEP_FLOAT);
}

}  // namespace

void make_border_part(const focusfall_interface& params, std::int32_t style,
                      const Image* custom, const depth_layers& layers, std::int32_t layer,
                      float largest, bool turned, border_part& part) {
    const std::size_t index = middle_kernel(layers, layer, largest);
    std::vector<float> weights = {1.0F};
    if (index > 0) {
        const double diameter = lens::kernel_diameter(index);
        const Owned<Image> kernel(
            custom ? make_kernel(params, diameter, diameter, custom, KERNEL_MIN_SIZE)
                   : make_style_kernel(params, style, diameter, KERNEL_MIN_SIZE));
        load_kernel_weights(params, kernel.get(), weights);
    }
    // a source lies on the other side of a pixel than the pixel of it
    if (!turned) std::ranges::reverse(weights);
    part.radius = lens::kernel_radius(index);
    const auto side = static_cast<std::size_t>(2 * part.radius + 1);
    std::vector<double> above(side + 1, 0.0);
    part.sums.assign((side + 1) * (side + 1), 0.0F);
    for (std::size_t y = 0; y < side; ++y) {
        double row = 0.0;
        for (std::size_t x = 0; x < side; ++x) {
            row += double{weights[y * side + x]};
            above[x + 1] += row;
            part.sums[(y + 1) * (side + 1) + x + 1] = static_cast<float>(above[x + 1]);
        }
    }
}

}  // namespace layered
