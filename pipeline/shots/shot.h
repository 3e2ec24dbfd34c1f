#pragma once
// Renders the frames of a shot: reading, rendering and writing overlap.

#include <cstdint>
#include <string>
#include <vector>

#include "host/headless_host.h"
#include "pipeline/pictures/result_picture.h"
#include "pipeline/process/interruption.h"
#include "pipeline/shots/frame_loader.h"

namespace focusfall {

// What a render is to do. File names may hold a place for the frame number when there are
// `frames`; without them there is one frame, at time 0, and names are taken as they are.
struct shot_options {
    std::string input;
    std::string depth_map;  // empty: none, as are the next and the last
    std::string blur_image;
    std::string output;
    std::string preview;
    std::vector<int> frames;
    load_choices load;
    output_choices output_as;
    bool skip_existing = false;
    bool quiet = false;
    std::string log;                  // gets a line of JSON a frame; empty: none
    std::string tool_name;            // for the record in the pictures
    bool makes_kernel_table = false;  // the tool does
    std::uint64_t memory_limit = 0;   // bytes
};

// Renders with `tool`. A frame of a shot that fails is reported and the others go on;
// gives the frames that failed. Throws host_error when a single frame fails,
// `interrupted` when `stop` says so.
std::vector<int> render_shot(const shot_options& options, headless::tool& tool,
                             interruption& stop);

}  // namespace focusfall
