#pragma once
// Pictures as their files hold them.

#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

#include <OpenImageIO/imageio.h>

#include "host/api/large_pages.h"

namespace focusfall {

// One part of a file: its header, and its pixels in the file's own types, each pixel's
// channels in the order of the header. Where only the header was read, there are none.
struct picture_part {
    OIIO::ImageSpec spec;
    std::unique_ptr<std::byte[]> pixels;
};

// A whole file: one part, or the several of an OpenEXR file.
using picture = std::vector<picture_part>;

// A part with memory for its pixels, which are not set. Throws std::bad_alloc.
inline picture_part empty_part(OIIO::ImageSpec spec) {
    const std::size_t bytes = spec.image_bytes(true);
    picture_part part{std::move(spec),
                      std::make_unique_for_overwrite<std::byte[]>(bytes)};
    prefer_large_pages(part.pixels.get(), bytes);
    return part;
}

}  // namespace focusfall
