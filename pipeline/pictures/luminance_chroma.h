#pragma once
// OpenEXR pictures of luminance and chroma, whose chroma has fewer pixels than their
// luminance. The picture library refuses them, or those of them whose windows differ; the
// OpenEXR library makes RGB of all.

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace focusfall {

// Whether the file is such a picture: one part with Y, RY and BY, the latter two smaller,
// and no other small channel. False for a file that cannot be read as OpenEXR. Never
// throws but std::bad_alloc. [any thread, as all here]
bool is_luminance_chroma(const std::filesystem::path& file);

// The same picture as the bytes of an OpenEXR file with R, G and B in half in the place
// of luminance and chroma, and everything else as it was, but for a lossy compression.
// Throws headless::host_error that names the file, for a damaged one and when its pixels
// take more than `max_bytes`, and std::bad_alloc.
std::vector<unsigned char> as_rgb_file(const std::filesystem::path& file,
                                       std::uint64_t max_bytes);

}  // namespace focusfall
