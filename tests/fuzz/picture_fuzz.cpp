// Any bytes as a picture: refused by a message that names the file, or loaded, both as an
// input and as a depth map, inspected, and asked for the record of its render.

#include <cmath>
#include <memory>

#include <OpenImageIO/deepdata.h>

#include "pipeline/inspection/pixel_report.h"
#include "pipeline/inspection/report_text.h"
#include "pipeline/session/session.h"
#include "pipeline/shots/frame_loader.h"
#include "pipeline/shots/shot_record.h"
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

// Pixels with no sample, one, two and so on; those of all with the same depths.
void write_deep_seed(const std::filesystem::path& file) {
    OIIO::ImageSpec spec(5, 4, 3, TypeDesc::FLOAT);
    spec.channelnames = {"Y", "A", "Z"};
    spec.alpha_channel = 1;
    spec.z_channel = 2;
    spec.deep = true;
    OIIO::DeepData samples(spec);
    for (std::int64_t i = 0; i < samples.pixels(); ++i) {
        samples.set_samples(i, static_cast<int>(i) % 4);
        for (int s = 0; s < samples.samples(i); ++s) {
            samples.set_deep_value(i, 0, s, 0.25F * static_cast<float>(s));
            samples.set_deep_value(i, 1, s, 0.5F);
            samples.set_deep_value(i, 2, s, 3.0F + static_cast<float>(s));
        }
    }
    const auto output = OIIO::ImageOutput::create(file.string());
    expect(output->open(file.string(), spec) && output->write_deep_image(samples) &&
               output->close(),
           "the deep seed cannot be written");
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

    picture_part rendered = seed_part({"R", "G", "B", "depth.Z"}, TypeDesc::HALF);
    rendered.spec.attribute("focusfall",
                            R"({"tool": "x", "version": "1", "read": {}, "write": {},)"
                            R"( "input": {"file": "/in.exr"}, "settings": {}})");
    rendered.spec.attribute("focalLength", 35.0F);
    write("rendered.exr", std::move(rendered));
    write_deep_seed(folder / "deep.exr");

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

// With a tool that asks for depth, and reads of a deep picture what lies behind.
void check_frame(const std::filesystem::path& file) {
    static session opened([] {
        session_options options;
        options.plugins = {PLUGIN_FILE};
        options.threads = 1;
        return options;
    }());
    static const std::unique_ptr<headless::tool> tool = opened.create_tool();
    expect_named_errors(file.string(), [&] {
        frame_loader loader({}, MAX_BYTES);
        opened_frame frame = loader.open({.input = file}, false);
        frame.splits_deep = is_splittable(frame);
        loader.load(std::move(frame));
    });
    expect_named_errors(file.string(), [&] {
        frame_loader loader({}, MAX_BYTES);
        loader.load(
            loader.open({.input = file, .depth_map = file, .blur_image = file}, true));
    });
    expect_named_errors(file.string(), [&] {
        frame_loader loader({}, MAX_BYTES);
        const frame_probe probe(loader, {}, {.input = file}, *tool, 0, false);
        json_of(probe.at(0, 0)).dump();
        probe.depth_around(0, 0);
    });
}

// A depth that is found must be told in finite numbers, or JSON could not hold them.
void check_report(const std::filesystem::path& file) {
    expect_named_errors(file.string(), [&] {
        const picture_report report =
            inspected(read_picture(file, MAX_BYTES), file.string(), {});
        expect(!shown(report).empty(), "a report is empty");
        for (const depth_report& depth : report.depths) {
            const depth_statistics& found = depth.statistics;
            expect(!found.has_depth() || std::isfinite(found.median), depth.name);
        }
        json_of(report).dump(-1, ' ', false, json_record::error_handler_t::replace);
    });
    expect_named_errors(file.string(), [&] { render_recorded_in(file, {}); });
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
    check_frame(file);
    check_report(file);
    std::filesystem::remove(file);
    return 0;
}
