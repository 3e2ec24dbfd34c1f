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
#include "pipeline/preparation/depth_steps.h"
#include "pipeline/shots/background_loader.h"
#include "pipeline/shots/load_choices.h"

namespace focusfall {

// The files of one frame.
struct frame_files {
    std::filesystem::path input;
    std::filesystem::path depth_map;   // optional: empty
    std::filesystem::path blur_image;  // optional: empty
    std::filesystem::path background;  // optional: empty
    std::filesystem::path output;
    std::filesystem::path preview;  // optional: empty
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
    // what is used of the map: the input's area, unless it is scaled to the display
    // window
    window map_area = {};
    bool scales_map = false;
    bool depth_is_whole_numbers = false;  // as stored
    std::optional<picture_reader> blur_image_reader = {};
    Owned<Image> blur_image = nullptr;
    window blur_image_area = {};  // what is used of the blur image; empty: there is none
    opened_background background = {};
    // the caller's wish: a deep picture is taken as what is in front, and what lies
    // behind
    bool splits_deep = false;
};

// Something about a file that the user should know, as the end of a sentence about it.
struct frame_note {
    std::filesystem::path file;
    std::string text;
};

// The depth of a layer that the tool does not get as it was loaded.
struct prepared_depth {
    Owned<Image> for_tool;       // null: that of the first layer
    std::vector<float> in_file;  // what the output gets; empty: that of the first layer
};

// A layer has the number 0 when it is the first of the input, else 1 and up.
struct loaded_frame {
    std::filesystem::path input_file;
    std::filesystem::path depth_file;  // the depth map, else the input
    input_picture input;
    Owned<Image> image;
    std::vector<Owned<Image>> further;  // of the input's further layers
    Owned<Image> depth_map;             // null: none; as large as the image
    Owned<Image> blur_image;            // null: none
    // what lies behind each layer, as large; empty: not known
    std::vector<Owned<Image>> backgrounds;
    // depths of the layers, the first one first; empty when they are the tool's as loaded
    std::vector<prepared_depth> prepared;
    depth_reading reading;  // how they were prepared
    std::vector<frame_note> notes;
};

// Whether a frame can be taken in two halves: its one layer is deep, the depth is that of
// the samples, and nothing else tells what lies behind.
bool is_splittable(const opened_frame& opened);

// The image that the tool blurs for a layer, and the one that holds its depth as the file
// has it, and as the tool gets it.
inline Image& image_of(const loaded_frame& frame, std::size_t layer = 0) {
    return layer == 0 ? *frame.image : *frame.further[layer - 1];
}
inline Image& file_depth(const loaded_frame& frame, std::size_t layer = 0) {
    return frame.depth_map ? *frame.depth_map : image_of(frame, layer);
}
inline Image& tool_depth(const loaded_frame& frame, std::size_t layer = 0) {
    if (frame.prepared.empty()) return file_depth(frame, layer);
    const Owned<Image>& own = frame.prepared[layer].for_tool;
    return own ? *own : *frame.prepared[0].for_tool;
}

// Keeps the last depth map, blur image and background, for the frames that they serve as
// well. It may work on a thread of its own, one thread at a time.
class frame_loader {
  public:
    // Frames whose pixels take more than `max_bytes`, file by file, are refused.
    explicit frame_loader(load_choices choices, std::uint64_t max_bytes = UINT64_MAX)
        : choices_(std::move(choices)),
          max_bytes_(max_bytes),
          background_(choices_, max_bytes) {}

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
        window area = {};     // of the input, or of the image itself where it is scaled
        bool is_scaled = false;
        bool has_depth = false;
        bool whole_numbers = false;  // the depth, as stored
        Owned<Image> image = nullptr;
    };

    void open_depth_map(opened_frame& opened) const;
    void open_blur_image(opened_frame& opened) const;
    bool serves(const kept_image& map, const opened_frame& opened) const;
    static void load_halves(opened_frame& opened, loaded_frame& frame);
    Owned<Image> depth_map(opened_frame& opened);
    Owned<Image> blur_image(opened_frame& opened);

    load_choices choices_;
    std::uint64_t max_bytes_;
    kept_image depth_map_;
    kept_image blur_image_;
    background_loader background_;
};

}  // namespace focusfall
