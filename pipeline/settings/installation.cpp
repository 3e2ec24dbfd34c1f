#include "pipeline/settings/installation.h"

namespace focusfall {

namespace {

namespace fs = std::filesystem;

fs::path beside_program(const char* folder) {
    return (fs::read_symlink("/proc/self/exe").parent_path() / folder).lexically_normal();
}

}  // namespace

fs::path installed_plugin_folder() { return beside_program(PLUGIN_FOLDER); }

fs::path installed_preset_folder() { return beside_program(PRESET_FOLDER); }

}  // namespace focusfall
