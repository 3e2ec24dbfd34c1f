#include "pipeline/shots/shot_files.h"

#include <sys/stat.h>

#include <map>
#include <optional>
#include <set>
#include <utility>

#include "host/error.h"
#include "pipeline/shots/frame_range.h"

namespace focusfall {

namespace {

namespace fs = std::filesystem;
using headless::host_error;

// What tells a file from all others, whatever name it goes by; nothing when there is
// none.
using file_identity = std::pair<dev_t, ino_t>;

std::optional<file_identity> identity(const fs::path& file) {
    struct stat status {};
    if (file.empty() || stat(file.c_str(), &status) != 0) return std::nullopt;
    return file_identity(status.st_dev, status.st_ino);
}

}  // namespace

frame_files files_of(const shot_options& options, int frame) {
    const auto name = [&](const std::string& pattern) -> fs::path {
        return options.frames.empty() ? pattern : frame_name(pattern, frame);
    };
    return {name(options.input), name(options.depth_map), name(options.blur_image),
            name(options.output), name(options.preview)};
}

std::vector<int> frames_of(const shot_options& options) {
    return options.frames.empty() ? std::vector{0} : options.frames;
}

bool are_there(const frame_files& files) {
    for (const fs::path& file : {files.output, files.preview}) {
        std::error_code missing;
        const bool filled = fs::file_size(file, missing) > 0 && !missing;
        if (!file.empty() && !filled) return false;
    }
    return true;
}

void check_names(const shot_options& options) {
    if (options.frames.empty() && has_frame_pattern(options.input) &&
        !fs::exists(options.input)) {
        throw host_error(options.input +
                         ": there is no such file; --frames tells which of a shot");
    }
    for (const std::string& file : {options.output, options.preview}) {
        if (!options.frames.empty() || !has_frame_pattern(file)) continue;
        throw host_error(file + ": wants a frame number; give --frames, or another name");
    }
    std::set<file_identity> inputs;
    for (const int frame : frames_of(options)) {
        const frame_files files = files_of(options, frame);
        for (const auto& file : {files.input, files.depth_map, files.blur_image}) {
            if (const auto known = identity(file)) inputs.insert(*known);
        }
    }
    if (const auto known = identity(options.log); known && inputs.contains(*known)) {
        throw host_error(options.log + ": is an input; choose another log");
    }
    std::map<fs::path, int> outputs;
    for (const int frame : frames_of(options)) {
        const frame_files files = files_of(options, frame);
        for (const auto& file : {files.output, files.preview}) {
            if (file.empty()) continue;
            const auto known = identity(file);
            if (known && inputs.contains(*known)) {
                throw host_error(file.string() + ": is an input; choose another output");
            }
            const fs::path folder = file.parent_path();
            if (!folder.empty() && !fs::is_directory(folder)) {
                throw host_error(file.string() +
                                 ": its folder is missing; make it first");
            }
            const auto [other, is_new] =
                outputs.emplace(fs::weakly_canonical(file), frame);
            if (is_new) continue;
            throw host_error(file.string() + ": would be written twice" +
                             (other->second == frame
                                  ? ", as output and preview"
                                  : "; put #### in its name for the frame number"));
        }
    }
}

}  // namespace focusfall
