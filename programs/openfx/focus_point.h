#pragma once
// Focus by a point of the picture, which a host's cross-hair sets.

#include "host/tool.h"
#include "programs/openfx/parameter_rows.h"

namespace focusfall {

struct instance;

// The button that looks up the depth at the point.
inline constexpr const char* FOCUS_BUTTON = "FocusHere";

// Throws ofx::failure.
void define_focus_point(ofx::parameters set, group_list& groups);

// The depth at the point, as FocusPosition takes it: the median of that pixel and its
// neighbours without those that show nothing. `panel` holds the values of that time;
// `order` is what the host said with the edit. Throws headless::host_error when there is
// no depth there, ofx::failure and std::bad_alloc. [edits]
double depth_at_focus_point(ofx::effect handle, const instance& self,
                            const headless::tool& panel, const ofx::property_set& order);

}  // namespace focusfall
