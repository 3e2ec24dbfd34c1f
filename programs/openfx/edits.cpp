// Instances come and go, and an artist edits them. A tool of the moment answers: it is
// given the values that the host has, so that no thread shares it with a frame.

#include "host/error.h"
#include "programs/openfx/actions.h"
#include "programs/openfx/camera_presets.h"
#include "programs/openfx/focus_point.h"
#include "programs/openfx/instance.h"

namespace focusfall {

namespace {

// Carries the edit out on the panel, which holds the values before it; false when it is
// none that the panel knows. Throws headless::host_error for one that cannot be.
bool apply_edit(ofx::effect handle, const instance& self, headless::tool& panel,
                const std::string& id, const ofx::property_set& order) {
    const ofx::time at = order.number("OfxPropTime", 0.0);
    if (self.parameters.has(id)) {
        panel.set(id, panel.find(id).number(at), at);
    } else if (id == CAMERA) {
        int choice = 0;
        ofx::link.parameter->get_value_at_time(
            handle_of(ofx::parameters_of(handle), CAMERA), at, &choice);
        for (const auto& [control, value] : preset_settings(choice)) {
            panel.set(control, value, at);
        }
    } else if (id == FOCUS_BUTTON) {
        panel.set("FocusPosition", depth_at_focus_point(handle, self, panel, order), at);
    } else {
        return false;
    }
    return true;
}

}  // namespace

ofx::status create_instance(const effect_kind& kind, ofx::effect handle) {
    headless::host host(1);
    const auto panel = new_tool(host, kind);
    auto made = std::make_unique<instance>(kind, handle, *panel);
    restore(*panel, made->parameters.values(0));
    made->parameters.lay_out(*panel);
    ofx::of_effect(handle).set_pointer("OfxPropInstanceData", made.release());
    return ofx::OK;
}

ofx::status destroy_instance(ofx::effect handle) {
    delete &instance_of(handle);
    ofx::of_effect(handle).set_pointer("OfxPropInstanceData", nullptr);
    return ofx::OK;
}

ofx::status instance_changed(ofx::effect handle, ofx::properties in) {
    const ofx::property_set order(in);
    // what is set below comes back as a change by the effect, inside of that very call
    if (order.text("OfxPropChangeReason") != "OfxChangeUserEdited" ||
        order.text("OfxPropType") != "OfxTypeParameter") {
        return ofx::REPLY_DEFAULT;
    }
    const instance& self = instance_of(handle);
    const std::string id = order.text("OfxPropName");
    const ofx::time at = order.number("OfxPropTime", 0.0);
    const parameter_values before = self.parameters.values(at);
    headless::host host(1);
    const auto panel = new_tool(host, self.kind);
    try {
        restore(*panel, before);
        if (!apply_edit(handle, self, *panel, id, order)) return ofx::REPLY_DEFAULT;
    } catch (const headless::host_error& error) {
        ofx::show_message(handle, ofx::ERROR_MESSAGE, error.what());
        return ofx::FAILED;
    }
    self.parameters.mirror(*panel, before, id, at);
    self.parameters.lay_out(*panel);
    return ofx::OK;
}

}  // namespace focusfall
