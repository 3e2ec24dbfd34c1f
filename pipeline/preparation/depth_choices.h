#pragma once
// What a user says of the depth of a file, where the file does not tell it.

#include <optional>
#include <string>

namespace focusfall {

// What the numbers of a depth map are.
enum class depth_meaning {
    DISTANCE,  // what the tool's controls take them for: distances, or near to far
    INVERSE,   // proportional to 1 / distance, as disparities are
    RAY,       // distances from the camera along the ray of each pixel
};

// Which depth pixels get that show nothing.
struct empty_depth {
    enum class end { FAR, NEAR, VALUE };
    end place = end::FAR;
    float value = 0.0F;  // of the map; for VALUE
    std::optional<float> marker =
        {};  // the depth that such pixels carry; else it is detected
};

// The lowest and the highest number that a choice takes.
struct choice_range {
    double lowest;
    double highest;
};
inline constexpr choice_range DEPTH_SCALES{1e-30, 1e30};
inline constexpr choice_range FIELDS_OF_VIEW{0.001, 179.0};

// How the depth of a file is to be read. As it starts, nothing changes.
struct depth_choices {
    std::optional<depth_meaning> meaning = {};  // absent: DISTANCE
    std::optional<double> scale = {};           // millimetres for 1 in the map
    // degrees across the display window, for RAY
    std::optional<double> field_of_view = {};
    std::optional<empty_depth> empty = {};  // absent: such pixels keep what they carry

    bool changes_values() const {
        return meaning.value_or(depth_meaning::DISTANCE) != depth_meaning::DISTANCE ||
               scale || empty;
    }
};

// The meaning called "distance", "inverse" or "ray". Throws headless::host_error.
depth_meaning named_depth_meaning(const std::string& name);

// What "far", "near" or a number ask for, perhaps behind the empty pixels' own depth and
// "=", as in "0=far". Throws headless::host_error that shows how to write it.
empty_depth parsed_empty_depth(const std::string& text);

// The texts that give them back.
std::string shown(depth_meaning meaning);
std::string shown(const empty_depth& empty);

}  // namespace focusfall
