#pragma once
// Settings files that are installed with the program, chosen by name.

#include <filesystem>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace focusfall {

struct preset {
    std::string name;  // of the file, without ".json"
    std::filesystem::path file;
    nlohmann::ordered_json content;  // settings, "comment" and "source"
};

// All presets in alphabetical order; none when none are installed. Throws
// headless::host_error that names the file and line of one that cannot be read.
std::vector<preset> installed_presets();

// The file that `--settings name` means: the file of that name if there is one, else the
// preset. Throws headless::host_error when there is neither.
std::filesystem::path settings_file_named(const std::string& name);

}  // namespace focusfall
