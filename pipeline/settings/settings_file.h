#pragma once
// Settings files: the values of a tool's controls in JSON, as docs/settings.md describes.

#include <filesystem>
#include <map>
#include <set>
#include <string>

#include <nlohmann/json.hpp>

#include "host/headless_host.h"

namespace focusfall {

// A settings file as it is written, before a tool has looked at the names in it.
// NOLINTNEXTLINE(bugprone-exception-escape): moved, a value throws nothing
struct settings_text {
    nlohmann::ordered_json values;     // one object: names and their values
    std::map<std::string, int> lines;  // the line of each name
};

// Throws headless::host_error that names the file, the line and the fault. [any thread,
// as all here]
settings_text parsed_settings_file(const std::filesystem::path& file);

// The values in `file` by control, ready for headless::tool::restore. Throws
// headless::host_error that names the file, the line and the fault; a value outside the
// range of its control is a fault too.
std::map<std::string, headless::control_value> read_settings_file(
    const std::filesystem::path& file, const headless::tool& tool);

// Writes every value of the tool, but texts only when they were edited; reading the file
// back gives exactly these values. Replaces an older file whole or not at all, but prints
// to /dev/stdout. Throws headless::host_error.
void save_settings_file(const std::filesystem::path& file, const headless::tool& tool);

// Writes only what was edited: the controls called `named`, and those whose values are
// not their defaults, so that the file leaves alone what other files set.
void save_edited_settings(const std::filesystem::path& file, const headless::tool& tool,
                          const std::set<std::string>& named);

}  // namespace focusfall
