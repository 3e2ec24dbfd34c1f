#pragma once
// Settings of a tool as texts: the values of `--set`, and settings files in JSON, whose
// form docs/settings.md describes.

#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "host/headless_host.h"

namespace focusfall {

// A settings file that is installed with the command; its name is without ".json".
struct preset {
    std::string name;
    std::filesystem::path file;
    nlohmann::ordered_json content;
};

// In alphabetical order; none when none are installed. Throws as read_settings_file.
std::vector<preset> installed_presets();

// The file that `--settings name` means: one of that name, else the preset. Throws
// headless::host_error when there is neither.
std::filesystem::path settings_file_named(const std::string& name);

// The values by control. Throws headless::host_error that names the file, the line and
// what is wrong; for a value outside the range of its control too.
std::map<std::string, headless::control_value> read_settings_file(
    const std::filesystem::path& file, const headless::tool& tool);

// Writes every value of the tool, texts only when they were edited; reading them back
// gives exactly these values. Replaces the file whole or not at all. Throws
// headless::host_error.
void save_settings_file(const std::filesystem::path& file, const headless::tool& tool);

// The value that `text` stands for: one value, or keys as in "1:1200,48:3400,smooth".
// Numbers may be out of range. Throws headless::host_error that names the control.
headless::control_value parsed_setting(const headless::control_info& info,
                                       std::string_view text);

// The other way: what --set takes, and what a settings file holds.
std::string shown_setting(const headless::control& input);
nlohmann::ordered_json json_setting(const headless::control& input);

}  // namespace focusfall
