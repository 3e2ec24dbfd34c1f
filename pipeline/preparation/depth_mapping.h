#pragma once
// From the depths of a file to those that the tool takes, and back.

#include <cstdint>

#include "pipeline/preparation/depth_choices.h"
#include "pipeline/regions/window.h"

namespace focusfall {

// What the tool's controls say of a depth map, for one frame.
struct depth_controls {
    bool is_lens = false;        // settings "Advanced": depths are distances from a lens
    bool normalized = false;     // of a lens: 0 is at the near distance, 1 at the far one
    bool inverted = false;       // 1 is near, where the controls count such a switch
    bool in_millimetres = true;  // the unit of distances
    double near_distance = 0.0;  // above 0
    double far_distance = 0.0;   // above 0
    double focal_length = 0.0;   // millimetres, as the next
    double filmback_width = 0.0;
};

// The tool takes |depth - focus| / depth for a blur, so whatever is proportional to
// 1 / distance must first become a distance: one in the unit of the tool's controls when
// there is a lens, and one between its near and far distances, of which 1 is the near
// one, when the map is normalised. Without a lens any distance will do that is
// proportional to the true one: then the blur of a pixel is |map - focus| / focus of the
// largest, whatever the scale of the map is, and grows evenly with the map's values.
//
// A plain value; nothing throws but the constructor. [any thread]
class depth_mapping {
  public:
    // Leaves depths as they are.
    depth_mapping() = default;
    // Throws headless::host_error when the controls contradict the choices.
    depth_mapping(const depth_choices& choices, const depth_controls& controls);

    // The tool's depth for one of the map, its sign left out unless the depth stays. What
    // is infinitely far becomes FARTHEST. Not a number stays so.
    float for_tool(float in_map) const;
    // The map's depth for one of the tool's.
    float in_map(float for_tool) const;

    // Beyond all scenes, and finite so that it counts as a depth.
    static constexpr float FARTHEST = 1e30F;

  private:
    // inverse: offset_ + gain_ / (slope_ * depth + end_), else gain_ * depth
    bool inverse_ = false;
    double gain_ = 1.0;
    double offset_ = 0.0;
    double slope_ = 1.0;
    double end_ = 0.0;
};

// The camera that rays start from.
struct view {
    window display;             // the picture that it sees
    double pixel_aspect = 1.0;  // width of a pixel for a height of 1
    double focal_length = 0.0;  // in widths of the display window

    // The part of the distance along the ray of pixel (x, y) that is a distance from the
    // camera's plane: the cosine of the ray's angle.
    double cosine(std::int64_t x, std::int64_t y) const;
};

// The view for rays: by the field of view of the choices, else by the lens. Throws
// headless::host_error when there is neither.
view view_of(const depth_choices& choices, const depth_controls& controls,
             const window& display, double pixel_aspect);

// The depth for the tool that is `end`: FAR is infinite, NEAR as near as the controls
// have it.
float depth_at(empty_depth::end end, const depth_controls& controls);

}  // namespace focusfall
