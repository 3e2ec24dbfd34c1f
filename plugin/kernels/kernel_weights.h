#pragma once
// Kernel images as the splat reads them.

#include <vector>

#include "plugin/record/focusfall_interface.h"

// Fills `weights` with the third component (red) of every pixel, row by row, divided by
// the sum of their absolute values; empty for a null kernel. A kernel of zeros divides by
// zero: its weights become not-a-number, and so do the pixels they are added to, which
// shows an artist at once that the picture is no shape. `params` is not used. Throws
// std::bad_alloc. [any thread; `weights` belongs to one]
void load_kernel_weights(const focusfall_interface& params, const Image* kernel,
                         std::vector<float>& weights);
