#pragma once
// The host's pictures for one frame, as the tool takes them.

#include <list>
#include <map>
#include <string>

#include "pipeline/preparation/depth_steps.h"
#include "programs/openfx/instance.h"
#include "programs/openfx/pixels.h"

namespace focusfall {

// What an instance blurs at that time, and the project's format, in canonical
// coordinates; the format is empty where the host does not say it.
ofx::rect region_of(ofx::effect handle, const instance& self, ofx::time at);
ofx::rect format_of(ofx::effect handle);

// The same for the pixels of one frame.
struct frame_region {
    ofx::pixel_rect blurred = {};
    ofx::pixel_rect format = {};
    pixel_scale scale;

    // What the blur is measured by: the format, however much more of the picture there
    // is.
    window measure() const;
};

// `order` is what the host said with its wish for a frame at the time of `source`.
frame_region frame_region_of(ofx::effect handle, const instance& self,
                             const lent_image& source, const ofx::property_set& order);

// Thrown when the host wants a frame to stop.
struct stopped {};

// All images of one frame. [render thread]
class frame_images {
  public:
    // Borrows the three.
    frame_images(const instance& self, const lent_image& source,
                 const frame_region& region);

    // Fetches all that are used. The artist has the depth read from `component`: Z stands
    // for the first component of the input Depth. Calls `before` ahead of each, which may
    // throw. Throws ofx::failure when the host does not give one, and std::bad_alloc, as
    // all that follows.
    template <class Work>
    void fetch(ofx::time at, Image::Component component, Work before) {
        depth_in_picture_ = in_host_order(component);
        for (const clip_link& clip : self_.clips) {
            // that comes with its picture
            if (clip.kind.role == clip_role::PICTURE_DEPTH || !self_.is_used(clip))
                continue;
            before();
            fetch(clip, at, component);
        }
    }
    // Makes of the depth what the tool takes; outside of a picture's own pixels, that of
    // the nearest one.
    void prepare_depth(const depth_reading& reading);
    // Where the tool is to look for the depth in these images.
    Image::Component depth_component() const { return depth_in_picture_; }

    Image& source() const { return *images_.at(self_.source().kind.control); }
    const Image& depth() const;
    // By the tool's connections; they live as long as this.
    std::map<std::string, Image*> all() const;

  private:
    static Image::Component in_host_order(Image::Component component);
    void fetch(const clip_link& clip, ofx::time at, Image::Component component);
    // The picture that the host has to give of an input that is connected, until the end.
    const lent_image& lend(const clip_link& clip, ofx::time at);

    const instance& self_;
    const lent_image& lent_source_;
    const frame_region& region_;
    std::list<lent_image> lent_;                  // what the images borrow from
    std::map<std::string, Owned<Image>> images_;  // by connection
    Image::Component depth_in_picture_ = FIRST;
    ofx::pixel_rect depth_bounds_;  // where the depth has pixels of its own
    bool is_extended_ = false;      // beyond them it has that of the nearest
};

// How the tool, with the values that it holds, is to read the depth of a frame. Throws
// headless::host_error when parameters contradict each other.
depth_reading reading_for(const headless::tool& tool, const instance& self, ofx::time at,
                          const frame_region& region);

// Which component of the depth the tool reads, with the values that it holds.
Image::Component depth_component(const headless::tool& tool, ofx::time at);

}  // namespace focusfall
