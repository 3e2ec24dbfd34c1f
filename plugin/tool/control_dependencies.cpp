// Keeps the lens values consistent with one another, and shows the controls that matter.

#include <initializer_list>

#include "plugin/tool/focusfall.h"

namespace {

double number_of(const Parameter& param) {
    return dynamic_cast<const Number&>(param).Value();
}

// The value of another control at `time`, in single precision, as the lens is computed.
float float_at(Input* input, TimeStamp time) {
    const Owned<Parameter> value(input->GetSource(time));
    return lens::narrowed(number_of(*value));
}

// Sets a control to the quotient, limited to finite numbers: controls accept no others.
void set_quotient(Input* input, float dividend, float divisor, TimeStamp time) {
    const float quotient = dividend / divisor;
    input->SetSource(AutoNumber(lens::narrowed(static_cast<double>(quotient))), time);
}

void show(std::initializer_list<Input*> inputs, bool visible) {
    for (Input* input : inputs) {
        input->SetAttrs(0x10040008, visible ? 1 : 0,  // shown
                        0);
    }
}

}  // namespace

void focusfall_interface::on_input_changed(Input* input, Parameter* param,
                                           TimeStamp time) {
    if (!input || !param) return;
    const auto number = [param] { return lens::narrowed(number_of(*param)); };
    // aperture = focal length / f-stop; what is set here is not reported back
    if (input == enable_depth_input) {
        set_depth_enabled(number_of(*param) > 0.5);
    } else if (input == focal_length_input) {
        set_quotient(aperture_diameter_input, number(), float_at(f_stop_input, time),
                     time);
    } else if (input == aperture_diameter_input) {
        set_quotient(f_stop_input, float_at(focal_length_input, time), number(), time);
    } else if (input == f_stop_input) {
        set_quotient(aperture_diameter_input, float_at(focal_length_input, time),
                     number(), time);
    } else if (input == settings_type_input || input == depth_map_type_input) {
        apply_mode_rule(time);
    } else {
        update_style_visibility(input, param);
    }
}

void focusfall_interface::apply_mode_rule(TimeStamp time) {
    if (!depth_available.load(std::memory_order_relaxed)) return;
    advanced_settings_ = float_at(settings_type_input, time) > 0.5F;
    show({max_blur_size_input, invert_depth_map_input}, !advanced_settings_);
    show({focal_length_input, aperture_diameter_input, f_stop_input, filmback_width_input,
          depth_map_type_input, depth_map_units_input, near_distance_input,
          far_distance_input},
         advanced_settings_);
    if (!advanced_settings_) return;

    normalized_depth_ = float_at(depth_map_type_input, time) > 0.5F;
    show({invert_depth_map_input, near_distance_input, far_distance_input},
         normalized_depth_);
}

void focusfall_interface::update_style_visibility(Input* input, Parameter* param) {
    if (input && param && input == blur_style_input) change_style(param);
}

void focusfall_interface::change_style(Parameter* param) {
    blur_style.store(static_cast<std::int32_t>(number_of(*param)),
                     std::memory_order_relaxed);
    show_controls_of_style();
}

void focusfall_interface::show_controls_of_style() {
    const bool enabled = depth_available.load(std::memory_order_relaxed);
    const std::int32_t style = blur_style.load(std::memory_order_relaxed);
    show({bad_bokeh_input}, enabled && (style == DISK || style == POLYGON));
    show({kernel_angle_input, polygon_side_count_input}, enabled && style == POLYGON);
}

void focusfall_interface::set_depth_enabled(bool enabled) {
    depth_available.store(enabled, std::memory_order_relaxed);
    show({blur_style_input}, enabled);
    show_controls_of_style();
    show({settings_type_input, focus_position_input, min_weight_input, normalize_input},
         enabled);
    show({max_blur_size_input}, enabled && !advanced_settings_);
    show({focal_length_input, aperture_diameter_input, f_stop_input, filmback_width_input,
          depth_map_type_input, depth_map_units_input},
         enabled && advanced_settings_);
    show({near_distance_input, far_distance_input},
         enabled && advanced_settings_ && normalized_depth_);
    show({invert_depth_map_input}, enabled && (!advanced_settings_ || normalized_depth_));
}
