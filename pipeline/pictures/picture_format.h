#pragma once
// What a picture file can hold.

#include <filesystem>
#include <memory>
#include <string>

#include <OpenImageIO/imageio.h>

namespace focusfall {

// The abilities of one file format. A plain value.
struct picture_format {
    bool has_named_channels = false;  // any number of them, each with a type of its own
    bool has_alpha = false;
    bool has_floats = false;
    bool has_words = false;  // whole numbers of 16 bits, not of 8 alone

    // The pixel type nearest to `type` that the format holds: floats where it can, else
    // whole numbers of 16 bits, or of 8 when `type` is one of 8.
    OIIO::TypeDesc nearest_type(OIIO::TypeDesc type) const;
};

// The format that the name of `file` ends in; the file need not exist. Asks the picture
// library, so keep the answer. Throws headless::host_error for an ending that no format
// has. [any thread]
picture_format format_of(const std::filesystem::path& file);

// The same for a picture that is to be written. Throws also for the name of a folder.
picture_format output_format(const std::filesystem::path& file);

// Throws headless::host_error unless OpenEXR, whose writer silently replaces others by
// ZIP, has the compression, or `name` is empty. A level may follow the name, as in
// "dwaa:60". [any thread]
void check_compression(const std::string& name);

// The picture library's writer for that format, nothing opened. Throws as above.
std::unique_ptr<OIIO::ImageOutput> writer_for(const std::filesystem::path& file);

}  // namespace focusfall
