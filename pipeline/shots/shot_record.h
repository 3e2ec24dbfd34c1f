#pragma once
// The record of how a picture was made, which the picture carries: JSON text in the
// attribute "focusfall", from which the picture can be made again.
//
//     {"tool": "kestrelworks.FocusfallFast", "version": "0.1.0",
//      "input": {"file": "/shots/in.0012.exr", "time": "2026-01-02T03:04:05.25Z"},
//      "read": {"depth-channel": "Depth.Z"}, "write": {"data-type": "float"},
//      "settings": {"MaxBlurSize": 4, "BlurStyle": "Polygon"},
//      "color": "left.R, left.G, left.B", "depth": "Depth.Z", "earlier": {...}}
//
// "depth_map", "blur_image" and "background" stand beside "input" where there are such.
// "read", "write" and "settings" hold what differs from the defaults, values that have
// keys as they are at the frame; "color" and "depth" are the channels that were found;
// "earlier" is the record that the input had.

#include <filesystem>
#include <string>
#include <vector>

#include "host/headless_host.h"
#include "pipeline/shots/choices_json.h"
#include "pipeline/shots/shot_options.h"

namespace focusfall {

// The record of a frame, before its files are read: all but the last three. Files that
// are missing have no time. [any thread, as all here]
json_record record_of(const shot_options& options, const frame_files& files,
                      const headless::tool& tool, TimeStamp time);

// The text for the picture: with what was chosen of the input, and the record that the
// part with its colour had.
std::string record_text(json_record record, const input_picture& input);

// What makes a new render of a frame with `record` differ from the picture in `file`, as
// in "settings/FocusPosition"; empty when nothing does. Versions do not count. Of a
// picture without a record only its age is known: "age" when `files` has a younger input.
std::string difference(const std::filesystem::path& file, const frame_files& files,
                       const json_record& record);

// What is wrong with the picture in `file` as far as it tells itself: that it is damaged,
// or which file that it was made from has changed since, as a sentence; empty when
// nothing is, and for a picture without a record. Never throws but std::bad_alloc.
std::string change_since(const std::filesystem::path& file);

// What a record says for making its picture again.
struct recorded_render {
    shot_options shot;  // its files, how they are read and written, tool and version
    nlohmann::ordered_json settings;             // by control, as in a settings file
    std::vector<std::filesystem::path> changed;  // files that are not as they were

    // Why the picture may not become the one in `file`, a sentence for each reason, when
    // the program `version` renders it.
    std::vector<std::string> doubts(const std::filesystem::path& file,
                                    const std::string& version) const;
};

// The record in `file`, with the choices that `given` makes in place of its own; without
// an output there, `file` itself is made again. Throws
// headless::host_error that names the file, when it has no record or a damaged one, and
// when a file that the picture was made from is gone and `given` names no other.
recorded_render render_recorded_in(const std::filesystem::path& file,
                                   const shot_options& given);

}  // namespace focusfall
