#pragma once
// Controls that a tool hides because its other settings leave them without effect.

#include <map>
#include <string>
#include <vector>

#include "host/headless_host.h"

namespace focusfall {

// For each hidden control the setting that would show it, as in "SettingsType=Advanced",
// by the control's identifier; those that no single setting shows are missing. Tries
// settings on the tool and takes them back. [the tool's editing thread]
std::map<std::string, std::string> revealing_settings(headless::tool& tool);

// One line of text for each reason why edits of the controls `ids` have no effect, as in
// "FStop: no effect unless SettingsType=Advanced"; empty when all have one. A list or
// checkbox with keys may show a control at some times only, and gives no line. Throws
// headless::host_error for an unknown control. [the tool's editing thread]
std::vector<std::string> edits_without_effect(headless::tool& tool,
                                              const std::vector<std::string>& ids);

}  // namespace focusfall
