#pragma once
// Cameras that are known by name.

#include <vector>

#include "programs/openfx/parameter_rows.h"

namespace focusfall {

// A choice: the first leaves the lens alone.
inline constexpr const char* CAMERA = "CameraPreset";

// Throws ofx::failure.
void define_camera_presets(ofx::parameters set, group_list& groups);

struct preset_setting {
    const char* control;
    const char* value;  // as an artist types it
};
// What the choice sets; nothing for the first, and for one that is none of the list.
std::vector<preset_setting> preset_settings(int choice);

}  // namespace focusfall
