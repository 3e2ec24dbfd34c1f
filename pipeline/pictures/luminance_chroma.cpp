#include "pipeline/pictures/luminance_chroma.h"

#include <cstring>
#include <exception>
#include <map>
#include <new>
#include <utility>

#include <ImfChannelList.h>
#include <ImfFrameBuffer.h>
#include <ImfHeader.h>
#include <ImfIO.h>
#include <ImfInputFile.h>
#include <ImfOutputFile.h>
#include <ImfRgbaFile.h>

#include "host/error.h"

namespace focusfall {

namespace {

namespace fs = std::filesystem;
namespace exr = OPENEXR_IMF_NAMESPACE;
using headless::host_error;
using box = IMATH_NAMESPACE::Box2i;

bool is_luminance_or_chroma(const std::string& name) {
    return name == "Y" || name == "RY" || name == "BY";
}

bool has_small_chroma_only(const exr::ChannelList& channels) {
    bool has_small = false;
    for (auto i = channels.begin(); i != channels.end(); ++i) {
        const std::string name = i.name();
        if (i.channel().xSampling == 1 && i.channel().ySampling == 1) continue;
        if (name != "RY" && name != "BY") return false;
        has_small = true;
    }
    return has_small && channels.findChannel("Y") && channels.findChannel("RY") &&
           channels.findChannel("BY");
}

// A file in memory, for the OpenEXR library to write.
class memory_stream final : public exr::OStream {
  public:
    memory_stream() : OStream("memory") {}

    void write(const char* bytes, int count) override {
        const auto size = static_cast<std::size_t>(count);
        if (bytes_.size() < place_ + size) bytes_.resize(place_ + size);
        std::memcpy(bytes_.data() + place_, bytes, size);
        place_ += size;
    }
    std::uint64_t tellp() override { return place_; }
    void seekp(std::uint64_t place) override { place_ = place; }

    std::vector<unsigned char> taken() { return std::move(bytes_); }

  private:
    std::vector<unsigned char> bytes_;
    std::size_t place_ = 0;
};

std::size_t length(int first, int last) {
    return static_cast<std::size_t>(std::int64_t{last} - first + 1);
}
std::size_t width_of(const box& data) { return length(data.min.x, data.max.x); }
std::size_t pixels_of(const box& data) {
    return width_of(data) * length(data.min.y, data.max.y);
}

// Where the library finds a channel of pixels of that many bytes each.
exr::Slice slice(exr::PixelType type, const void* first, const box& data,
                 std::size_t pixel_bytes) {
    return exr::Slice::Make(type, first, data, pixel_bytes, pixel_bytes * width_of(data));
}

std::size_t bytes_of(exr::PixelType type) { return type == exr::HALF ? 2 : 4; }

exr::Compression lossless(exr::Compression compression) {
    switch (compression) {
        case exr::B44_COMPRESSION:
        case exr::B44A_COMPRESSION:
        case exr::DWAA_COMPRESSION:
        case exr::DWAB_COMPRESSION: return exr::ZIP_COMPRESSION;
        default: return compression;
    }
}

// The pixels of the new file, and where the library finds them.
struct rgb_pixels {
    exr::ChannelList channels;
    exr::FrameBuffer places;
    std::vector<exr::Rgba> colors;
    std::map<std::string, std::vector<char>> others;  // by channel
};

void read_colors(const std::string& file, const box& data, rgb_pixels& pixels) {
    pixels.colors.resize(pixels_of(data));
    exr::RgbaInputFile input(file.c_str());
    input.setFrameBuffer(exr::ComputeBasePointer(pixels.colors.data(), data), 1,
                         width_of(data));
    input.readPixels(data.min.y, data.max.y);
    const std::pair<const char*, half exr::Rgba::*> members[] = {
        {"R", &exr::Rgba::r}, {"G", &exr::Rgba::g}, {"B", &exr::Rgba::b}};
    for (const auto& [name, member] : members) {
        pixels.channels.insert(name, exr::Channel(exr::HALF));
        pixels.places.insert(name, slice(exr::HALF, &(pixels.colors[0].*member), data,
                                         sizeof pixels.colors[0]));
    }
}

// All channels besides luminance and chroma, as they are.
void read_others(exr::InputFile& input, const box& data, rgb_pixels& pixels) {
    exr::FrameBuffer read;
    const exr::ChannelList& stored = input.header().channels();
    for (auto i = stored.begin(); i != stored.end(); ++i) {
        if (is_luminance_or_chroma(i.name())) continue;
        const exr::PixelType type = i.channel().type;
        std::vector<char>& plane = pixels.others[i.name()];
        plane.resize(pixels_of(data) * bytes_of(type));
        const exr::Slice place = slice(type, plane.data(), data, bytes_of(type));
        read.insert(i.name(), place);
        pixels.places.insert(i.name(), place);
        pixels.channels.insert(i.name(), i.channel());
    }
    if (pixels.others.empty()) return;
    input.setFrameBuffer(read);
    input.readPixels(data.min.y, data.max.y);
}

// Pixels in memory, and the file made of them, which may be as large.
void check_memory(const exr::ChannelList& stored, const box& data,
                  std::uint64_t max_bytes) {
    std::size_t pixel_bytes = sizeof(exr::Rgba);
    for (auto i = stored.begin(); i != stored.end(); ++i) {
        pixel_bytes += bytes_of(i.channel().type);
    }
    if (pixels_of(data) <= max_bytes / 2 / pixel_bytes) return;
    throw host_error("takes more than the memory holds");
}

std::vector<unsigned char> rgb_file(const std::string& file, std::uint64_t max_bytes) {
    exr::InputFile input(file.c_str());
    exr::Header header = input.header();
    const box data = header.dataWindow();
    check_memory(header.channels(), data, max_bytes);

    rgb_pixels pixels;
    read_colors(file, data, pixels);
    read_others(input, data, pixels);

    header.channels() = pixels.channels;
    header.compression() = lossless(header.compression());
    header.lineOrder() = exr::INCREASING_Y;
    memory_stream stream;
    {
        exr::OutputFile output(stream, header);
        output.setFrameBuffer(pixels.places);
        output.writePixels(data.max.y - data.min.y + 1);
    }  // which completes the file
    return stream.taken();
}

}  // namespace

bool is_luminance_chroma(const fs::path& file) {
    try {
        const exr::InputFile input(file.c_str());
        return has_small_chroma_only(input.header().channels());
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception&) {
        return false;
    }
}

std::vector<unsigned char> as_rgb_file(const fs::path& file, std::uint64_t max_bytes) {
    try {
        return rgb_file(file.string(), max_bytes);
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception& error) {
        const std::string what = error.what();
        throw host_error(file.string() + ": " + what.substr(0, what.find('\n')));
    }
}

}  // namespace focusfall
