#include "pipeline/pictures/openexr_header.h"

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <map>
#include <string>
#include <string_view>
#include <vector>

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
    std::uint8_t byte() {
        char value = 0;
        stream_.get(value);
        return static_cast<std::uint8_t>(value);
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

// Lines that are compressed together, by the number of the compression.
constexpr std::int64_t LINES_OF_CHUNK[] = {1, 1, 1, 16, 32, 16, 32, 32, 32, 256};

// What tells how many pieces the pixels of a part are stored in.
struct part_layout {
    std::int64_t width = 0;
    std::int64_t height = 0;
    std::int64_t tile_width = 0;  // 0: lines
    std::int64_t tile_height = 0;
    bool has_levels = false;
    std::size_t compression = 0;

    std::int64_t chunks() const {
        const auto pieces = [](std::int64_t whole, std::int64_t size) {
            return (std::max<std::int64_t>(whole, 0) + size - 1) / size;
        };
        if (tile_width > 0 && tile_height > 0) {
            return pieces(width, tile_width) * pieces(height, tile_height);
        }
        return pieces(height, compression < std::size(LINES_OF_CHUNK)
                                  ? LINES_OF_CHUNK[compression]
                                  : LINES_OF_CHUNK[9]);
    }
};

// Looks through the headers of all parts.
class header_check {
  public:
    header_check(const std::filesystem::path& file, std::uint64_t max_bytes)
        : header_(file),
          file_bytes_(static_cast<std::int64_t>(std::filesystem::file_size(file))),
          max_bytes_(max_bytes) {}

    std::vector<std::string> lost();

  private:
    void check_attribute(const std::string& name);
    void take_window();
    void take_tiles();
    void note_loss(const std::string& name, const std::string& type);

    header_reader header_;
    std::int64_t file_bytes_;
    std::uint64_t max_bytes_;
    part_layout part_;
    std::vector<std::string> lost_;
};

std::vector<std::string> header_check::lost() {
    if (header_.number() != MAGIC) return {};
    const bool several_parts = (header_.number() & SEVERAL_PARTS) != 0;
    std::int64_t chunks = 0;
    std::string name = header_.text();
    do {
        part_ = {};
        for (; !name.empty(); name = header_.text()) check_attribute(name);
        if (part_.has_levels) note_loss("tiles", "levels");
        chunks += part_.chunks();
        name = header_.text();
    } while (several_parts && !name.empty());
    // each has an entry in a table, a head and something in it: the library would look
    // for those that are not there for minutes
    constexpr std::int64_t SMALLEST_CHUNK = 16;
    if (chunks > file_bytes_ / SMALLEST_CHUNK) {
        header_.fail("is too short for the pixels that it announces; it is damaged");
    }
    return std::move(lost_);
}

// Looks at one attribute, whose name was read.
void header_check::check_attribute(const std::string& name) {
    const std::string type = header_.text();
    const std::int64_t length = header_.number();
    const std::int64_t end = header_.position() + length;
    if (length >= 0 && end <= file_bytes_) {
        const auto fixed = fixed_lengths().find(type);
        if (type == "chlist") {
            check_channels(header_);
        } else if (name == "dataWindow" && type == "box2i") {
            take_window();
        } else if (name == "tiles" && type == "tiledesc") {
            take_tiles();
        } else if (name == "compression" && type == "compression") {
            part_.compression = header_.byte();
        } else {
            header_.skip(fixed == fixed_lengths().end() ? length : fixed->second);
        }
        if (header_.position() == end) return note_loss(name, type);
    }
    header_.fail("has an attribute \"" + name + "\" of a wrong length; it is damaged");
}

// The library takes memory for many lines as soon as it opens a file.
void header_check::take_window() {
    const std::int64_t left = header_.number();
    const std::int64_t top = header_.number();
    part_.width = header_.number() - left + 1;
    part_.height = header_.number() - top + 1;
    if (part_.width > 0 &&
        static_cast<std::uint64_t>(part_.width) > max_bytes_ / SMALLEST_PIXEL) {
        header_.fail("has lines of " + std::to_string(part_.width) +
                     " pixels, which is more than the memory holds");
    }
}

void header_check::take_tiles() {
    part_.tile_width = header_.number();
    part_.tile_height = header_.number();
    constexpr unsigned LEVEL_MODE = 0x0f;
    part_.has_levels = (header_.byte() & LEVEL_MODE) != 0;
}

void header_check::note_loss(const std::string& name, const std::string& type) {
    static constexpr std::string_view KEPT[] = {"chlist", "floatvector", "string",
                                                "stringvector"};
    const bool kept = type != "deepImageState" &&
                      (fixed_lengths().contains(type) || std::ranges::count(KEPT, type));
    if (kept) return;
    std::string what = "the attribute \"" + name + "\"";
    if (type == "preview") what = "the preview picture";
    if (type == "levels") what = "its smaller levels";
    if (std::ranges::count(lost_, what) == 0) lost_.push_back(what);
}

}  // namespace

std::vector<std::string> checked_openexr_header(const std::filesystem::path& file,
                                                std::uint64_t max_bytes) {
    return header_check(file, max_bytes).lost();
}

}  // namespace focusfall
