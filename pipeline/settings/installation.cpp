#include "pipeline/settings/installation.h"

namespace focusfall {

namespace {

namespace fs = std::filesystem;

fs::path& chosen_programs() {
    static fs::path folder;  // empty: that of the running program
    return folder;
}

fs::path beside_programs(const char* folder) {
    const fs::path& chosen = chosen_programs();
    const fs::path programs =
        chosen.empty() ? fs::read_symlink("/proc/self/exe").parent_path() : chosen;
    return (programs / folder).lexically_normal();
}

}  // namespace

void use_installation_of(const fs::path& programs) { chosen_programs() = programs; }

fs::path installed_plugin_folder() { return beside_programs(PLUGIN_FOLDER); }

fs::path installed_preset_folder() { return beside_programs(PRESET_FOLDER); }

}  // namespace focusfall
