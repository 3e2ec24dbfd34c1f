#pragma once
// The picture of `focusfall demo`: a chess board at dusk, a town's lights behind it.

#include "host/api/image.h"
#include "host/worker_pool.h"

namespace focusfall {

// The lens that the scene is seen through: for the tool's Advanced settings.
struct demo_lens {
    float focus_mm;  // distance of the queen, the subject
    float focal_mm;
    float filmback_mm;  // width
    float f_stop;
};
inline constexpr demo_lens DEMO_LENS = {640.0F, 60.0F, 36.0F, 8.0F};

// The scene, sharp from front to back: premultiplied linear colour, far above 1 in the
// lamps; alpha 1, but 0 outside the rounded corners; in Z the distance along the view
// axis in millimetres. Looks alike in every size, and is the same on every call. Throws
// like Image's constructor. [any thread that does not run one of the `workers`' pieces]
Owned<Image> demo_scene(std::int32_t width, std::int32_t height,
                        headless::worker_pool& workers);

}  // namespace focusfall
