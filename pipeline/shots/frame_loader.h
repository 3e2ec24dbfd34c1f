#pragma once
// Reads what one frame is rendered from.

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include "pipeline/pictures/result_picture.h"

namespace focusfall {

// The files of one frame. Those that may be left out are empty then.
struct frame_files {
    std::filesystem::path input;
    std::filesystem::path depth_map;
    std::filesystem::path blur_image;
    std::filesystem::path output;
    std::filesystem::path preview;
};

// How the command line wants files read.
struct load_choices {
    std::string layer;          // empty: the plain one
    std::string depth_channel;  // of the depth map if there is one, else of the input
    std::optional<color_encoding> encoding;  // else what the files say
};

struct loaded_frame {
    input_picture input;
    Owned<Image> image;
    Owned<Image> depth_map;   // null: none
    Owned<Image> blur_image;  // null: none
};

// One thread at a time. Keeps the last depth map and blur image, for the frames that they
// serve as well.
class frame_loader {
  public:
    explicit frame_loader(load_choices choices) : choices_(std::move(choices)) {}

    // `look` is called with what the header of the input tells, and the blur image,
    // before all else is read; what it throws ends the loading. Throws host_error that
    // names the file, also when the frame has no depth although it `needs_depth` in Z,
    // and when the pixels of a file take more than `most_bytes`.
    loaded_frame load(const frame_files& files, bool needs_depth,
                      std::uint64_t most_bytes,
                      const std::function<void(const loaded_frame&)>& look = {});

  private:
    struct kept_image {
        std::filesystem::path file;
        window display = {};  // of the input, as the area
        window area = {};
        bool has_depth = false;
        Owned<Image> image = nullptr;
    };

    Owned<Image> depth_map(const frame_files& files, const input_picture& input,
                           bool needs_depth, std::uint64_t most_bytes);
    Owned<Image> blur_image(const std::filesystem::path& file, std::uint64_t most_bytes);

    load_choices choices_;
    kept_image depth_map_;
    kept_image blur_image_;
};

}  // namespace focusfall
