#pragma once
// All that is told of a picture: what its file holds, and what is at its pixels.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "pipeline/inspection/focus_points.h"
#include "pipeline/inspection/picture_report.h"
#include "pipeline/inspection/pixel_report.h"

namespace focusfall {

struct inspection_order {
    frame_files files;  // the input, and perhaps a depth map
    load_choices load;
    std::vector<focus_point> pixels;    // to look at
    std::optional<focus_points> focus;  // that the tool is to get
    // somebody set the tool, so that it tells distances and diameters
    bool has_settings = false;
    std::uint64_t max_bytes = UINT64_MAX;  // that reading may take
};

struct inspection {
    std::vector<picture_report> files;  // the input, and the depth map if there is one
    std::vector<pixel_report> pixels;
    std::string lens;   // what the tool has of the header; may be empty, as the next
    std::string focus;  // the edit that the focus was set by
    std::string fault;  // why focus or pixels could not be told
};

// Looks at pixels as a render by `tool` would get them, and sets its focus; without a
// tool both are left out. What the file holds is told even when that fails, for it leads
// to what can be asked. Throws headless::host_error that names the file that cannot be
// read. [the tool's editing thread]
inspection inspect(const inspection_order& order, headless::tool* tool);

// All as one object, but for the fault.
nlohmann::ordered_json json_of(const inspection& found);

}  // namespace focusfall
