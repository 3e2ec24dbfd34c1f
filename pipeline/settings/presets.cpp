#include "pipeline/settings/presets.h"

#include <algorithm>

#include "host/error.h"
#include "host/text.h"
#include "pipeline/settings/installation.h"
#include "pipeline/settings/settings_file.h"

namespace focusfall {

namespace fs = std::filesystem;

std::vector<preset> installed_presets() {
    std::vector<preset> presets;
    std::error_code missing;
    for (const auto& entry : fs::directory_iterator(installed_preset_folder(), missing)) {
        const fs::path& file = entry.path();
        if (file.extension() != ".json") continue;
        presets.push_back(
            {file.stem().string(), file, parsed_settings_file(file).values});
    }
    std::ranges::sort(presets, {}, &preset::name);
    return presets;
}

fs::path settings_file_named(const std::string& name) {
    std::error_code error;
    if (fs::exists(name, error) && !fs::is_directory(name, error)) return name;
    if (error) throw headless::host_error(name + ": cannot be read: " + error.message());
    std::vector<std::string> names;
    for (const preset& installed : installed_presets()) {
        if (installed.name == name) return installed.file;
        names.push_back(installed.name);
    }
    const std::string hint = headless::suggestion(name, names);
    throw headless::host_error(
        name + ": there is neither a file nor a preset of this name" +
        (hint.empty() ? "; `focusfall controls --presets` lists all presets" : hint));
}

}  // namespace focusfall
