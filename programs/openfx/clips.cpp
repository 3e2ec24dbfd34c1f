#include "programs/openfx/clips.h"

#include <algorithm>

namespace focusfall {

namespace {

clip_kind kind_of(const headless::control_info& info) {
    if (info.required) return {info.id, "Source", "Source", clip_role::SOURCE};
    if (info.id == DEPTH_CONTROL) return {info.id, "Depth", "Depth", clip_role::DEPTH};
    const bool is_shape = info.id == "BlurImage";
    return {info.id, info.id, info.name,
            is_shape ? clip_role::SHAPE : clip_role::PICTURE};
}

void define_clip(ofx::effect handle, const std::string& name, const std::string& label,
                 bool optional) {
    ofx::properties defined = nullptr;
    const auto& suite = *ofx::link.image_effect;
    if (suite.define_clip(handle, name.c_str(), &defined) != ofx::OK) {
        throw ofx::failure{ofx::FAILED};
    }
    const ofx::property_set clip(defined);
    clip.set("OfxPropLabel", label);
    clip.set("OfxImageEffectPropSupportedComponents", "OfxImageComponentRGBA", 0);
    // maps, masks and shapes are often grey
    if (optional) clip.set("OfxImageEffectPropSupportedComponents", SINGLE_COMPONENT, 1);
    clip.set("OfxImageClipPropOptional", optional ? 1 : 0);
    clip.set("OfxImageEffectPropSupportsTiles", 0);
    clip.set("OfxImageEffectPropTemporalClipAccess", 0);
}

}  // namespace

std::vector<clip_kind> clip_kinds(const headless::tool& tool) {
    std::vector<clip_kind> kinds;
    for (const headless::control* control : tool.controls()) {
        if (control->info().kind != headless::control_kind::IMAGE) continue;
        const clip_kind kind = kind_of(control->info());
        kinds.push_back(kind);
        if (kind.role != clip_role::PICTURE) continue;
        kinds.push_back({kind.control, kind.name + "Depth", kind.label + " depth",
                         clip_role::PICTURE_DEPTH});
    }
    std::stable_partition(kinds.begin(), kinds.end(), [](const clip_kind& kind) {
        return kind.role == clip_role::SOURCE;
    });
    return kinds;
}

ofx::rect clip_link::region(ofx::time at) const {
    ofx::rect region = {};
    const auto& suite = *ofx::link.image_effect;
    if (suite.get_region_of_definition(handle, at, &region) != ofx::OK) return {};
    return region;
}

std::vector<clip_link> clips_of(ofx::effect handle, const headless::tool& tool) {
    const std::string context = ofx::of_effect(handle).text("OfxImageEffectPropContext");
    std::vector<clip_link> clips;
    for (const clip_kind& kind : clip_kinds(tool)) {
        if (context == FILTER_CONTEXT && kind.role != clip_role::SOURCE) continue;
        ofx::clip found = nullptr;
        const auto& suite = *ofx::link.image_effect;
        if (suite.get_clip(handle, kind.name.c_str(), &found, nullptr) != ofx::OK) {
            throw ofx::failure{ofx::FAILED};
        }
        clips.push_back({kind, found});
    }
    return clips;
}

void define_clips(ofx::effect handle, const headless::tool& tool,
                  const std::string& context) {
    for (const clip_kind& kind : clip_kinds(tool)) {
        const bool optional = kind.role != clip_role::SOURCE;
        if (context == FILTER_CONTEXT && optional) continue;
        define_clip(handle, kind.name, kind.label, optional);
    }
    define_clip(handle, OUTPUT_CLIP, OUTPUT_CLIP, false);
}

}  // namespace focusfall
