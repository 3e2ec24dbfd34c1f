#include "programs/openfx/focus_point.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "host/error.h"
#include "programs/openfx/frame_images.h"

namespace focusfall {

namespace {

constexpr const char* POINT = "FocusPoint";

struct pixel_place {
    int x, y;  // rows counted upwards
};

pixel_place place_of_point(ofx::parameters set, ofx::time at, const pixel_scale& scale) {
    double x = 0.0;
    double y = 0.0;
    ofx::link.parameter->get_value_at_time(handle_of(set, POINT), at, &x, &y);
    const ofx::pixel_rect place =
        scale.pixels({x, y, x, y});  // its lower bounds are those of the pixel
    return {place.x1, place.y1};
}

// Depths around the pixel that show something, as the focus takes them.
std::vector<float> depths_around(const frame_images& images, const frame_region& region,
                                 const depth_reading& reading, const pixel_place& place) {
    const Image& depth = images.depth();
    const Image::Component component = images.depth_component();
    const empty_pixels empty(depth, component, reading);
    const window area = window_of(region.blurred);
    const std::int32_t column = place.x - region.blurred.x1;
    const std::int32_t row = region.blurred.y2 - 1 - place.y;
    std::vector<float> depths;
    for (std::int32_t y = std::max(row - 1, 0);
         y <= std::min(row + 1, depth.Height() - 1); ++y) {
        for (std::int32_t x = std::max(column - 1, 0);
             x <= std::min(column + 1, depth.Width() - 1); ++x) {
            const float value = depth.Pixel(x, y)[component];
            if (empty.holds(value, images.source().Pixel(x, y)[Image::ALPHA])) continue;
            // the focus is a plane, whatever the map measures
            const double along =
                reading.camera ? reading.camera->cosine(area.x + x, area.y + y) : 1.0;
            depths.push_back(static_cast<float>(double{value} * along));
        }
    }
    return depths;
}

}  // namespace

void define_focus_point(ofx::parameters set, group_list& groups) {
    const std::string group = groups.group_named("Focus");
    const ofx::property_set point =
        define_row(set, "OfxParamTypeDouble2D", POINT, "Focus Point");
    // hosts show such a parameter as a cross-hair
    point.set("OfxParamPropDoubleType", "OfxParamDoubleTypeXYAbsolute");
    point.set("OfxParamPropDefaultCoordinateSystem", "OfxParamCoordinatesNormalised");
    point.set("OfxParamPropDefault", 0.5, 0);
    point.set("OfxParamPropDefault", 0.5, 1);
    point.set("OfxParamPropScriptName", POINT);
    point.set("OfxParamPropParent", group);
    // the picture does not depend on it until the button is pushed
    point.set("OfxParamPropEvaluateOnChange", 0);
    point.set("OfxParamPropHint",
              "A place in the picture. Focus Here makes what is there sharp.");

    const ofx::property_set button =
        define_row(set, "OfxParamTypePushButton", FOCUS_BUTTON, "Focus Here");
    button.set("OfxParamPropScriptName", FOCUS_BUTTON);
    button.set("OfxParamPropParent", group);
    button.set("OfxParamPropHint",
               "Sets Focus Position to the depth at Focus Point, as a key where Focus "
               "Position has keys.");
}

double depth_at_focus_point(ofx::effect handle, const instance& self,
                            const headless::tool& panel, const ofx::property_set& order) {
    const ofx::time at = order.number("OfxPropTime", 0.0);
    if (!self.source().is_connected()) throw headless::host_error("Connect a picture.");
    const lent_image source(self.source().handle, at);
    if (!source) throw headless::host_error("There is no picture at this time.");
    const frame_region region = frame_region_of(handle, self, source, order);
    const Image::Component component = depth_component(panel, at);
    if (component == Image::Z && !self.connected_depth()) {
        throw headless::host_error(
            "Connect a picture of the depth to Depth, or choose a Depth Channel.");
    }
    frame_images images(self, source, region);
    images.fetch(at, component, [] {});
    const pixel_place place =
        place_of_point(ofx::parameters_of(handle), at, region.scale);
    const ofx::pixel_rect& area = region.blurred;
    if (place.x < area.x1 || place.x >= area.x2 || place.y < area.y1 ||
        place.y >= area.y2) {
        throw headless::host_error("Focus Point lies outside of the picture.");
    }
    std::vector<float> depths =
        depths_around(images, region, reading_for(panel, self, at, region), place);
    if (depths.empty()) {
        throw headless::host_error("There is nothing at Focus Point to focus on.");
    }
    const auto middle =
        depths.begin() + static_cast<std::ptrdiff_t>((depths.size() - 1) / 2);
    std::ranges::nth_element(depths, middle);
    return double{std::abs(*middle)};
}

}  // namespace focusfall
