#pragma once
// The picture of `focusfall demo`: chess at dusk, and a town's lights behind.

#include "host/api/image.h"
#include "host/worker_pool.h"

namespace focusfall {

// The lens that the scene is seen through: for the tool's Advanced settings.
struct demo_lens {
    float focus_mm;  // distance of the queen, which is what the picture is of
    float focal_mm;
    float filmback_mm;  // width
    float f_stop;
};
inline constexpr demo_lens DEMO_LENS = {640.0F, 60.0F, 36.0F, 8.0F};

// The scene, sharp from front to back: linear light far above 1 in the lamps, colour
// multiplied by alpha, alpha 0 in the corners that the mount covers, and in Z the
// distance in millimetres along the view axis of the one surface that a pixel shows. It
// looks the same in every size, and is the same on every call. Throws like Image's
// constructor.
Owned<Image> demo_scene(std::int32_t width, std::int32_t height,
                        headless::worker_pool& workers);

}  // namespace focusfall
