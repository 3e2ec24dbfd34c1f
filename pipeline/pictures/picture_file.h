#pragma once
// Reads and writes picture files.
//
// Everything here may run on any thread: a shot reads one frame and writes another while
// a third one renders. A reader serves one thread at a time.

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <OpenImageIO/filesystem.h>

#include "pipeline/pictures/deep_picture.h"
#include "pipeline/pictures/picture.h"

namespace focusfall {

// Reads a file in two steps, so that its headers can be judged before memory is taken for
// its pixels. Colours stay as they are stored, and are not multiplied by alpha. Deep
// parts are flattened, and luminance with small chroma becomes R, G and B.
class picture_reader {
  public:
    // Opens the file and reads the headers of all parts. Throws headless::host_error that
    // names the file, for whatever is wrong with it, and when its pixels would take more
    // than `max_bytes`.
    explicit picture_reader(std::filesystem::path file,
                            std::uint64_t max_bytes = UINT64_MAX);

    // All parts, without pixels.
    picture headers() const;
    // What the file has that cannot be kept, as in "the preview picture".
    const std::vector<std::string>& lost() const { return lost_; }
    // What is not read as it stands in the file, as the end of a sentence about it; empty
    // when everything is.
    const std::string& note() const { return note_; }
    // Whether a part is deep in the file.
    bool is_deep(std::size_t part) const { return deep_[part]; }
    // All parts with their pixels; closes the file, so call it once. With `halves`, those
    // of the deep part `halved`. Throws headless::host_error that names the file, and
    // std::bad_alloc.
    picture read(std::size_t halved = 0, deep_halves* halves = nullptr);

  private:
    // Opens the file, or what it was turned into.
    void open(bool is_openexr, std::uint64_t max_bytes);

    // A file that was made of another one.
    struct memory_file {
        explicit memory_file(std::vector<unsigned char> content)
            : bytes(std::move(content)), reader(bytes) {}

        std::vector<unsigned char> bytes;
        OIIO::Filesystem::IOMemReader reader;
    };

    std::filesystem::path file_;
    std::unique_ptr<memory_file> memory_;      // null: the file itself is read
    std::unique_ptr<OIIO::ImageInput> input_;  // null once all is read
    std::vector<OIIO::ImageSpec> specs_;
    std::vector<std::string> lost_;
    std::vector<bool> deep_;  // which parts have to be flattened
    std::string note_;
};

// All parts of `file` at once. Throws as a reader does.
picture read_picture(const std::filesystem::path& file,
                     std::uint64_t max_bytes = UINT64_MAX);

// Writes a file in the format that its name ends in, whole or not at all. Throws
// headless::host_error.
void write_picture(const picture& parts, const std::filesystem::path& file);

}  // namespace focusfall
