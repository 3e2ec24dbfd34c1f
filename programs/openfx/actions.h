#pragma once
// What the host asks of an effect. Each gives a status of the interface, and throws what
// entry.cpp turns into one.

#include "programs/openfx/effects.h"
#include "programs/openfx/host_link.h"

namespace focusfall {

ofx::status describe(const effect_kind& kind, ofx::effect handle);
ofx::status describe_in_context(const effect_kind& kind, ofx::effect handle,
                                ofx::properties in);

// [edits: one thread, while others render]
ofx::status create_instance(const effect_kind& kind, ofx::effect handle);
ofx::status destroy_instance(ofx::effect handle);
ofx::status instance_changed(ofx::effect handle, ofx::properties in);

// [any thread]
ofx::status get_region_of_definition(ofx::effect handle, ofx::properties in,
                                     ofx::properties out);
ofx::status get_regions_of_interest(ofx::effect handle, ofx::properties in,
                                    ofx::properties out);
ofx::status get_clip_preferences(ofx::effect handle, ofx::properties out);
ofx::status is_identity(ofx::effect handle, ofx::properties in, ofx::properties out);
ofx::status render(ofx::effect handle, ofx::properties in);

}  // namespace focusfall
