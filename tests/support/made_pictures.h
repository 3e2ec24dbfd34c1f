#pragma once
// Pictures made in code, a folder to write them into, and what they hold.

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "pipeline/pictures/file_windows.h"
#include "pipeline/pictures/picture_file.h"

namespace focusfall {

// One channel of a picture to make; `value` gives a number for each pixel of the file.
struct made_channel {
    std::string name;
    OIIO::TypeDesc type;
    std::function<double(int x, int y)> value;
};

// A part to write, with pixels in the data window.
picture_part made_part(const window& data, const window& display,
                       const std::vector<made_channel>& channels);

// R, G, B, A in half and Z in float: bright dots over a soft ramp, nearer to the right.
std::vector<made_channel> scene_channels(int seed = 0);

// A folder that goes with everything in it.
class picture_folder {
  public:
    picture_folder();
    ~picture_folder();
    picture_folder(const picture_folder&) = delete;
    picture_folder& operator=(const picture_folder&) = delete;

    const std::filesystem::path& folder() const { return folder_; }
    std::string path(const std::string& name) const { return (folder_ / name).string(); }

    // Writes parts, or one, to a file of that name in the folder, and gives its path.
    std::string write(const std::string& name,
                      const std::vector<picture_part>& parts) const;
    std::string write(const std::string& name, picture_part part) const;
    std::string write_scene(const std::string& name, const window& data,
                            const window& display, int seed = 0) const;

    // A shot: frames 1 .. count as in.0001.exr and on, with data windows that move.
    void write_frames(int count) const;
    static std::string in(int frame) { return "in.000" + std::to_string(frame) + ".exr"; }
    // The path of what is rendered from it as out.####.exr.
    std::string out(int frame) const {
        return path("out.000" + std::to_string(frame) + ".exr");
    }

    // Names of the files in the folder that begin with a dot.
    std::vector<std::string> hidden_files() const;

  private:
    std::filesystem::path folder_;
};

// The values of a channel of a part, by its name, as floats.
std::vector<float> values(const picture_part& part, const std::string& channel);

// The bytes of a channel in `area`, which lies in the data window of the part.
std::vector<std::byte> stored(const picture_part& part, const std::string& channel,
                              const window& area);

}  // namespace focusfall
