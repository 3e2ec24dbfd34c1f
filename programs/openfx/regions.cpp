// Regions, and what else the host asks before it has a frame rendered.

#include "programs/openfx/actions.h"
#include "programs/openfx/frame_images.h"

namespace focusfall {

ofx::rect format_of(ofx::effect handle) {
    const ofx::property_set effect = ofx::of_effect(handle);
    const double x = effect.number("OfxImageEffectPropProjectOffset", 0.0, 0);
    const double y = effect.number("OfxImageEffectPropProjectOffset", 0.0, 1);
    return {x, y, x + effect.number("OfxImageEffectPropProjectSize", 0.0, 0),
            y + effect.number("OfxImageEffectPropProjectSize", 0.0, 1)};
}

ofx::rect region_of(ofx::effect handle, const instance& self, ofx::time at) {
    const ofx::property_set host(ofx::link.given->host_properties);
    const bool many_sizes =
        host.integer("OfxImageEffectPropSupportsMultiResolution", 0) != 0;
    return blurred_region(self.source().region(at), format_of(handle), many_sizes);
}

ofx::status get_region_of_definition(ofx::effect handle, ofx::properties in,
                                     ofx::properties out) {
    const instance& self = instance_of(handle);
    if (!self.source().is_connected()) return ofx::REPLY_DEFAULT;
    const ofx::time at = ofx::property_set(in).number("OfxPropTime", 0.0);
    const ofx::rect region = region_of(handle, self, at);
    ofx::property_set(out).set("OfxImageEffectPropRegionOfDefinition", region);
    return ofx::OK;
}

// Light comes from everywhere: whatever part of the result is wanted, all is needed.
ofx::status get_regions_of_interest(ofx::effect handle, ofx::properties in,
                                    ofx::properties out) {
    const instance& self = instance_of(handle);
    if (!self.source().is_connected()) return ofx::REPLY_DEFAULT;
    const ofx::time at = ofx::property_set(in).number("OfxPropTime", 0.0);
    const ofx::rect region = region_of(handle, self, at);
    for (const clip_link& clip : self.clips) {
        if (!clip.is_connected()) continue;
        const bool own = clip.kind.role == clip_role::SHAPE;
        const std::string name = "OfxImageClipPropRoI_" + clip.kind.name;
        ofx::property_set(out).set(name.c_str(), own ? clip.region(at) : region);
    }
    return ofx::OK;
}

// A picture of one component stays one: hosts may put it into the alpha of four
// otherwise, and depth is looked for in the first.
ofx::status get_clip_preferences(ofx::effect handle, ofx::properties out) {
    for (const clip_link& clip : instance_of(handle).clips) {
        if (clip.kind.role == clip_role::SOURCE || !clip.is_connected()) continue;
        const std::string unmapped =
            ofx::of_clip(clip.handle).text("OfxImageClipPropUnmappedComponents");
        if (unmapped != SINGLE_COMPONENT) continue;
        const std::string name = "OfxImageClipPropComponents_" + clip.kind.name;
        ofx::property_set(out).set(name.c_str(), SINGLE_COMPONENT);
    }
    return ofx::OK;
}

ofx::status is_identity(ofx::effect handle, ofx::properties in, ofx::properties out) {
    const instance& self = instance_of(handle);
    const ofx::time at = ofx::property_set(in).number("OfxPropTime", 0.0);
    const parameter_values values = self.parameters.values(at);
    if (values.at("SettingsType") != 0.0 || values.at("MaxBlurSize") != 0.0) {
        return ofx::REPLY_DEFAULT;
    }
    ofx::property_set(out).set("OfxPropName", self.source().kind.name);
    return ofx::OK;
}

}  // namespace focusfall
