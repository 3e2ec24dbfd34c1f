#pragma once
// The layers of depth that the sources of a frame are parted into, from the front to the
// back.

#include <algorithm>
#include <cstdint>

namespace layered {

// Depth is measured by what it does: as the signed blur diameter in pixels, negative in
// front of the focus. What is in focus lies in the middle of a layer, and layers become
// thicker with the blur, since what is much blurred hides where exactly it is.
//
// A source near the limit of two layers is partly of each; its parts add up to 1. So
// nothing jumps when something moves through a limit. Constant once made.
struct depth_layers {
    static constexpr std::int32_t COUNT = 32;  // the bits of a mask
    static constexpr std::int32_t FOCUS = 16;  // the layer of what is in focus
    // A diameter that is of no layer.
    static constexpr float NOWHERE = 1e32F;

    depth_layers();

    // Layer l lies between the limits l and l + 1.
    float limits[COUNT + 1];     // signed diameters, pixels
    float steepness[COUNT + 1];  // of the parts at a limit, 1 / pixels

    // How much of a source is of the layers from `layer` on.
    float part_from(std::int32_t layer, float diameter) const {
        const float ramp = (diameter - limits[layer]) * steepness[layer] + 0.5F;
        return std::clamp(ramp, 0.0F, 1.0F);
    }
    // How much of it is of one layer.
    float part_of(std::int32_t layer, float diameter) const {
        return std::min(part_from(layer, diameter),
                        1.0F - part_from(layer + 1, diameter));
    }
    // The layers that it is of, at most two: bit l is set for layer l.
    std::uint32_t layers_of(float diameter) const;
    // Those of all `count` sources whose diameters lie from `nearest` to `deepest`, which
    // are diameters of sources themselves.
    std::uint32_t layers_between(float nearest, float deepest, const float* diameters,
                                 std::int32_t count) const;
    // Sources of a layer lie deeper than `begin_of` and less deep than `end_of`.
    float begin_of(std::int32_t layer) const {
        return limits[layer] - 0.5F / steepness[layer];
    }
    float end_of(std::int32_t layer) const {
        return limits[layer + 1] + 0.5F / steepness[layer + 1];
    }
    // The diameter that lies `count` layers further back, at most in the last layer.
    float behind(float diameter, float count) const;
    // What is hidden lies so many layers behind what hides it: nearer, it would dilute
    // it.
    static constexpr float LAYERS_BEHIND = 2.0F;
    // Larger than the reach of all sources of a layer, pixels. Hidden ones may have been
    // pushed there from `behind_count` layers in front of it.
    float reach_of(std::int32_t layer, float behind_count = 0.0F) const;

  private:
    // The layer that holds most of a source.
    std::int32_t layer_at(float diameter) const;
};

}  // namespace layered
