#pragma once
// What is in a picture file: its headers, its colour, and each channel that may be depth.

#include <optional>
#include <string>
#include <vector>

#include "pipeline/inspection/depth_judgement.h"
#include "pipeline/pictures/camera_attributes.h"
#include "pipeline/pictures/channel_choice.h"
#include "pipeline/pictures/color_encoding.h"
#include "pipeline/pictures/file_windows.h"
#include "pipeline/pictures/picture.h"
#include "pipeline/preparation/depth_choices.h"

namespace focusfall {

struct channel_report {
    std::string name;  // the last part of it: "R" of "left.R"
    std::string type;  // "half", "float", "uint8" ...
};

// Channels whose names share all but the last part.
struct layer_report {
    std::string name;  // empty for channels without one
    std::vector<channel_report> channels;
};

struct part_report {
    std::string name;  // may be empty, as the next
    std::string view;
    std::string compression;
    window data;
    window display;
    std::vector<layer_report> layers;
};

struct depth_report {
    std::string name;  // as --depth-channel takes it
    channel_place place;
    std::string type;
    bool is_chosen = false;  // it is the one that a render takes
    depth_statistics statistics;
    plane_evidence planes;
    depth_judgement judgement;
};

// All of it plain data, for texts, pages and scripts to show.
struct picture_report {
    std::string file;
    std::vector<part_report> parts;
    std::vector<std::string> color;  // names of the channels of the colour; none: empty
    std::string encoding;            // of the colour; empty without one
    camera_attributes camera;
    std::vector<depth_report> depths;
    // What a render of this file would stop for or leave out, and what to do, one
    // sentence each.
    std::vector<std::string> hints;
};

// What a render would take the file for.
enum class picture_role { INPUT, INPUT_WITH_MAP, DEPTH_MAP };

// What the caller asks for, as a render takes it.
struct report_choices {
    picture_role role = picture_role::INPUT;
    std::vector<std::string> layers;  // the first is looked at
    std::string depth_channel;
    std::optional<color_encoding> encoding;
    depth_choices depth;
};

// Looks at a whole file, called `name`, whose pixels are read. Throws std::bad_alloc; a
// choice that fits nothing is a hint. [any thread]
picture_report inspected(const picture& file, const std::string& name,
                         const report_choices& choices);

}  // namespace focusfall
