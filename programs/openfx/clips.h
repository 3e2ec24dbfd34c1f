#pragma once
// The effect's inputs: one for each image connection of the tool.

#include <string>
#include <vector>

#include "host/tool.h"
#include "programs/openfx/host_link.h"

namespace focusfall {

enum class clip_role {
    SOURCE,         // the picture that is blurred
    DEPTH,          // its depth, in the first component
    SHAPE,          // of the blur: a picture of its own size
    PICTURE,        // any other: it covers the same area as the source, and has a depth
    PICTURE_DEPTH,  // that depth, an input of its own, again in the first component
};

struct clip_kind {
    std::string control;  // the tool's connection
    std::string name;     // the host's; written in artists' projects
    std::string label;
    clip_role role;
};

inline constexpr const char* DEPTH_CONTROL = "DepthMap";  // the tool's connection
inline constexpr const char* OUTPUT_CLIP = "Output";
inline constexpr const char* FILTER_CONTEXT = "OfxImageEffectContextFilter";
inline constexpr const char* SINGLE_COMPONENT = "OfxImageComponentAlpha";

// The source first: hosts number the inputs. [any thread]
std::vector<clip_kind> clip_kinds(const headless::tool& tool);

// An input of one instance.
struct clip_link {
    clip_kind kind;
    ofx::clip handle;

    bool is_connected() const {
        return ofx::of_clip(handle).integer("OfxImageClipPropConnected", 0) != 0;
    }
    // Empty when the host does not know it.
    ofx::rect region(ofx::time at) const;
};

// Those that the instance's context has. [any thread]
std::vector<clip_link> clips_of(ofx::effect handle, const headless::tool& tool);

// Defines the inputs and the output for a context; filters have one input. Throws
// ofx::failure.
void define_clips(ofx::effect handle, const headless::tool& tool,
                  const std::string& context);

}  // namespace focusfall
