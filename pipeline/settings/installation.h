#pragma once
// Where the files that are installed with a program are, found from the program's own
// place: the build tree is laid out like an installed one.

#include <filesystem>

namespace focusfall {

// Looks from now on where the programs beside those files are, in `programs`, instead of
// where the running program is: for a library that another program loads. [once, before
// the others]
void use_installation_of(const std::filesystem::path& programs);

// The folder of the plug-in libraries, which may be missing. Throws
// std::filesystem::filesystem_error where the system does not say which program runs.
std::filesystem::path installed_plugin_folder();

// The folder of the presets; as above.
std::filesystem::path installed_preset_folder();

}  // namespace focusfall
