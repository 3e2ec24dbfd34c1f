#include "programs/openfx/depth_parameters.h"

#include "host/error.h"

namespace focusfall {

namespace {

constexpr const char* MEANING = "DepthAs";
constexpr const char* SCALE = "DepthScale";
constexpr const char* FIELD_OF_VIEW = "FieldOfView";
constexpr const char* EMPTY = "EmptyDepth";
constexpr const char* EMPTY_VALUE = "EmptyDepthValue";

// In the order of the choices, which artists' projects hold by number.
constexpr depth_meaning MEANINGS[] = {depth_meaning::DISTANCE, depth_meaning::INVERSE,
                                      depth_meaning::RAY};
enum empty_choice { KEPT, FAR_AWAY, NEAREST, OF_VALUE };

ofx::property_set define_choice(ofx::parameters set, const char* name, const char* label,
                                std::initializer_list<const char*> options) {
    const ofx::property_set row = define_row(set, "OfxParamTypeChoice", name, label);
    int index = 0;
    for (const char* option : options) {
        row.set("OfxParamPropChoiceOption", option, index++);
    }
    row.set("OfxParamPropDefault", 0);
    return row;
}

ofx::property_set define_number(ofx::parameters set, const char* name, const char* label,
                                double initial, double slider_end) {
    const ofx::property_set row = define_row(set, "OfxParamTypeDouble", name, label);
    row.set("OfxParamPropDefault", initial);
    row.set("OfxParamPropDisplayMin", 0.0);
    row.set("OfxParamPropDisplayMax", slider_end);
    row.set("OfxParamPropDoubleType", "OfxParamDoubleTypePlain");
    row.set("OfxParamPropDigits", 4);
    return row;
}

// What the pipeline says of the command's options holds for these parameters.
std::string in_terms_of_parameters(std::string text) {
    constexpr struct {
        std::string_view option, parameter;
    } NAMES[] = {{"--depth-scale", SCALE},
                 {"--depth-as inverse", "DepthAs Inverse"},
                 {"--depth-as ray", "DepthAs Ray"},
                 {"--field-of-view", FIELD_OF_VIEW}};
    for (const auto& [option, parameter] : NAMES) {
        const std::size_t at = text.find(option);
        if (at != text.npos) text.replace(at, option.size(), parameter);
    }
    return text;
}

double number_of(ofx::parameter handle, ofx::time at) {
    double value = 0.0;
    ofx::link.parameter->get_value_at_time(handle, at, &value);
    return value;
}

int choice_of(ofx::parameter handle, ofx::time at) {
    int value = 0;
    ofx::link.parameter->get_value_at_time(handle, at, &value);
    return value;
}

}  // namespace

void define_depth_parameters(ofx::parameters set, group_list& groups) {
    const std::string group = groups.group_named("Depth Map");
    const auto finish = [&](const ofx::property_set& row, const char* name,
                            const char* hint) {
        row.set("OfxParamPropParent", group);
        row.set("OfxParamPropScriptName", name);
        row.set("OfxParamPropHint", hint);
    };
    finish(
        define_choice(set, MEANING, "Depth As", {"Distance", "Inverse", "Ray"}), MEANING,
        "Distance: as Depth Map Type says. Inverse: the larger, the nearer, as "
        "disparities and many estimated maps are. Ray: distances from the camera along "
        "the ray of each pixel.");
    const ofx::property_set scale =
        define_number(set, SCALE, "Depth Scale (mm for 1)", 1.0, 1000.0);
    scale.set("OfxParamPropMin", 1e-6);
    finish(scale, SCALE,
           "Millimetres that 1 in the depth map stands for: 1000 for a map in metres. At "
           "1 the map stays as it is.");
    const ofx::property_set field =
        define_number(set, FIELD_OF_VIEW, "Field of View (degrees)", 0.0, 120.0);
    field.set("OfxParamPropMin", 0.0);
    field.set("OfxParamPropMax", 179.0);
    finish(field, FIELD_OF_VIEW,
           "Ray: the angle that the format's width shows. At 0 the lens tells it.");
    finish(define_choice(set, EMPTY, "Empty Depth", {"Kept", "Far", "Near", "Value"}),
           EMPTY,
           "The depth of pixels that show nothing: those without alpha, and those whose "
           "depth is infinite, 1e9 and more, or 0 in a map of distances.");
    finish(define_number(set, EMPTY_VALUE, "Empty Depth Value", 0.0, 1000.0), EMPTY_VALUE,
           "Empty Depth, Value: the depth of pixels that show nothing, in the numbers of "
           "the depth map.");
}

depth_parameters::depth_parameters(ofx::parameters set)
    : meaning_(handle_of(set, MEANING)),
      scale_(handle_of(set, SCALE)),
      field_of_view_(handle_of(set, FIELD_OF_VIEW)),
      empty_(handle_of(set, EMPTY)),
      empty_value_(handle_of(set, EMPTY_VALUE)) {}

depth_choices depth_parameters::choices(ofx::time at) const {
    depth_choices chosen;
    const auto meaning = static_cast<std::size_t>(choice_of(meaning_, at));
    if (meaning < std::size(MEANINGS)) chosen.meaning = MEANINGS[meaning];
    const double scale = number_of(scale_, at);
    if (scale > 0.0 && scale != 1.0) chosen.scale = scale;
    const double field = number_of(field_of_view_, at);
    if (field > 0.0) chosen.field_of_view = field;
    switch (choice_of(empty_, at)) {
        case FAR_AWAY: chosen.empty = {.place = empty_depth::end::FAR}; break;
        case NEAREST: chosen.empty = {.place = empty_depth::end::NEAR}; break;
        case OF_VALUE:
            chosen.empty = {.place = empty_depth::end::VALUE,
                            .value = static_cast<float>(number_of(empty_value_, at))};
            break;
        default: break;
    }
    return chosen;
}

depth_reading depth_parameters::reading(const depth_controls& controls, ofx::time at,
                                        const window& display,
                                        double pixel_aspect) const {
    const depth_choices chosen = choices(at);
    if (!chosen.changes_values()) return {};
    try {
        return reading_of(chosen, controls, display, pixel_aspect);
    } catch (const headless::host_error& error) {
        throw headless::host_error(in_terms_of_parameters(error.what()));
    }
}

}  // namespace focusfall
