#pragma once
// Tells kinds of depth apart by flat things in the picture: floors, walls, table tops.
//
// Seen through a pinhole, 1/Z is a linear function of the place in the picture on
// whatever is flat. So of the readings of a depth channel the right one makes the
// pictured things flat that are flat, and wrong ones bend them.

#include <cstdint>
#include <vector>

namespace focusfall {

// Depths without their sign, row by row; NaN where a pixel is empty.
struct depth_grid {
    std::int32_t width = 0;
    std::int32_t height = 0;
    std::vector<float> values;
    // How far off a value may be, as a part of itself: by the type it is stored in.
    double rounding = 0.0;
};

// How many small pieces of the picture are flat in each reading. Only pieces count along
// which the depth changes, for all readings agree about others.
struct plane_evidence {
    std::uint64_t pieces = 0;
    std::uint64_t planar = 0;   // the values are distances along the camera's axis
    std::uint64_t inverse = 0;  // they are inverse distances
    std::uint64_t ray = 0;      // they are distances from the camera, with the best lens
    // of a usual lens: where it makes as many flat as `planar`, the two are too alike
    std::uint64_t usual_ray = 0;
    double ray_lens = 0.0;  // focal length of the best lens in picture widths
};

// Counts them. The camera is taken to look at the middle of the grid. Throws
// std::bad_alloc. [any thread]
plane_evidence tested_for_planes(const depth_grid& depth);

}  // namespace focusfall
