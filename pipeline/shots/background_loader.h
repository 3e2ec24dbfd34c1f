#pragma once
// Reads the picture of what lies behind a frame, by the choices that the frame is read
// by.

#include <cstdint>
#include <filesystem>
#include <optional>
#include <utility>
#include <vector>

#include "host/api/image.h"
#include "host/headless_host.h"
#include "pipeline/pictures/input_picture.h"
#include "pipeline/pictures/picture_file.h"
#include "pipeline/shots/load_choices.h"

namespace focusfall {

// Whether the tool takes a background.
bool takes_background(const headless::tool& tool);

// A background whose file is open. Without a reader there is none, or that of an earlier
// frame serves.
struct opened_background {
    std::filesystem::path file;  // empty: there is none
    std::optional<picture_reader> reader = {};
    input_picture picture = {};
};

// Keeps the last background for the frames that it serves as well. One thread at a time.
class background_loader {
  public:
    background_loader(load_choices choices, std::uint64_t max_bytes)
        : choices_(std::move(choices)), max_bytes_(max_bytes) {}

    // Chooses what is read of the file of a frame with that input, which has its depth
    // from a map if it `has_map`. No file: no background. Throws host_error that names
    // the file, also when it shows something of another size, has other layers, or no
    // depth.
    opened_background open(const std::filesystem::path& file, const input_picture& input,
                           bool has_map) const;

    // The images, one for each layer of the input and as large, shared with what is kept.
    // Throws host_error that names the file.
    std::vector<Owned<Image>> load(opened_background opened);

  private:
    load_choices choices_;
    std::uint64_t max_bytes_;
    std::filesystem::path file_;  // of what is kept
    window display_ = {};         // of the input, as the next
    window area_ = {};
    std::vector<Owned<Image>> images_;
};

}  // namespace focusfall
