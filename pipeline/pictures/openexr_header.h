#pragma once
// Checks the header of an OpenEXR file before the picture library reads it: some damaged
// headers make the library crash or allocate gigabytes.

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace focusfall {

// What of a file the picture library passes over, as ends of "does not keep ...": a
// preview picture, smaller levels, attributes of types that it does not know.
//
// Throws headless::host_error that names the file, for channels of an unknown type, for
// attributes of a wrong length, for lines of more than `max_bytes` and for more lines or
// tiles than the file can hold. Every other fault, and every file of another format, is
// left to the library.
std::vector<std::string> checked_openexr_header(const std::filesystem::path& file,
                                                std::uint64_t max_bytes);

}  // namespace focusfall
