#include "pipeline/preparation/depth_choices.h"

#include <cmath>

#include "host/error.h"
#include "host/text.h"

namespace focusfall {

namespace {

// A depth as it is typed; infinity is one, for that is what empty pixels may carry.
std::optional<float> depth_in(const std::string& text) {
    const std::optional<double> number = headless::number_in(text);
    if (!number || std::isnan(*number)) return std::nullopt;
    return static_cast<float>(*number);
}

}  // namespace

depth_meaning named_depth_meaning(const std::string& name) {
    if (name == "distance") return depth_meaning::DISTANCE;
    if (name == "inverse") return depth_meaning::INVERSE;
    if (name == "ray") return depth_meaning::RAY;
    throw headless::host_error("depth is no \"" + name +
                               "\"; there are distance, inverse and ray");
}

empty_depth parsed_empty_depth(const std::string& text) {
    const auto fail = [&] {
        throw headless::host_error("\"" + text +
                                   "\" is no depth for empty pixels; write far, near or "
                                   "a number, or 0=far where they carry a 0");
    };
    empty_depth empty;
    const std::size_t equals = text.find('=');
    if (equals != text.npos) {
        empty.marker = depth_in(text.substr(0, equals));
        if (!empty.marker) fail();
    }
    const std::string place = equals == text.npos ? text : text.substr(equals + 1);
    if (place == "far") return empty;
    empty.place = place == "near" ? empty_depth::end::NEAR : empty_depth::end::VALUE;
    if (place == "near") return empty;
    const std::optional<float> value = depth_in(place);
    if (!value) fail();
    empty.value = value.value_or(0.0F);
    return empty;
}

std::string shown(depth_meaning meaning) {
    switch (meaning) {
        case depth_meaning::DISTANCE: return "distance";
        case depth_meaning::INVERSE: return "inverse";
        case depth_meaning::RAY: break;
    }
    return "ray";
}

std::string shown(const empty_depth& empty) {
    const std::string before =
        empty.marker ? headless::shortest(*empty.marker) + "=" : "";
    switch (empty.place) {
        case empty_depth::end::FAR: return before + "far";
        case empty_depth::end::NEAR: return before + "near";
        case empty_depth::end::VALUE: break;
    }
    return before + headless::shortest(empty.value);
}

}  // namespace focusfall
