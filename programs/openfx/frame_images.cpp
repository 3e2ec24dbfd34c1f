#include "programs/openfx/frame_images.h"

#include "pipeline/regions/outer_depth.h"
#include "programs/openfx/render_tools.h"

namespace focusfall {

window frame_region::measure() const {
    const bool counts = !is_empty(format) && width(format) < width(blurred);
    return window_of(counts ? format : blurred);
}

frame_region frame_region_of(ofx::effect handle, const instance& self,
                             const lent_image& source, const ofx::property_set& order) {
    // the picture's own scale: there are hosts that ask for another and lend this one
    constexpr const char* SCALE = "OfxImageEffectPropRenderScale";
    const ofx::property_set picture = source.properties();
    const ofx::property_set clip = ofx::of_clip(self.source().handle);
    const pixel_scale scale = {picture.number(SCALE, order.number(SCALE, 1.0, 0), 0),
                               picture.number(SCALE, order.number(SCALE, 1.0, 1), 1),
                               clip.number("OfxImagePropPixelAspectRatio", 1.0)};
    const ofx::time at = order.number("OfxPropTime", 0.0);
    const ofx::pixel_rect region = scale.pixels(region_of(handle, self, at));
    // whatever the host says of its scale, its pictures are what they are
    const bool agrees = holds(region, source.bounds());
    return {.blurred = agrees ? region : source.bounds(),
            .format = scale.pixels(format_of(handle)),
            .scale = scale};
}

frame_images::frame_images(const instance& self, const lent_image& source,
                           const frame_region& region)
    : self_(self),
      lent_source_(source),
      region_(region),
      depth_bounds_(source.bounds()) {}

Image::Component frame_images::in_host_order(Image::Component component) {
    if (component == Image::RED) return Image::BLUE;
    if (component == Image::BLUE) return Image::RED;
    return component;
}

const lent_image& frame_images::lend(const clip_link& clip, ofx::time at) {
    const lent_image& lent = lent_.emplace_back(clip.handle, at);
    if (!lent) throw ofx::failure{ofx::FAILED};
    return lent;
}

void frame_images::fetch(const clip_link& clip, ofx::time at,
                         Image::Component component) {
    headless::host& host = rendering_host();
    const ofx::pixel_rect& area = region_.blurred;
    Owned<Image>& image = images_[clip.kind.control];
    switch (clip.kind.role) {
        case clip_role::SOURCE: image = tool_picture(host, lent_source_, area); break;
        case clip_role::DEPTH: {
            const lent_image& depth = lend(clip, at);
            if (component == Image::Z) {
                depth_in_picture_ = FIRST;
                image = depth_picture(host, depth, area);
            } else {
                image = tool_picture(host, depth, area);
            }
            depth_bounds_ = depth.bounds();
            extend_depth(*image, depth_in_picture_, window_of(area),
                         window_of(depth_bounds_));
            is_extended_ = true;
            break;
        }
        case clip_role::SHAPE: image = shape_picture(host, lend(clip, at)); break;
        case clip_role::PICTURE: {
            const lent_image& depth = lend(self_.depth_of(clip), at);
            image = picture_with_depth(host, lend(clip, at), depth, area);
            break;
        }
        case clip_role::PICTURE_DEPTH: break;  // came with its picture
    }
}

void frame_images::prepare_depth(const depth_reading& reading) {
    const window area = window_of(region_.blurred);
    const window inside = window_of(depth_bounds_);
    const bool changes = reading.choices.changes_values();
    if (changes || (!is_extended_ && common(area, inside) != area)) {
        images_[DEPTH_CONTROL] =
            mapped_depth(depth(), depth_in_picture_, source(), area, inside, reading);
    }
    for (const clip_link& clip : self_.clips) {
        if (clip.kind.role != clip_role::PICTURE_DEPTH || !changes) continue;
        const auto found = images_.find(clip.kind.control);
        if (found == images_.end()) continue;
        Owned<Image>& picture = found->second;
        picture = mapped_depth(*picture, Image::Z, *picture, area, area, reading);
    }
}

const Image& frame_images::depth() const {
    const auto map = images_.find(DEPTH_CONTROL);
    return map != images_.end() ? *map->second : source();
}

std::map<std::string, Image*> frame_images::all() const {
    std::map<std::string, Image*> borrowed;
    for (const auto& [id, image] : images_) borrowed.emplace(id, image.get());
    return borrowed;
}

depth_reading reading_for(const headless::tool& tool, const instance& self, ofx::time at,
                          const frame_region& region) {
    return self.depth_parameters.reading(depth_controls_of(tool, at), at,
                                         region.measure(), region.scale.aspect);
}

Image::Component depth_component(const headless::tool& tool, ofx::time at) {
    return tool.forecast({.time = at}, {}).depth;
}

}  // namespace focusfall
