#include "pipeline/pictures/openexr_header.h"

#include <cstdint>
#include <fstream>
#include <map>
#include <string>
#include <string_view>

#include "host/error.h"

namespace focusfall {

namespace {

constexpr std::int32_t MAGIC = 20000630;
constexpr std::int32_t SEVERAL_PARTS = 0x1000;
constexpr std::int32_t PIXEL_TYPES = 3;
constexpr std::uint64_t SMALLEST_PIXEL = 2;  // bytes
constexpr std::int64_t CHANNEL_BYTES = 16;   // behind the name, with the type

// Bytes of the attributes that have always as many; the library does not look at the
// length that the file gives for these.
const std::map<std::string_view, std::int64_t>& fixed_lengths() {
    // clang-format off
    static const std::map<std::string_view, std::int64_t> LENGTHS = {
        {"box2f", 16}, {"box2i", 16}, {"chromaticities", 32}, {"compression", 1},
        {"deepImageState", 1}, {"double", 8}, {"envmap", 1}, {"float", 4}, {"int", 4},
        {"keycode", 28}, {"lineOrder", 1}, {"m33d", 72}, {"m33f", 36}, {"m44d", 128},
        {"m44f", 64}, {"rational", 8}, {"tiledesc", 9}, {"timecode", 8}, {"v2d", 16},
        {"v2f", 8}, {"v2i", 8}, {"v3d", 24}, {"v3f", 12}, {"v3i", 12}};
    // clang-format on
    return LENGTHS;
}

// Reads on in the file; at its end everything is empty or 0.
class header_reader {
  public:
    explicit header_reader(const std::filesystem::path& file)
        : file_(file), stream_(file, std::ios::binary) {}

    std::int32_t number() {  // little-endian, as this machine
        std::int32_t value = 0;
        if (!stream_.read(reinterpret_cast<char*>(&value), sizeof value)) return 0;
        return value;
    }
    std::string text() {
        std::string value;
        std::getline(stream_, value, '\0');
        return value;
    }
    void skip(std::int64_t bytes) { stream_.seekg(bytes, std::ios::cur); }
    std::int64_t position() { return stream_.tellg(); }

    [[noreturn]] void fail(const std::string& what) const {
        throw headless::host_error(file_.string() + ": " + what);
    }

  private:
    std::filesystem::path file_;
    std::ifstream stream_;
};

void check_channels(header_reader& header) {
    for (std::string name = header.text(); !name.empty(); name = header.text()) {
        const std::int32_t type = header.number();
        if (type < 0 || type >= PIXEL_TYPES) {
            header.fail("has a channel \"" + name +
                        "\" of an unknown type; it is damaged");
        }
        header.skip(CHANNEL_BYTES - static_cast<std::int64_t>(sizeof type));
    }
}

// The library takes memory for many lines as soon as it opens a file.
void check_line(header_reader& header, std::uint64_t max_bytes) {
    const std::int64_t left = header.number();
    header.number();
    const std::int64_t width = header.number() - left + 1;
    header.number();
    if (width > 0 && static_cast<std::uint64_t>(width) > max_bytes / SMALLEST_PIXEL) {
        header.fail("has lines of " + std::to_string(width) +
                    " pixels, which is more than the memory holds");
    }
}

// Looks at one attribute, whose name was read.
void check_attribute(header_reader& header, const std::string& name,
                     std::int64_t file_bytes, std::uint64_t max_bytes) {
    const std::string type = header.text();
    const std::int64_t length = header.number();
    const std::int64_t end = header.position() + length;
    if (length >= 0 && end <= file_bytes) {
        const auto fixed = fixed_lengths().find(type);
        if (type == "chlist") {
            check_channels(header);
        } else if (name == "dataWindow" && type == "box2i") {
            check_line(header, max_bytes);
        } else {
            header.skip(fixed == fixed_lengths().end() ? length : fixed->second);
        }
        if (header.position() == end) return;
    }
    header.fail("has an attribute \"" + name + "\" of a wrong length; it is damaged");
}

}  // namespace

void check_openexr_header(const std::filesystem::path& file, std::uint64_t max_bytes) {
    header_reader header(file);
    if (header.number() != MAGIC) return;
    const bool several_parts = (header.number() & SEVERAL_PARTS) != 0;
    const auto file_bytes = static_cast<std::int64_t>(std::filesystem::file_size(file));
    std::string name = header.text();
    do {
        for (; !name.empty(); name = header.text()) {
            check_attribute(header, name, file_bytes, max_bytes);
        }
        name = header.text();
    } while (several_parts && !name.empty());
}

}  // namespace focusfall
