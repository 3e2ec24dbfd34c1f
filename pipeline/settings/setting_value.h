#pragma once
// Values of controls as text, for `--set`, and as JSON, for settings files and pages.

#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

#include "host/headless_host.h"

namespace focusfall {

// Follows the keys that a smooth curve joins, in texts and in JSON.
inline constexpr const char* SMOOTH = "smooth";

// The value that `text` stands for: one value, or keys as in "1:1200,48:3400,smooth",
// with blanks around them or not. Numbers may be out of range. Throws
// headless::host_error that names the control. [any thread, as all below]
headless::control_value parsed_setting(const headless::control_info& info,
                                       std::string_view text);

// Tells which numbers of `text`, a value that was accepted, the control does not take as
// they are, as in "FStop: 0.95 becomes 1 (takes 1 and up)"; empty when it takes all.
std::string adjustment_note(const headless::control_info& info, std::string_view text);

// The value that `json` stands for, in the forms of docs/settings.md. Throws
// headless::host_error that names the control, for a value that is out of range too.
headless::control_value setting_from_json(const headless::control_info& info,
                                          const nlohmann::ordered_json& json);

// What a control holds, keys included, as parsed_setting takes it back exactly; texts of
// text controls as they are, nothing of image connections.
std::string shown_setting(const headless::control& input);

// The same for setting_from_json.
nlohmann::ordered_json json_setting(const headless::control& input);

// The same for one of its values: a whole number, true or false, or the text of an item
// where the control has such.
nlohmann::ordered_json json_value(const headless::control_info& info, double value);

// All about a control for a program to show: identifier, name, page, kind, range, items,
// default, present value and keys, and whether the tool shows it.
nlohmann::ordered_json json_control(const headless::control& input);

}  // namespace focusfall
