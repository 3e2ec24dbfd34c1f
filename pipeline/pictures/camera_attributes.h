#pragma once
// What a file's header tells of the camera that made the picture. docs/pictures.md lists
// the attributes that are known.

#include <optional>
#include <string>

#include "pipeline/pictures/picture.h"

namespace focusfall {

// A finite number above 0, and the name of the attribute that it was made of.
struct camera_value {
    double value = 0.0;
    std::string attribute;
};

struct camera_attributes {
    std::optional<camera_value> focal_length;  // millimetres
    std::optional<camera_value> f_stop;        // focal length / diameter of the aperture
    std::optional<camera_value> filmback_width;  // millimetres
    std::optional<camera_value> focus_distance;  // millimetres
    // in the units of the scene; only where there is no distance in millimetres
    std::optional<camera_value> focus_depth;

    bool empty() const {
        return !focal_length && !f_stop && !filmback_width && !focus_distance &&
               !focus_depth;
    }
};

// The values of the first part that has each. Prefixes that Nuke puts before names are
// left out. Throws nothing but std::bad_alloc. [any thread]
camera_attributes camera_attributes_of(const picture& file);

}  // namespace focusfall
