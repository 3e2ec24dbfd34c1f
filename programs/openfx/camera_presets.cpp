#include "programs/openfx/camera_presets.h"

#include <iterator>

namespace focusfall {

namespace {

struct camera {
    const char* label;
    std::vector<preset_setting> settings;
};

// made from the files of presets/, in the order of CMakeLists.txt
const camera CAMERAS[] = {
#include "programs/openfx/camera_preset_rows.inc"
};

}  // namespace

void define_camera_presets(ofx::parameters set, group_list& groups) {
    const ofx::property_set row =
        define_row(set, "OfxParamTypeChoice", CAMERA, "Camera Preset");
    row.set("OfxParamPropChoiceOption", "Own Settings", 0);
    int index = 1;
    for (const camera& one : CAMERAS) {
        row.set("OfxParamPropChoiceOption", one.label, index++);
    }
    row.set("OfxParamPropDefault", 0);
    row.set("OfxParamPropScriptName", CAMERA);
    row.set("OfxParamPropParent", groups.group_named("Lens"));
    row.set("OfxParamPropAnimates", 0);
    // what it sets has the picture made again
    row.set("OfxParamPropEvaluateOnChange", 0);
    row.set("OfxParamPropHint",
            "Sets Settings Type to Advanced, and Filmback Width to the width of a known "
            "film or sensor. Both can be edited afterwards.");
}

std::vector<preset_setting> preset_settings(int choice) {
    if (choice < 1 || choice > static_cast<int>(std::size(CAMERAS))) return {};
    return CAMERAS[choice - 1].settings;
}

}  // namespace focusfall
