#pragma once
// What the render of a shot is to do.

#include <cstdint>
#include <string>
#include <vector>

#include "pipeline/pictures/result_picture.h"
#include "pipeline/shots/frame_loader.h"
#include "pipeline/views/view.h"

namespace focusfall {

// What becomes of a frame whose input, or another file that it is made from, is not
// there.
enum class missing_frames {
    FAIL,
    SKIP,    // it is left out
    NEAREST  // it is made from the files of the nearest frame that has all of them
};

// File names may hold a place for the frame number when there are `frames`; without them
// there is one frame, at time 0, and names are taken as they are.
struct shot_options {
    std::string input;
    std::string depth_map;   // optional: empty
    std::string blur_image;  // optional: empty
    std::string background;  // optional: empty
    std::string output;
    std::string preview;                 // optional: empty
    view_kind view = view_kind::RESULT;  // what the preview shows
    std::vector<int> frames;             // optional: empty
    missing_frames missing = missing_frames::FAIL;
    load_choices load;
    output_choices output_as;
    // leave out frames whose output and preview are there, made from the same files with
    // the same settings
    bool skip_existing = false;
    std::string log;      // optional: gets a line of JSON a frame
    std::string tool_id;  // for the record in the pictures, as the next
    std::string version;
    std::uint64_t memory_limit = UINT64_MAX;  // bytes that reading and rendering may take
};

}  // namespace focusfall
