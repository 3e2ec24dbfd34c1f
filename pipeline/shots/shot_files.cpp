#include "pipeline/shots/shot_files.h"

#include <sys/stat.h>

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <utility>

#include "host/error.h"
#include "pipeline/pictures/picture_format.h"
#include "pipeline/shots/frame_range.h"

namespace focusfall {

namespace {

namespace fs = std::filesystem;
using headless::host_error;

// Device and number, which are the same for all names of one file.
using file_identity = std::pair<dev_t, ino_t>;

// Nothing when there is no such file.
std::optional<file_identity> identity(const fs::path& file) {
    struct stat status {};
    if (file.empty() || stat(file.c_str(), &status) != 0) return std::nullopt;
    return file_identity(status.st_dev, status.st_ino);
}

std::set<file_identity> input_identities(const shot_options& options) {
    std::set<file_identity> inputs;
    for (const int frame : frames_of(options)) {
        const frame_files files = files_of(options, frame);
        for (const auto& file : read_files(files)) {
            if (const auto known = identity(file)) inputs.insert(*known);
        }
    }
    return inputs;
}

// Refuses places for a view, which other programs fill in, and places for a frame number
// without frame numbers.
void check_patterns(const shot_options& options) {
    for (const std::string& file : {options.output, options.preview}) {
        if (file.find("%V") == file.npos && file.find("%v") == file.npos) continue;
        throw host_error(file +
                         ": a name has no place for a view; one file takes all views by "
                         "--layer all-views, and one view by --layer and its name");
    }
    if (!options.frames.empty()) return;
    // an input may really be called so
    std::error_code unreadable;
    if (has_frame_pattern(options.input) && !fs::exists(options.input, unreadable)) {
        throw host_error(
            options.input +
            ": there is no such file; give the frames of a shot by --frames");
    }
    for (const std::string& file : {options.output, options.preview}) {
        if (!has_frame_pattern(file)) continue;
        throw host_error(
            file + ": has a place for a frame number; give --frames, or another name");
    }
}

// Other formats than those with named channels hold one picture.
void check_layers(const shot_options& options) {
    const auto& layers = options.load.layers;
    const bool are_several =
        layers.size() > 1 || std::ranges::count(layers, ALL_VIEWS) > 0;
    if (!are_several || format_of(options.output).has_named_channels) return;
    throw host_error(options.output +
                     ": holds one picture, and --layer asks for several; write an "
                     "OpenEXR file");
}

void check_log(const shot_options& options, const std::set<file_identity>& inputs) {
    const auto known = identity(options.log);
    if (!known || !inputs.contains(*known)) return;
    throw host_error(options.log + ": is an input; choose another log");
}

// Refuses outputs that are inputs, that are written twice or that have no folder.
void check_outputs(const shot_options& options, const std::set<file_identity>& inputs) {
    std::map<fs::path, int> outputs;  // the frame of each
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

// Refuses what is to be shown or kept where there is no room for it.
void check_extras(const shot_options& options) {
    if (options.view != view_kind::RESULT && options.preview.empty()) {
        throw host_error("a view needs a file to go to; give it by --preview");
    }
    if (!options.output_as.diameter_channel.empty() &&
        !format_of(options.output).has_named_channels) {
        throw host_error(options.output + ": has no room for the channel \"" +
                         options.output_as.diameter_channel + "\"; write an .exr");
    }
}

}  // namespace

frame_files files_of(const shot_options& options, int frame) {
    const auto name = [&](const std::string& pattern) -> fs::path {
        return options.frames.empty() ? pattern : frame_name(pattern, frame);
    };
    return {.input = name(options.input),
            .depth_map = name(options.depth_map),
            .blur_image = name(options.blur_image),
            .background = name(options.background),
            .output = name(options.output),
            .preview = name(options.preview)};
}

std::vector<fs::path> read_files(const frame_files& files) {
    return {files.input, files.depth_map, files.blur_image, files.background};
}

std::vector<int> frames_of(const shot_options& options) {
    return options.frames.empty() ? std::vector{0} : options.frames;
}

std::vector<int> frames_there(const std::string& pattern) {
    const fs::path path(pattern);
    const std::string name = path.filename().string();
    const fs::path folder = path.has_parent_path() ? path.parent_path() : ".";
    if (!has_frame_pattern(name) || has_frame_pattern(folder.string())) {
        throw host_error(pattern +
                         ": must have #### in its file name, and there alone, for its "
                         "frames to be found");
    }
    std::vector<int> frames;
    std::error_code unreadable;
    const fs::directory_iterator entries(folder, unreadable);
    if (unreadable && unreadable != std::errc::no_such_file_or_directory) {
        throw host_error(folder.string() + ": cannot be read: " + unreadable.message());
    }
    for (const auto& entry : entries) {
        const std::string file = entry.path().filename().string();
        if (const auto frame = frame_number(name, file)) frames.push_back(*frame);
    }
    std::ranges::sort(frames);
    if (frames.empty()) throw host_error(pattern + ": there is no such file");
    return frames;
}

std::vector<int> listed_frames(const std::string& text, const std::string& pattern) {
    return text == ALL_FRAMES ? without_holes(frames_there(pattern)) : parse_frames(text);
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
    check_extras(options);
    check_patterns(options);
    check_layers(options);
    const std::set<file_identity> inputs = input_identities(options);
    check_log(options, inputs);
    check_outputs(options, inputs);
}

}  // namespace focusfall
