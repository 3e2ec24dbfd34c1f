#pragma once
// Checks the header of an OpenEXR file before the picture library reads it: some damaged
// headers make the library crash or allocate gigabytes.

#include <cstdint>
#include <filesystem>

namespace focusfall {

// Throws headless::host_error that names the file, for channels of an unknown type, for
// attributes of a wrong length and for lines of more than `max_bytes`. Every other fault,
// and every file of another format, is left to the library.
void check_openexr_header(const std::filesystem::path& file, std::uint64_t max_bytes);

}  // namespace focusfall
