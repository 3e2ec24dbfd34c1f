#pragma once
// One instance of an effect: handles of the host's objects, and nothing that renders.

#include <vector>

#include "programs/openfx/clips.h"
#include "programs/openfx/depth_parameters.h"
#include "programs/openfx/effects.h"
#include "programs/openfx/parameters.h"

namespace focusfall {

// Constant after construction, so that all threads may use it.
struct instance {
    // `like` is a tool of that kind. Throws ofx::failure when the host lacks something
    // that was defined.
    instance(const effect_kind& kind, ofx::effect handle, const headless::tool& like);

    const clip_link& source() const { return clips.front(); }
    // The input for depth; null in a context that has none, or when nothing is connected.
    const clip_link* connected_depth() const;

    // The input for the depth of a further picture.
    const clip_link& depth_of(const clip_link& picture) const;

    // Whether a frame needs the clip: it is connected, and so is what belongs to it, as a
    // picture is of no use without its depth.
    bool is_used(const clip_link& clip) const;

    const effect_kind& kind;
    parameter_links parameters;
    focusfall::depth_parameters depth_parameters;
    std::vector<clip_link> clips;  // the source first
    ofx::clip output;
};

// The instance that the host keeps for the effect. Throws ofx::failure when there is
// none.
instance& instance_of(ofx::effect handle);

}  // namespace focusfall
