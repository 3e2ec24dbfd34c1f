#include "programs/openfx/instance.h"

#include <algorithm>

namespace focusfall {

namespace {

ofx::clip output_of(ofx::effect handle) {
    ofx::clip found = nullptr;
    const auto& suite = *ofx::link.image_effect;
    if (suite.get_clip(handle, OUTPUT_CLIP, &found, nullptr) != ofx::OK) {
        throw ofx::failure{ofx::FAILED};
    }
    return found;
}

}  // namespace

instance::instance(const effect_kind& of_kind, ofx::effect handle,
                   const headless::tool& like)
    : kind(of_kind),
      parameters(like, ofx::parameters_of(handle)),
      depth_parameters(ofx::parameters_of(handle)),
      clips(clips_of(handle, like)),
      output(output_of(handle)) {}

const clip_link* instance::connected_depth() const {
    for (const clip_link& clip : clips) {
        if (clip.kind.role == clip_role::DEPTH && clip.is_connected()) return &clip;
    }
    return nullptr;
}

const clip_link& instance::depth_of(const clip_link& picture) const {
    return *std::ranges::find_if(clips, [&](const clip_link& clip) {
        return clip.kind.role == clip_role::PICTURE_DEPTH &&
               clip.kind.control == picture.kind.control;
    });
}

bool instance::is_used(const clip_link& clip) const {
    for (const clip_link& other : clips) {
        if (other.kind.control == clip.kind.control && !other.is_connected())
            return false;
    }
    return true;
}

instance& instance_of(ofx::effect handle) {
    void* data = ofx::of_effect(handle).pointer("OfxPropInstanceData");
    if (!data) throw ofx::failure{ofx::BAD_HANDLE};
    return *static_cast<instance*>(data);
}

}  // namespace focusfall
