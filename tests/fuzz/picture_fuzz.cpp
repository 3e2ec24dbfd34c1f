// Any bytes as a picture: refused by a message that names the file, or loaded, both as an
// input and as a depth map.

#include "pipeline/shots/frame_loader.h"
#include "tests/fuzz/fuzzing.h"

using namespace focusfall;

namespace {

using OIIO::TypeDesc;

constexpr std::uint64_t MAX_BYTES = 1 << 18;

picture_part seed_part(const std::vector<std::string>& channels, TypeDesc type) {
    OIIO::ImageSpec spec(9, 7, static_cast<int>(channels.size()), type);
    spec.channelnames = channels;
    picture_part part = empty_part(spec);
    for (std::size_t i = 0; i < spec.image_bytes(true); ++i) {
        part.pixels[i] = static_cast<std::byte>(i * 7 % 61);
    }
    return part;
}

void write_seeds(const std::filesystem::path& folder) {
    const auto write = [&](const std::string& name, picture_part part) {
        picture parts;
        parts.push_back(std::move(part));
        write_picture(parts, folder / name);
    };
    const std::vector<std::string> rgba{"R", "G", "B", "A"};
    for (const char* compression :
         {"none", "rle", "zip", "piz", "pxr24", "b44", "dwaa"}) {
        picture_part part = seed_part({"R", "G", "B", "A", "Z"}, TypeDesc::HALF);
        part.spec.attribute("compression", compression);
        part.spec.full_x = -3;
        part.spec.full_width = 15;
        write(std::string(compression) + ".exr", std::move(part));
    }
    picture_part tiled = seed_part(rgba, TypeDesc::FLOAT);
    tiled.spec.tile_width = tiled.spec.tile_height = 4;
    tiled.spec.tile_depth = 1;
    write("tiled.exr", std::move(tiled));

    picture parts;
    for (const char* channel : {"Y", "Z"}) {
        parts.push_back(seed_part({channel}, TypeDesc::FLOAT));
        parts.back().spec.attribute("oiio:subimagename", channel);
    }
    write_picture(parts, folder / "parts.exr");

    write("grey.png", seed_part({"Y"}, TypeDesc::UINT16));
    write("color.png", seed_part(rgba, TypeDesc::UINT8));
    write("words.tif", seed_part(rgba, TypeDesc::UINT16));
    write("floats.tif", seed_part({"Y"}, TypeDesc::FLOAT));
    write("color.jpg", seed_part({"R", "G", "B"}, TypeDesc::UINT8));
}

// The ending that belongs to the first bytes; empty for formats that are not ours.
std::string ending_of(std::string_view bytes) {
    if (bytes.starts_with("\x76\x2f\x31\x01")) return ".exr";
    if (bytes.starts_with("\x89PNG")) return ".png";
    if (bytes.starts_with("II") || bytes.starts_with("MM")) return ".tif";
    if (bytes.starts_with("\xff\xd8")) return ".jpg";
    return "";
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
    OIIO::attribute("threads", 1);
    OIIO::attribute("exr_threads", -1);
    const auto folder = corpus_folder(*argc, *argv);
    if (!folder.empty()) write_seeds(folder);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string ending = ending_of({reinterpret_cast<const char*>(data), size});
    if (ending.empty()) return -1;
    const auto file = write_scratch_file(ending, data, size);
    expect_named_errors(file.string(), [&] {
        frame_loader loader({}, MAX_BYTES);
        loader.load(loader.open({file, "", "", "", ""}, false));
    });
    expect_named_errors(file.string(), [&] {
        frame_loader loader({}, MAX_BYTES);
        loader.load(loader.open({file, file, file, "", ""}, true));
    });
    std::filesystem::remove(file);
    return 0;
}
