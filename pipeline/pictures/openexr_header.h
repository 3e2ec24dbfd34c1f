#pragma once
// A look at the header of an OpenEXR file before the picture library reads it, which ends
// the process or takes gigabytes for what it does not expect.

#include <cstdint>
#include <filesystem>

namespace focusfall {

// Throws headless::host_error that names the file, for channels of an unknown type, for
// attributes whose length is not true and for lines of more than `max_bytes`. Whatever
// else may be wrong, other formats too, is left to the library.
void check_openexr_header(const std::filesystem::path& file, std::uint64_t max_bytes);

}  // namespace focusfall
