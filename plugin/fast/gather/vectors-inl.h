// Types and small operations of vectors; included once for each kind of vectors. A vector
// has LANES floats: as many as a register tile has columns, or a power of two that
// divides that.

#if defined(FOCUSFALL_GATHER_VECTORS_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef FOCUSFALL_GATHER_VECTORS_INL_H_
#undef FOCUSFALL_GATHER_VECTORS_INL_H_
#else
#define FOCUSFALL_GATHER_VECTORS_INL_H_
#endif

#include <cstdint>
#include <cstring>
#include <type_traits>

#include <hwy/highway.h>

#include "plugin/fast/gather/tiling.h"

HWY_BEFORE_NAMESPACE();
namespace gather {
namespace HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;
using vector_tag = hn::CappedTag<float, TILE_COLUMNS>;
using vector = hn::Vec<vector_tag>;
using integer_tag = hn::RebindToSigned<vector_tag>;
using integers = hn::Vec<integer_tag>;
constexpr std::int32_t LANES = static_cast<std::int32_t>(hn::MaxLanes(vector_tag()));

// One bit for each lane, in what a mask is stored as.
using lane_bits = std::conditional_t<LANES == 16, std::uint16_t, std::uint8_t>;
// One bit for each of TILE_COLUMNS neighbours.
constexpr std::uint32_t ALL_COLUMNS = (1U << TILE_COLUMNS) - 1;

// Bit i is set where lane i of the mask is.
template <class Mask>
HWY_INLINE std::uint32_t bits_of_mask(Mask mask) {
    std::uint8_t bytes[8];
    hn::StoreMaskBits(vector_tag(), mask, bytes);
    lane_bits bits = 0;
    std::memcpy(&bits, bytes, sizeof bits);
    return bits;
}

// The mask for bits first .. first + LANES - 1.
HWY_INLINE hn::Mask<integer_tag> mask_of_bits(std::uint32_t bits, std::int32_t first) {
    const std::uint32_t part = bits >> first & ((1U << LANES) - 1);
    std::uint8_t bytes[8] = {};
    std::memcpy(bytes, &part, sizeof part);
    return hn::LoadMaskBits(integer_tag(), bytes);
}

// Bit i is set where compare(a[i], b[i]), for i in 0 .. TILE_COLUMNS - 1.
template <class Compare>
HWY_INLINE std::uint32_t bits_where(const float* a, const float* b, Compare compare) {
    const vector_tag tag;
    std::uint32_t bits = 0;
    for (std::int32_t i = 0; i < TILE_COLUMNS; i += LANES) {
        bits |= bits_of_mask(compare(hn::LoadU(tag, a + i), hn::LoadU(tag, b + i))) << i;
    }
    return bits;
}
HWY_INLINE std::uint32_t bits_greater(const float* a, const float* b) {
    return bits_where(a, b, [](vector p, vector q) HWY_ATTR { return hn::Gt(p, q); });
}
HWY_INLINE std::uint32_t bits_not_less(const float* a, const float* b) {
    return bits_where(a, b, [](vector p, vector q) HWY_ATTR { return hn::Ge(p, q); });
}

// The operations that are passed to the loops over rows and columns.
struct larger {
    HWY_INLINE vector operator()(vector a, vector b) const { return hn::Max(a, b); }
};
struct smaller {
    HWY_INLINE vector operator()(vector a, vector b) const { return hn::Min(a, b); }
};
struct sum {
    HWY_INLINE vector operator()(vector a, vector b) const { return hn::Add(a, b); }
};

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace gather
HWY_AFTER_NAMESPACE();

#endif
