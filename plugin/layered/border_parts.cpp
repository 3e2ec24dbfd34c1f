#include "plugin/layered/border_parts.h"

#include <algorithm>

#include "plugin/kernels/kernel_shapes.h"
#include "plugin/kernels/kernel_weights.h"

namespace layered {

void make_border_part(const focusfall_interface& params, std::int32_t style,
                      const Image* custom, float diameter, bool turned,
                      border_part& part) {
    const auto index = static_cast<std::size_t>(diameter / lens::KERNEL_STEP_FLOAT);
    std::vector<float> weights = {1.0F};
    if (index > 0) {
        const double side = lens::kernel_diameter(index);
        const Owned<Image> kernel(
            custom ? make_kernel(params, side, side, custom, KERNEL_MIN_SIZE)
                   : make_style_kernel(params, style, side, KERNEL_MIN_SIZE));
        load_kernel_weights(params, kernel.get(), weights);
    }
    // a source lies on the other side of a pixel than the pixel of it
    if (!turned) std::ranges::reverse(weights);
    part.radius = lens::kernel_radius(index);
    const std::size_t side = 2 * static_cast<std::size_t>(part.radius) + 1;
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
