#pragma once
// Which files a page may name.

#include <filesystem>
#include <string>

namespace focusfall {

// The file that a page calls `name`, which must lie in the present folder or below it.
// Throws headless::host_error that names it when it is absolute, has "..", is hidden, is
// a link or lies behind one, does not end in `ending`, or has letters that do not belong
// into a name. [any thread]
std::filesystem::path page_path(const std::string& name, const std::string& ending = "");

// The same for a file to write. Throws also when it is there and not to be replaced.
std::filesystem::path page_output(const std::string& name, const std::string& ending,
                                  bool replaces);

}  // namespace focusfall
