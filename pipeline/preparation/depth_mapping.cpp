#include "pipeline/preparation/depth_mapping.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

#include "host/error.h"

namespace focusfall {

namespace {

using headless::host_error;

// Without a lens the tool adds 1 to a depth. This distance of the value 1 keeps the
// result above 0 for maps up to a million, and the sum exact enough.
constexpr double DISTANCE_OF_ONE = 1 << 20;

void check_agreement(const depth_choices& choices, const depth_controls& controls) {
    if (choices.scale && controls.normalized) {
        throw host_error(
            "--depth-scale makes millimetres of the depth, but DepthMapType=Normalized "
            "takes its distances from NearDistance and FarDistance; leave one of them "
            "out");
    }
    if (choices.scale && controls.is_lens && !controls.in_millimetres) {
        throw host_error(
            "--depth-scale makes millimetres of the depth; leave DepthMapUnits at mm");
    }
    if (choices.meaning == depth_meaning::INVERSE && controls.inverted) {
        throw host_error(
            "--depth-as inverse takes the larger value for the nearer one already; "
            "leave InvertDepthMap off");
    }
    if (choices.meaning == depth_meaning::RAY &&
        (controls.normalized || controls.inverted)) {
        throw host_error(
            "--depth-as ray is for distances; leave DepthMapType at Distance and "
            "InvertDepthMap off");
    }
}

}  // namespace

depth_mapping::depth_mapping(const depth_choices& choices,
                             const depth_controls& controls) {
    check_agreement(choices, controls);
    gain_ = choices.scale.value_or(1.0);
    inverse_ = choices.meaning == depth_meaning::INVERSE;
    if (!inverse_) return;
    if (!controls.is_lens) {
        // any scale will do, and this one is right for the tool's own distances
        gain_ = DISTANCE_OF_ONE;
        offset_ = -1.0;
    } else if (controls.normalized) {
        // 1 / distance goes evenly from the one end to the other
        const double range = std::abs(controls.far_distance - controls.near_distance);
        if (range == 0.0) {
            throw host_error("NearDistance and FarDistance are the same");
        }
        const double far_end = controls.near_distance + range;
        slope_ = 1.0 / controls.near_distance - 1.0 / far_end;
        end_ = 1.0 / far_end;
        gain_ = 1.0 / range;
        offset_ = -controls.near_distance / range;
    }
}

float depth_mapping::for_tool(float in_map) const {
    if (!inverse_) {
        return gain_ == 1.0 ? in_map : static_cast<float>(gain_ * double{in_map});
    }
    if (std::isnan(in_map)) return in_map;
    const double depth = offset_ + gain_ / (slope_ * std::abs(double{in_map}) + end_);
    // nearer than what the tool takes for nearest: it would read the sign as none
    return static_cast<float>(std::clamp(depth, 0.0, double{FARTHEST}));
}

float depth_mapping::in_map(float for_tool) const {
    if (!inverse_) {
        return gain_ == 1.0 ? for_tool : static_cast<float>(double{for_tool} / gain_);
    }
    if (std::isnan(for_tool)) return for_tool;
    if (for_tool >= FARTHEST && end_ == 0.0) return 0.0F;
    return static_cast<float>((gain_ / (double{for_tool} - offset_) - end_) / slope_);
}

double view::cosine(std::int64_t x, std::int64_t y) const {
    const auto width = static_cast<double>(display.width);
    const auto height = static_cast<double>(display.height);
    // the pixel's centre from the middle of the picture, in focal lengths
    const double right =
        (static_cast<double>(x - display.x) + 0.5 - width / 2.0) / (width * focal_length);
    const double down = (static_cast<double>(y - display.y) + 0.5 - height / 2.0) /
                        (width * focal_length * pixel_aspect);
    return 1.0 / std::sqrt(1.0 + right * right + down * down);
}

view view_of(const depth_choices& choices, const depth_controls& controls,
             const window& display, double pixel_aspect) {
    constexpr double RADIANS_PER_DEGREE = std::numbers::pi / 180.0;
    view camera{.display = display, .pixel_aspect = pixel_aspect};
    if (choices.field_of_view) {
        camera.focal_length =
            0.5 / std::tan(*choices.field_of_view / 2.0 * RADIANS_PER_DEGREE);
    } else if (controls.is_lens) {
        camera.focal_length = controls.focal_length / controls.filmback_width;
    } else {
        throw host_error(
            "--depth-as ray needs the camera: give --field-of-view, or a lens by "
            "SettingsType=Advanced, FocalLength and FilmbackWidth");
    }
    return camera;
}

float depth_at(empty_depth::end end, const depth_controls& controls) {
    if (end == empty_depth::end::FAR) return std::numeric_limits<float>::infinity();
    return controls.inverted ? 1.0F : 0.0F;
}

}  // namespace focusfall
