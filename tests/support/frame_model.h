#pragma once
// A slow and plain model of one frame, to check the product by. Values are in double
// precision; what jumps with rounding, the choice of kernels, is computed in single
// precision as the product promises it. Shares no code with the product.

#include <map>
#include <string>
#include <vector>

namespace frame_model {

struct picture {
    int width = 0;
    int height = 0;
    int components = 5;         // blue, green, red, alpha, Z, any others
    std::vector<float> values;  // row by row
    float& at(int x, int y, int component);
    float at(int x, int y, int component) const;
};

// Values of the tool's controls by identifier, in the controls' units.
using controls = std::map<std::string, double>;

// One component of the result, and how far single precision may lead from it: relative
// 2e-4, or for sums that cancel 1e-5 of what was added.
struct expected {
    double value;
    double tolerance;
    bool undecided;  // divided by a weight that may be rounded to either side of 0
};

struct frame {
    int kernel_count = 0;             // 0: nothing was blurred
    std::vector<expected> colors;     // blue, green, red, alpha of each pixel
    std::vector<float> depth_values;  // Z of each pixel
};

// The frame that the tool makes of `input`, its depth taken from `depth`. Controls that
// `values` lacks have the tool's defaults.
frame render(const picture& input, const picture& depth, const controls& values);

}  // namespace frame_model
