#pragma once
// An order for one frame, and how the frame ended.

#include <functional>
#include <map>
#include <string>
#include <variant>

#include "host/api/request.h"

namespace headless {

// Receives which part of a frame is done, from 0 to 1; the parts of one frame never fall.
// A frame that gets done reports 1 exactly once, as its last part; an aborted one never.
// Called on the render thread. It may abort the tool; what it throws fails the frame.
using frame_progress = std::function<void(double part)>;

// What to render. A value comes from `instead` or `images` if it is there, else from the
// control's curve at `time` or the image connected to it. What the order brings is used
// for this frame alone: the tool keeps its own values and is not notified. So controls
// that depend on each other (an f-stop and an aperture) do not adjust: order all that
// differ.
struct render_order {
    using value = std::variant<double, std::string>;

    TimeStamp time = 0;
    // Control values by identifier, taken as tool::set takes them: numbers are kept
    // within the range of their control, and a text for a number control is read as an
    // artist types it ("Airy Disk", "off", "2.8").
    std::map<std::string, value> instead = {};
    // Images by identifier of the connection, as tool::connect takes them; null for none.
    // Borrowed: they must live and not change until the render returns.
    std::map<std::string, Image*> images = {};
    frame_progress progress = {};
};

// How a render ended.
struct frame {
    enum class end { DONE, ABORTED, FAILED };
    end how = end::FAILED;
    Owned<Image> image;  // when done
    std::string error;   // when failed: one line without a line end
};

}  // namespace headless
