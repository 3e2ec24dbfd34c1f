// One frame: the host's pictures become the tool's, and its result the host's.

#include <new>

#include "host/error.h"
#include "pipeline/regions/overscan_scale.h"
#include "programs/openfx/actions.h"
#include "programs/openfx/frame_images.h"
#include "programs/openfx/render_tools.h"

namespace focusfall {

namespace {

void stop_if_wanted(ofx::effect handle) {
    if (ofx::link.image_effect->abort(handle)) throw stopped();
}

// The picture at that time. Without one, either the frame is to stop or the host failed.
void require(const lent_image& image, ofx::effect handle) {
    if (image) return;
    stop_if_wanted(handle);
    throw ofx::failure{ofx::FAILED};
}

// The depth channel, as an item of the tool's control.
const char* channel_name(Image::Component component) {
    switch (component) {
        case Image::BLUE: return "Blue";
        case Image::GREEN: return "Green";
        case Image::RED: return "Red";
        case Image::ALPHA: return "Alpha";
        case Image::Z: break;
    }
    return "Z";
}

// Values for this frame alone: the format measures the blur, the depth lies where it is
// in the host's images, and the focus is a depth of the map.
control_values frame_values(const headless::tool& tool, ofx::time at,
                            const frame_region& region, const frame_images& images,
                            const depth_reading& reading) {
    control_values values =
        overscan_scale(tool, at, region.measure(), window_of(region.blurred));
    values["BlurChannel"] = channel_name(images.depth_component());
    if (reading.choices.changes_values()) {
        const auto in_map = static_cast<float>(tool.find("FocusPosition").number(at));
        values["FocusPosition"] = double{reading.mapping.for_tool(in_map)};
    }
    return values;
}

// The tool's picture. The tool holds the values of this frame afterwards.
Owned<Image> rendered(headless::tool& tool, ofx::effect handle,
                      const headless::render_order& order) {
    tool.clear_abort();
    headless::render_order watched = order;
    watched.progress = [&](double /*part*/) {
        if (ofx::link.image_effect->abort(handle)) tool.abort();
    };
    headless::frame frame = tool.render(watched);
    if (frame.how == headless::frame::end::ABORTED) throw stopped();
    if (frame.how == headless::frame::end::FAILED) {
        throw headless::host_error(frame.error);
    }
    return std::move(frame.image);
}

void render_frame(ofx::effect handle, const instance& self,
                  const ofx::property_set& order) {
    const ofx::time at = order.number("OfxPropTime", 0.0);
    if (!self.source().is_connected()) throw ofx::failure{ofx::FAILED};
    const lent_image source(self.source().handle, at);
    require(source, handle);
    const lent_image output(self.output, at);
    require(output, handle);
    ofx::clear_message(handle);

    const ofx::pixel_rect window = order.pixels("OfxImageEffectPropRenderWindow");
    const frame_region region = frame_region_of(handle, self, source, order);
    lent_tool tool(self.kind);
    restore(*tool, self.parameters.values(at));
    const Image::Component component = depth_component(*tool, at);
    if (component == Image::Z && !self.connected_depth()) {
        // an error would stop all that follows in the artist's tree
        ofx::show_message(handle, ofx::WARNING_MESSAGE,
                          "Connect a picture of the depth to Depth, or choose a Depth "
                          "Channel; until then nothing is blurred.");
        const Owned<Image> unblurred =
            tool_picture(rendering_host(), source, region.blurred);
        store_picture(rendering_host(), *unblurred, region.blurred, window, output);
        return;
    }
    const depth_reading reading = reading_for(*tool, self, at, region);
    frame_images images(self, source, region);
    images.fetch(at, component, [handle] { stop_if_wanted(handle); });
    images.prepare_depth(reading);
    offer_memory(output, region.blurred, window, images.source());
    const Owned<Image> result =
        rendered(*tool, handle,
                 {.time = at,
                  .instead = frame_values(*tool, at, region, images, reading),
                  .images = images.all()});
    store_picture(rendering_host(), *result, region.blurred, window, output);
}

}  // namespace

ofx::status render(ofx::effect handle, ofx::properties in) {
    const instance& self = instance_of(handle);
    try {
        render_frame(handle, self, ofx::property_set(in));
        return ofx::OK;
    } catch (const stopped&) {
        return ofx::OK;
    } catch (const ofx::failure& failure) {
        // a picture may be missing because the host gave the frame up
        if (ofx::link.image_effect->abort(handle)) return ofx::OK;
        return failure.code;
    } catch (const std::bad_alloc&) {
        ofx::show_message(handle, ofx::ERROR_MESSAGE,
                          "There is no memory for the frame.");
        return ofx::NO_MEMORY;
    } catch (const std::exception& error) {
        ofx::show_message(handle, ofx::ERROR_MESSAGE, error.what());
        return ofx::FAILED;
    }
}

}  // namespace focusfall
