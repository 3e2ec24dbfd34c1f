#include "pipeline/shots/header_lens.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <utility>

#include "host/error.h"
#include "host/text.h"
#include "pipeline/pictures/camera_attributes.h"
#include "pipeline/shots/shot_files.h"

namespace focusfall {

namespace {

using headless::host_error;

constexpr const char* FOCUS = "FocusPosition";
constexpr const char* F_STOP = "FStop";
constexpr const char* APERTURE = "ApertureDiameter";

struct frame_camera {
    int frame = 0;
    camera_attributes camera;
};

// What the headers of all frames say; throws when none can be read.
std::vector<frame_camera> cameras_of(const shot_options& shot) {
    std::vector<frame_camera> cameras;
    std::optional<host_error> first_fault;
    for (const int frame : frames_of(shot)) {
        try {
            picture_reader reader(files_of(shot, frame).input, shot.memory_limit);
            cameras.push_back({frame, camera_attributes_of(reader.headers())});
        } catch (const host_error& fault) {
            if (!first_fault) first_fault = fault;
        }
    }
    if (cameras.empty()) throw *first_fault;
    return cameras;
}

// Millimetres of a unit of the file's depth, which "FocusPosition" counts in; nothing
// when depths are not distances.
std::optional<double> depth_unit(const headless::tool& tool,
                                 const depth_choices& choices) {
    if (choices.meaning == depth_meaning::INVERSE) return std::nullopt;
    if (choices.scale) return choices.scale;
    if (tool.find("DepthMapType").number(0) > 0.5) return std::nullopt;
    constexpr std::array MILLIMETRES{1.0, 1000.0, 25.4, 304.8};  // in the control's order
    const double item = tool.find("DepthMapUnits").number(0);
    return MILLIMETRES.at(static_cast<std::size_t>(std::lround(item)));
}

// A control, and the values for it in the frames that tell one.
struct lens_control {
    const char* id;
    std::vector<headless::key> keys;
    std::string attribute;  // that the first of them was made of
};

template <class Find>
lens_control control_for(const char* id, const std::vector<frame_camera>& cameras,
                         Find find) {
    lens_control control{id, {}, {}};
    for (const auto& [frame, camera] : cameras) {
        const std::optional<camera_value> found = find(camera);
        if (!found) continue;
        if (control.keys.empty()) control.attribute = found->attribute;
        control.keys.push_back({static_cast<TimeStamp>(frame), found->value});
    }
    return control;
}

std::vector<lens_control> lens_controls(const std::vector<frame_camera>& cameras,
                                        std::optional<double> unit) {
    return {
        control_for("FocalLength", cameras,
                    [](const auto& camera) { return camera.focal_length; }),
        control_for("FilmbackWidth", cameras,
                    [](const auto& camera) { return camera.filmback_width; }),
        control_for(F_STOP, cameras, [](const auto& camera) { return camera.f_stop; }),
        control_for(FOCUS, cameras, [&](const auto& camera) {
            std::optional<camera_value> focus =
                unit ? camera.focus_distance : std::nullopt;
            if (focus) focus->value /= *unit;
            return focus ? focus : camera.focus_depth;
        })};
}

// "FocalLength=35 (nominalFocalLength)", once it is set. A control may not go as far.
std::string shown(const headless::tool& tool, const lens_control& control) {
    const headless::control& input = tool.find(control.id);
    const auto& keys = control.keys;
    const auto [low, high] = std::ranges::minmax_element(keys, {}, &headless::key::value);
    std::string text = std::string(control.id) + "=" +
                       input.info().shown(input.number(keys.front().time));
    if (low->value != high->value) {
        text += " with keys from " + input.info().shown(low->value) + " to " +
                input.info().shown(high->value);
    }
    text += " (" + control.attribute;
    const double first = keys.front().value;
    const double taken = input.number(keys.front().time);
    constexpr double ROUNDING = 1e-6;
    if (std::abs(taken - first) > ROUNDING * first) {
        text += " says " + input.info().shown(first) + ", which is out of range";
    }
    return text + ")";
}

}  // namespace

std::string set_lens(headless::tool& tool, const shot_options& shot,
                     const std::vector<std::string>& kept) {
    const std::vector<frame_camera> cameras = cameras_of(shot);
    // the tool would answer a new focal length with another diameter
    const bool keeps_aperture = std::ranges::count(kept, APERTURE) > 0;
    const headless::animation aperture = tool.find(APERTURE).curve();
    std::vector<std::string> set;
    std::vector<std::string> missing;
    bool tells = false;
    for (const lens_control& control :
         lens_controls(cameras, depth_unit(tool, shot.load.depth))) {
        tells = tells || !control.keys.empty();
        if (std::ranges::count(kept, control.id) > 0) continue;
        if (keeps_aperture && control.id == std::string(F_STOP)) continue;
        if (control.keys.empty()) {
            missing.emplace_back(control.id);
            continue;
        }
        headless::animation curve(control.keys, headless::interpolation::LINEAR);
        const bool same =
            std::ranges::all_of(control.keys, [&](const headless::key& key) {
                return key.value == control.keys.front().value;
            });
        if (same) curve = headless::animation(control.keys.front().value);
        tool.replace(control.id, curve);
        set.push_back(shown(tool, control));
    }
    if (keeps_aperture) tool.replace(APERTURE, aperture);
    if (!tells) {
        throw host_error(files_of(shot, cameras.front().frame).input.string() +
                         ": its header tells nothing of a lens; leave out "
                         "--lens-from-header");
    }
    std::string text = "the lens of the header: " + headless::joined(set);
    if (set.empty()) text = "nothing of the header's lens is used";
    if (missing.empty()) return text;
    return text + "; it does not tell " + headless::joined(missing) +
           ", which can be set by --set";
}

}  // namespace focusfall
