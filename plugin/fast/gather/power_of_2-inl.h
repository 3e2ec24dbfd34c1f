// Powers of 2 of vectors; included once for each kind of vectors.

#if defined(FOCUSFALL_GATHER_POWER_OF_2_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef FOCUSFALL_GATHER_POWER_OF_2_INL_H_
#undef FOCUSFALL_GATHER_POWER_OF_2_INL_H_
#else
#define FOCUSFALL_GATHER_POWER_OF_2_INL_H_
#endif

#include <hwy/highway.h>

#include "plugin/fast/gather/vectors-inl.h"

HWY_BEFORE_NAMESPACE();
namespace gather {
namespace HWY_NAMESPACE {
namespace {

constexpr float LN_2 = 0.693147181F;

// 2^x for x from -63 to 0, and 0 below that, where weights are lost in any sum. x is
// rounded to a whole power; the rest, within 0.5 of 0, goes through a minimax polynomial
// with a relative error of at most 2e-9.
HWY_INLINE vector power_of_2(vector x) {
    const vector_tag tag;
    const auto whole = hn::NearestInt(x);
    const vector rest = hn::Sub(x, hn::ConvertTo(tag, whole));
    vector value = hn::Set(tag, 0.000154614447F);
    for (const float coefficient : {0.001340042818F, 0.009618056679F, 0.05550327227F,
                                    0.2402265092F, 0.6931472067F, 1.0F}) {
        value = hn::MulAdd(value, rest, hn::Set(tag, coefficient));
    }
    // the whole power is added to the exponent of the floats
    const integer_tag integer;
    const vector scaled =
        hn::BitCast(tag, hn::Add(hn::BitCast(integer, value), hn::ShiftLeft<23>(whole)));
    return hn::IfThenElseZero(hn::Ge(x, hn::Set(tag, -63.0F)), scaled);
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace gather
HWY_AFTER_NAMESPACE();

#endif
