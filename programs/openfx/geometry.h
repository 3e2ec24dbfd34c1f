#pragma once
// From the host's coordinates, where rows are counted upwards, to pictures of the tool.
// Plain numbers. [any thread]

#include "pipeline/regions/window.h"
#include "programs/openfx/abi.h"

namespace focusfall {

// Canonical coordinates are pixels of square shape at full size; a picture's own pixels
// are fewer in a proxy, and wider or narrower in an anamorphic one.
struct pixel_scale {
    double x = 1.0;  // the host's render scale
    double y = 1.0;
    double aspect = 1.0;  // the width of a pixel for a height of 1

    // The pixels that the region touches; what rounding adds or takes at its borders is
    // left out of account. Regions beyond the numbers of a picture end there.
    ofx::pixel_rect pixels(const ofx::rect& region) const;
};

inline int width(const ofx::pixel_rect& r) { return r.x2 - r.x1; }
inline int height(const ofx::pixel_rect& r) { return r.y2 - r.y1; }
inline bool is_empty(const ofx::pixel_rect& r) { return r.x2 <= r.x1 || r.y2 <= r.y1; }
inline bool is_empty(const ofx::rect& r) { return !(r.x2 > r.x1 && r.y2 > r.y1); }
bool holds(const ofx::pixel_rect& outer, const ofx::pixel_rect& inner);
// What both hold; empty when that is nothing.
ofx::pixel_rect common(const ofx::pixel_rect& a, const ofx::pixel_rect& b);

// The same with rows counted downwards from an edge that all regions of a frame share.
window window_of(const ofx::pixel_rect& r);

// The region that is blurred: that of the source, and the project's format where the host
// takes pictures of different sizes; the format alone where the source has no end.
ofx::rect blurred_region(const ofx::rect& source, const ofx::rect& format,
                         bool many_sizes);

}  // namespace focusfall
