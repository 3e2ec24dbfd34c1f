#include "plugin/fast/gather/gather.h"

// older kinds of vectors that add nothing to the ones kept here
#define HWY_DISABLED_TARGETS (HWY_SSSE3 | HWY_AVX3_DL)
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE \
    "plugin/fast/gather/gather.cpp"  // compiled once for each kind of vectors
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "plugin/fast/gather/gather-inl.h"

#if HWY_ONCE

namespace gather {

namespace {

HWY_EXPORT(gather_quantities);

}  // namespace

void gather_macro_tile(const gather_frame& frame, std::int32_t x, std::int32_t y,
                       tile_sums* sums) {
    HWY_DYNAMIC_DISPATCH(gather_quantities)(frame, x, y, sums);
}

}  // namespace gather

#endif  // HWY_ONCE
