#include "pipeline/preparation/depth_steps.h"

#include <cmath>

#include "pipeline/regions/outer_depth.h"

namespace focusfall {

namespace {

// No camera sees so far, in whatever unit.
constexpr float FARTHEST_SEEN = 1e9F;
// What is left of larger depths in a channel of 16 bits.
constexpr float LARGEST_HALF = 65504.0F;
// Maps from 0 to 1 may go a little beyond.
constexpr float END_OF_UNIT = 1.01F;

bool is_seen(float depth) {
    const float size = std::abs(depth);
    return size < FARTHEST_SEEN && size != LARGEST_HALF;
}

// Whether some depth lies beyond the range of maps from 0 to 1.
bool exceeds_one(const Image& depth, Image::Component component) {
    for (std::int32_t y = 0; y < depth.Height(); ++y) {
        for (std::int32_t x = 0; x < depth.Width(); ++x) {
            const float value = depth.Pixel(x, y)[component];
            if (is_seen(value) && std::abs(value) > END_OF_UNIT) return true;
        }
    }
    return false;
}

// Equal but for the rounding of a file's pixels and of what a viewer shows.
bool is_about(float value, float marker) {
    return std::abs(value - marker) <= 1e-4F * std::abs(marker);
}

float depth_of_empty(const depth_reading& reading) {
    const empty_depth empty = reading.choices.empty.value_or(empty_depth{});
    if (empty.place == empty_depth::end::VALUE) {
        return reading.mapping.for_tool(empty.value);
    }
    return depth_at(empty.place, reading.controls);
}

}  // namespace

depth_controls depth_controls_of(const headless::tool& tool, TimeStamp time) {
    depth_controls said;
    bool type = false;
    bool inverted = false;
    for (const headless::control* control : tool.controls()) {
        const std::string& id = control->info().id;
        const auto number = [&] { return control->number(time); };
        if (id == "SettingsType") said.is_lens = number() > 0.5;
        if (id == "DepthMapType") type = number() > 0.5;
        if (id == "InvertDepthMap") inverted = number() > 0.5;
        if (id == "DepthMapUnits") said.in_millimetres = !(number() > 0.5);
        if (id == "NearDistance") said.near_distance = std::abs(number());
        if (id == "FarDistance") said.far_distance = std::abs(number());
        if (id == "FocalLength") said.focal_length = number();
        if (id == "FilmbackWidth") said.filmback_width = number();
    }
    said.normalized = said.is_lens && type;
    said.inverted = inverted && (!said.is_lens || said.normalized);
    return said;
}

depth_reading reading_of(const depth_choices& choices, const depth_controls& controls,
                         const window& display, double pixel_aspect) {
    depth_reading reading{.choices = choices,
                          .controls = controls,
                          .mapping = depth_mapping(choices, controls)};
    if (choices.meaning == depth_meaning::RAY) {
        reading.camera = view_of(choices, controls, display, pixel_aspect);
    }
    return reading;
}

empty_pixels::empty_pixels(const Image& depth, Image::Component component,
                           const depth_reading& reading) {
    if (reading.choices.empty) marker_ = reading.choices.empty->marker;
    const bool zero_is_an_end =
        reading.choices.meaning == depth_meaning::INVERSE || reading.controls.normalized;
    zero_is_empty_ = !marker_ && !zero_is_an_end && exceeds_one(depth, component);
}

bool empty_pixels::holds(float depth, float alpha) const {
    if (!(alpha > 0.0F) || !std::isfinite(depth)) return true;
    if (marker_) return is_about(depth, *marker_);
    return !is_seen(depth) || (zero_is_empty_ && depth == 0.0F);
}

Owned<Image> mapped_depth(const Image& depth, Image::Component component,
                          const Image& alpha, const window& area, const window& inside,
                          const depth_reading& reading) {
    Owned<Image> mapped(depth.ResizeOfImage(0));  // a copy, of the same size
    const bool replaces = reading.choices.empty.has_value();
    const empty_pixels empty(depth, component, reading);
    const float filling = depth_of_empty(reading);
    for (std::int32_t y = 0; y < depth.Height(); ++y) {
        for (std::int32_t x = 0; x < depth.Width(); ++x) {
            float& value = mapped->Pixel(x, y)[component];
            if (replaces && empty.holds(value, alpha.Pixel(x, y)[Image::ALPHA])) {
                value = filling;
                continue;
            }
            if (reading.camera) {
                const double along = double{value};
                value = static_cast<float>(
                    along * reading.camera->cosine(area.x + x, area.y + y));
            }
            value = reading.mapping.for_tool(value);
        }
    }
    extend_depth(*mapped, component, area, inside);
    return mapped;
}

}  // namespace focusfall
