#pragma once
// Turns the depth of a frame into what the tool takes.

#include <cstddef>
#include <optional>

#include "host/api/image.h"
#include "host/tool.h"
#include "pipeline/preparation/depth_mapping.h"

namespace focusfall {

// All that it takes to read the depth of a frame. As it starts, nothing changes.
struct depth_reading {
    depth_choices choices = {};
    depth_controls controls = {};
    depth_mapping mapping = {};
    std::optional<view> camera = {};  // depths are distances along its rays
    bool whole_numbers = false;       // as stored, which are read as 0 to 1

    bool large_is_near() const {
        return choices.meaning == depth_meaning::INVERSE || controls.inverted;
    }
};

// What the tool's controls say at `time`; those that the tool lacks leave what is there.
// [any thread]
depth_controls depth_controls_of(const headless::tool& tool, TimeStamp time);

// The reading of a frame whose depth shows `display`. Throws headless::host_error when
// the controls contradict the choices, or lack what these need. [any thread]
depth_reading reading_of(const depth_choices& choices, const depth_controls& controls,
                         const window& display, double pixel_aspect);

// Tells which pixels of a frame show nothing. [any thread]
class empty_pixels {
  public:
    // Those without alpha, those whose depth is not finite, and those that carry the
    // `marker` of the choices. Without one, a depth of 1e9 and more is taken for empty,
    // as renderers write 1e10 or 1e30, and the 65504 that 16 bits hold of such numbers;
    // and so is a 0, unless 0 stands for an end of the map: where the map is inverse or
    // normalised, or none of its depths exceeds 1.
    empty_pixels(const Image& depth, Image::Component component,
                 const depth_reading& reading);

    // For a depth as the file has it.
    bool holds(float depth, float alpha) const;

  private:
    std::optional<float> marker_;
    bool zero_is_empty_ = false;
};

// A copy of `depth`, which shows `area`, with the depths that the tool takes in
// `component`: empty pixels have the one that the choices ask for, if they ask, and those
// outside of `inside`, where the depth has pixels of its own, that of the nearest one
// there. `alpha` is the frame's image, as large, and may be the same. Throws
// std::bad_alloc.
Owned<Image> mapped_depth(const Image& depth, Image::Component component,
                          const Image& alpha, const window& area, const window& inside,
                          const depth_reading& reading);

}  // namespace focusfall
