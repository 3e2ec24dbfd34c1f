#pragma once
// Kernel images as the splat reads them.

#include <vector>

#include "plugin/record/focusfall_interface.h"

// Fills `weights` with the third component of every pixel, row by row, divided by the sum
// of their absolute values; empty for a null kernel. A kernel of zeros divides by zero:
// its weights become not-a-number, and so does what they touch, which shows an artist at
// once that the picture is no shape. `params` is not used. [render thread]
void load_kernel_weights(const focusfall_interface& params, const Image* kernel,
                         std::vector<float>& weights);
