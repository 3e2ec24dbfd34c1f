// What the host learns of an effect before there is an instance of it.

#include "programs/openfx/actions.h"
#include "programs/openfx/camera_presets.h"
#include "programs/openfx/clips.h"
#include "programs/openfx/depth_parameters.h"
#include "programs/openfx/focus_point.h"
#include "programs/openfx/parameters.h"

namespace focusfall {

ofx::status describe(const effect_kind& kind, ofx::effect handle) {
    const ofx::property_set effect = ofx::of_effect(handle);
    effect.set("OfxPropLabel", kind.label);
    effect.set("OfxPropShortLabel", kind.label);
    effect.set("OfxPropLongLabel", kind.label);
    effect.set("OfxPropPluginDescription", kind.description);
    effect.set("OfxImageEffectPluginPropGrouping", "Filter");
    // filters for hosts that know nothing else
    effect.set("OfxImageEffectPropSupportedContexts", FILTER_CONTEXT, 0);
    effect.set("OfxImageEffectPropSupportedContexts", "OfxImageEffectContextGeneral", 1);
    effect.set("OfxImageEffectPropSupportedPixelDepths", "OfxBitDepthFloat", 0);
    // a frame uses all threads and much memory: one at a time for each instance
    effect.set("OfxImageEffectPluginRenderThreadSafety",
               "OfxImageEffectRenderInstanceSafe");
    effect.set("OfxImageEffectPluginPropHostFrameThreading", 0);
    effect.set("OfxImageEffectPropSupportsTiles", 0);
    // the shape of the blur has a size of its own
    effect.set("OfxImageEffectPropSupportsMultiResolution", 1);
    effect.set("OfxImageEffectPropTemporalClipAccess", 0);
    effect.set("OfxImageEffectPropMultipleClipDepths", 0);
    effect.set("OfxImageEffectPropSupportsMultipleClipPARs", 0);
    effect.set("OfxImageEffectPluginPropFieldRenderTwiceAlways", 1);
    return ofx::OK;
}

ofx::status describe_in_context(const effect_kind& kind, ofx::effect handle,
                                ofx::properties in) {
    headless::host host(1);  // without threads: perhaps nothing is ever rendered
    const auto tool = new_tool(host, kind);
    define_clips(handle, *tool, ofx::property_set(in).text("OfxImageEffectPropContext"));
    ofx::parameters const set = ofx::parameters_of(handle);
    group_list groups(set);
    define_parameters(*tool, set, groups);
    define_depth_parameters(set, groups);
    define_camera_presets(set, groups);
    define_focus_point(set, groups);
    return ofx::OK;
}

}  // namespace focusfall
