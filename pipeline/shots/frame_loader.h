#pragma once
// Reads what one frame is rendered from, in two steps: first the headers, then the
// pixels.
//
//     opened_frame opened = loader.open(files, needs_depth);
//     ...  // refuse it, or show what there is
//     loaded_frame frame = loader.load(std::move(opened));

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "host/api/image.h"
#include "pipeline/pictures/input_picture.h"
#include "pipeline/pictures/picture_file.h"

namespace focusfall {

// The files of one frame.
struct frame_files {
    std::filesystem::path input;
    std::filesystem::path depth_map;   // optional: empty
    std::filesystem::path blur_image;  // optional: empty
    std::filesystem::path output;
    std::filesystem::path preview;  // optional: empty
};

// How files are to be read.
struct load_choices {
    std::vector<std::string> layers;  // names or ALL_VIEWS; optional: the picture itself
    std::string depth_channel;  // optional; of the depth map if there is one, else of the
                                // input
    std::optional<color_encoding> encoding;  // else what the files say

    // Calls visit(name, choice) for every choice with the name of its option: records of
    // renders are made so. A type that JSON does not know needs an overload of `json_of`
    // and `take` in shot_record.cpp. `choices` may be constant.
    template <class Choices, class Visit>
    static void for_each(Choices& choices, const Visit& visit) {
        visit("layer", choices.layers);
        visit("depth-channel", choices.depth_channel);
        visit("colorspace", choices.encoding);
    }
};

// A frame whose files are open: what their headers tell, and no pixels yet.
struct opened_frame {
    frame_files files;
    bool needs_depth = false;
    input_picture input;
    picture_reader input_reader;
    // of each still either a reader, or the image when it was read for an earlier frame
    std::optional<picture_reader> depth_map_reader = {};
    Owned<Image> depth_map = nullptr;
    std::optional<picture_reader> blur_image_reader = {};
    Owned<Image> blur_image = nullptr;
    window blur_image_area = {};  // what is used of the blur image; empty: there is none
};

struct loaded_frame {
    input_picture input;
    Owned<Image> image;
    std::vector<Owned<Image>> further;  // of the input's further layers
    Owned<Image> depth_map;             // null: none
    Owned<Image> blur_image;            // null: none
};

// Keeps the last depth map and blur image, for the frames that they serve as well. It may
// work on a thread of its own, one thread at a time.
class frame_loader {
  public:
    // Frames whose pixels take more than `max_bytes`, file by file, are refused.
    explicit frame_loader(load_choices choices, std::uint64_t max_bytes = UINT64_MAX)
        : choices_(std::move(choices)), max_bytes_(max_bytes) {}

    // Opens the files, reads their headers and chooses the channels. Throws host_error
    // that names the file at fault, also when the frame has no depth although it
    // `needs_depth` in Z; a frame that does not may still have one.
    opened_frame open(const frame_files& files, bool needs_depth);

    // The pixels of a frame that was opened. Throws host_error that names the file, also
    // when there is no memory for it.
    loaded_frame load(opened_frame opened);

  private:
    struct kept_image {
        std::filesystem::path file;
        window display = {};  // of the input
        window area = {};     // of the input, or of the blur image itself
        bool has_depth = false;
        Owned<Image> image = nullptr;
    };

    void open_depth_map(opened_frame& opened) const;
    void open_blur_image(opened_frame& opened) const;
    Owned<Image> depth_map(opened_frame& opened);
    Owned<Image> blur_image(opened_frame& opened);

    load_choices choices_;
    std::uint64_t max_bytes_;
    kept_image depth_map_;
    kept_image blur_image_;
};

}  // namespace focusfall
