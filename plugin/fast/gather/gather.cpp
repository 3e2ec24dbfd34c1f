#include "plugin/fast/gather/gather.h"

#include <algorithm>
#include <cstring>
#include <memory>

// kinds that the others here cover as well
#define HWY_DISABLED_TARGETS (HWY_SSSE3 | HWY_AVX3_DL)
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE \
    "plugin/fast/gather/gather.cpp"  // compiled once for each kind of vectors
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "plugin/fast/gather/gather-inl.h"

#if HWY_ONCE

namespace {

HWY_EXPORT(gather);

}  // namespace

void gather_macro_tile(const gather_frame& frame, std::int32_t x, std::int32_t y,
                       tile_sums* sums) {
    HWY_DYNAMIC_DISPATCH(gather)(frame, x, y, sums);
}

#endif  // HWY_ONCE
