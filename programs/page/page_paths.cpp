#include "programs/page/page_paths.h"

#include <algorithm>
#include <system_error>

#include "host/error.h"

namespace focusfall {

namespace {

namespace fs = std::filesystem;
using headless::host_error;

constexpr std::size_t MAX_NAME = 255;

bool is_name(const std::string& name) {
    return !name.empty() && name.size() <= MAX_NAME &&
           std::ranges::none_of(name, [](char c) {
               return static_cast<unsigned char>(c) < ' ' || c == '\x7f' || c == '\\';
           });
}

}  // namespace

fs::path page_path(const std::string& name, const std::string& ending) {
    if (!is_name(name)) throw host_error("a file needs a name of 1 to 255 letters");
    const fs::path file(name);
    if (file.is_absolute()) {
        throw host_error(name + ": must be a name below " + fs::current_path().string());
    }
    if (!name.ends_with(ending)) {
        throw host_error(name + ": must end in " + ending);
    }
    fs::path walked;
    for (const fs::path& part : file) {
        if (part.empty() || part.string().starts_with('.')) {
            throw host_error(name + ": \"..\" and hidden files are not taken");
        }
        walked /= part;
        std::error_code missing;
        if (fs::is_symlink(walked, missing)) {
            throw host_error(name + ": " + walked.string() + " is a link");
        }
    }
    return walked;
}

fs::path page_output(const std::string& name, const std::string& ending, bool replaces) {
    fs::path file = page_path(name, ending);
    std::error_code missing;
    if (!replaces && fs::exists(file, missing)) {
        throw host_error(name + ": is there already");
    }
    return file;
}

}  // namespace focusfall
