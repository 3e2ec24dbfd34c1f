#pragma once
// What a depth channel seems to mean, how sure that is, and which options fit.

#include <string>
#include <vector>

#include <OpenImageIO/imageio.h>

#include "pipeline/inspection/plane_test.h"
#include "pipeline/preparation/depth_statistics.h"

namespace focusfall {

enum class seeming_depth { DISTANCE, NORMALIZED, INVERSE, UNKNOWN };
enum class depth_measure { PLANAR, RAY, UNTOLD };  // along the axis, from the camera
enum class length_unit { MILLIMETER, CENTIMETER, METER, UNTOLD };
enum class certainty { GUESS, LIKELY, SURE };

// What is known of a channel.
struct depth_facts {
    std::string name;
    OIIO::TypeDesc type;  // as it is stored; whole numbers count from 0 to 1
    depth_statistics statistics;
    plane_evidence planes;
    std::string writer;  // what the header says of the programs that made the file
    double rise_to_bottom = 0.0;  // see depth_statistics.h
};

// An opinion on it. A plain value.
struct depth_judgement {
    seeming_depth kind = seeming_depth::UNKNOWN;
    length_unit unit = length_unit::UNTOLD;         // of distances
    depth_measure measure = depth_measure::UNTOLD;  // of distances
    bool near_is_large = false;                     // of normalised and inverse values
    certainty how_sure = certainty::GUESS;          // of the kind, and of the unit
    std::string summary;               // "distances in metres, along the camera's axis"
    std::vector<std::string> reasons;  // each the end of "because ..."
    std::vector<std::string> options;  // of the command, each with its value
};

// Never throws but std::bad_alloc. [any thread]
depth_judgement judged(const depth_facts& facts);

}  // namespace focusfall
