#include "pipeline/shots/frame_loader.h"

#include <sys/stat.h>

#include <algorithm>
#include <fstream>

#include "tests/pipeline/shots/shot_fixture.h"

using namespace focusfall;

namespace {

using FrameLoader = shot_test;
using OIIO::TypeDesc;

const window DISPLAY{0, 0, 40, 30};

// The colour lies outside the display on one side, the depth on the other.
TEST_F(FrameLoader, OpensHeadersAndThenLoadsWhatTheyPromise) {
    auto color = scene_channels();
    const std::vector<made_channel> depth{color.back()};
    color.pop_back();
    std::vector<picture_part> parts;
    parts.push_back(made_part({-4, 2, 30, 20}, DISPLAY, color));
    parts.push_back(made_part({10, 5, 40, 10}, DISPLAY, depth));
    parts[0].spec.attribute("oiio:subimagename", "colour");
    parts[1].spec.attribute("oiio:subimagename", "depth");
    frame_files files;
    files.input = write("in.exr", parts);

    frame_loader loader({});
    opened_frame opened = loader.open(files, true);
    ASSERT_EQ(opened.input.file.size(), 2U);
    for (const picture_part& part : opened.input.file) EXPECT_FALSE(part.pixels);
    EXPECT_EQ(opened.input.display, DISPLAY);
    EXPECT_EQ(opened.input.area, (window{-4, 0, 54, 30}));
    EXPECT_EQ(opened.input.depth, (channel_place{1, 0}));

    const loaded_frame frame = loader.load(std::move(opened));
    EXPECT_FALSE(frame.depth_map || frame.blur_image);
    ASSERT_EQ(frame.image->Width(), 54);
    ASSERT_EQ(frame.image->Height(), 30);
    const std::vector<float> green = values(parts[0], "G");
    const std::vector<float> z = values(parts[1], "Z");
    for (int y = 0; y < 30; ++y) {
        for (int x = -4; x < 50; ++x) {
            const bool has_color = x < 26 && y >= 2 && y < 22;
            // beside the depth lies that of its border
            const auto nearest = static_cast<std::size_t>(
                (std::clamp(y, 5, 14) - 5) * 40 + std::max(x, 10) - 10);
            const float* pixel = frame.image->Pixel(x + 4, y);
            ASSERT_EQ(pixel[Image::ALPHA], has_color ? 1.0F : 0.0F) << x << " " << y;
            ASSERT_EQ(
                pixel[Image::GREEN],
                has_color ? green[static_cast<std::size_t>((y - 2) * 30 + x + 4)] : 0.0F);
            ASSERT_EQ(pixel[Image::Z], z[nearest]);
        }
    }
}

TEST_F(FrameLoader, ReadsAStillOnceForTheFramesThatItServes) {
    frame_files files;
    files.input = write_scene("in.exr", DISPLAY, DISPLAY);
    files.depth_map =
        write("map.exr", made_part(DISPLAY, DISPLAY, {scene_channels().back()}));
    files.blur_image = write_scene("shape.exr", {0, 0, 9, 7}, {0, 0, 9, 7});
    frame_loader loader({});
    opened_frame opened = loader.open(files, true);
    EXPECT_TRUE(opened.depth_map_reader && opened.blur_image_reader);
    EXPECT_EQ(opened.blur_image_area, (window{0, 0, 9, 7}));
    const loaded_frame first = loader.load(std::move(opened));

    std::filesystem::remove(files.depth_map);
    std::filesystem::remove(files.blur_image);
    opened_frame again = loader.open(files, true);
    EXPECT_EQ(again.blur_image_area, (window{0, 0, 9, 7}));
    const loaded_frame second = loader.load(std::move(again));
    EXPECT_EQ(second.depth_map.get(), first.depth_map.get());
    EXPECT_EQ(second.blur_image.get(), first.blur_image.get());

    // a frame elsewhere needs other pixels of the map
    files.input = write_scene("moved.exr", {-3, 0, 40, 30}, DISPLAY);
    EXPECT_NE(error_of([&] { loader.open(files, true); }).find("map.exr: "),
              std::string::npos);
}

// It may fill less of the display window than the input, and need not have a window.
TEST_F(FrameLoader, ReadsTheBackgroundAsTheInputIsRead) {
    frame_files files;
    files.input = write_scene("in.exr", {-4, 0, 44, 30}, DISPLAY);
    std::vector<made_channel> channels;
    for (const made_channel& channel : scene_channels(5))
        channels.push_back({"wall." + channel.name, channel.type, channel.value});
    std::vector<picture_part> parts;
    parts.push_back(made_part({10, 5, 20, 10}, DISPLAY, channels));
    files.background = write("wall.exr", parts);
    write("plain.exr", made_part(DISPLAY, DISPLAY, scene_channels()));

    frame_loader loader({});
    const loaded_frame frame = loader.load(loader.open(files, true));
    ASSERT_EQ(frame.backgrounds.size(), 1U);
    const Image& image = *frame.backgrounds[0];
    ASSERT_EQ(image.Width(), frame.image->Width());
    ASSERT_EQ(image.Height(), frame.image->Height());
    const std::vector<float> green = values(parts[0], "wall.G");
    const std::vector<float> z = values(parts[0], "wall.Z");
    for (int y = 0; y < 30; ++y) {
        for (int x = -4; x < 40; ++x) {
            const bool inside = x >= 10 && x < 30 && y >= 5 && y < 15;
            const auto i = static_cast<std::size_t>((y - 5) * 20 + x - 10);
            const float* pixel = image.Pixel(x + 4, y);
            ASSERT_EQ(pixel[Image::ALPHA], inside ? 1.0F : 0.0F) << x << " " << y;
            ASSERT_EQ(pixel[Image::GREEN], inside ? green[i] : 0.0F);
            ASSERT_EQ(pixel[Image::Z], inside ? z[i] : 0.0F);
        }
    }

    // it serves other frames of the shot, but not those with other windows
    std::filesystem::remove(files.background);
    EXPECT_EQ(loader.load(loader.open(files, true)).backgrounds[0].get(), &image);
    files.input = path("plain.exr");
    EXPECT_NE(error_of([&] { loader.open(files, true); }).find("wall.exr: "),
              std::string::npos);
}

TEST_F(FrameLoader, RefusesABackgroundThatDoesNotFit) {
    auto flat = scene_channels();
    flat.pop_back();
    write("flat.exr", made_part(DISPLAY, DISPLAY, flat));
    write_scene("small.exr", {0, 0, 40, 29}, {0, 0, 40, 29});
    frame_files files;
    files.input = write_scene("in.exr", DISPLAY, DISPLAY);
    const std::pair<const char*, const char*> cases[] = {
        {"flat.exr", "--chappend"},
        {"small.exr", "small.exr: is 40 x 29, the input is 40 x 30"},
        {"none.exr", "none.exr: there is no such file"}};
    for (const auto& [name, told] : cases) {
        files.background = path(name);
        const std::string error = error_of([&] { frame_loader({}).open(files, true); });
        EXPECT_NE(error.find(told), error.npos) << error;
    }
    // a name is that of a channel of the depth map, if there is one
    load_choices choices;
    choices.depth_channel = "Z";
    files.depth_map = path("in.exr");
    files.background = path("in.exr");
    EXPECT_NO_THROW(frame_loader(choices).open(files, true));
}

TEST_F(FrameLoader, NamesTheFileThatItRefuses) {
    auto flat = scene_channels();
    flat.pop_back();
    write("flat.exr", made_part(DISPLAY, DISPLAY, flat));
    write_scene("in.exr", DISPLAY, DISPLAY);
    write_scene("far.exr", {0, 0, 4, 4}, {200'000'000, 0, 4, 4});
    std::filesystem::create_directory(path("folder.exr"));
    mkfifo(path("pipe.exr").c_str(), 0600);
    std::ofstream(path("empty.exr")).flush();
    std::ofstream(path("text.png")) << "not a picture";
    const struct {
        const char *input, *depth_map, *blur_image;
        std::vector<std::string> told;
    } cases[] = {{"flat.exr", "", "", {"flat.exr: ", "--depth-map", "BlurChannel"}},
                 {"none.exr", "", "", {"none.exr: there is no such file"}},
                 {"pipe.exr", "", "", {"pipe.exr: "}},
                 {"folder.exr", "", "", {"folder.exr: ", "folder"}},
                 {"empty.exr", "", "", {"empty.exr: "}},
                 {"text.png", "", "", {"text.png: "}},
                 {"far.exr", "", "", {"far.exr: ", "more than the memory holds"}},
                 {"in.exr", "flat.exr", "", {"flat.exr: ", "--depth-channel"}},
                 {"in.exr", "none.exr", "", {"none.exr: "}},
                 {"in.exr", "", "none.png", {"none.png: "}}};
    for (const auto& [input, depth_map, blur_image, told] : cases) {
        frame_files files;
        files.input = path(input);
        if (*depth_map) files.depth_map = path(depth_map);
        if (*blur_image) files.blur_image = path(blur_image);
        const std::string error =
            error_of([&] { frame_loader({}, 1 << 20).open(files, true); });
        for (const std::string& text : told) {
            EXPECT_NE(error.find(text), error.npos) << text << ": " << error;
        }
    }
    // the depth may be missing where none is needed
    frame_files files;
    files.input = path("flat.exr");
    EXPECT_FALSE(frame_loader({}).open(files, false).input.depth);
}

}  // namespace
