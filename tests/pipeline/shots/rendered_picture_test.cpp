// What arrives of a picture in the output.

#include <cmath>
#include <cstring>
#include <fstream>
#include <sstream>

#include "tests/pipeline/shots/shot_fixture.h"

using namespace focusfall;

namespace {

using OIIO::TypeDesc;
using RenderedPicture = shot_test;

const window DISPLAY{0, 0, 60, 40};

double ramp(int x, int /*y*/) { return x / 59.0; }

std::vector<made_channel> scene_with_extras() {
    std::vector<made_channel> channels = scene_channels();
    channels[4].type = TypeDesc::HALF;
    channels.push_back(
        {"id", TypeDesc::UINT, [](int x, int y) { return x * 1e-3 + y * 1e-4; }});
    channels.push_back({"left.R", TypeDesc::HALF, ramp});
    channels.push_back({"motion.u", TypeDesc::FLOAT, [](int x, int y) {
                            return x == 5 ? NAN : y == 9 ? INFINITY : x - y / 3.0;
                        }});
    return channels;
}

// The header of a result but for the data window: all as it was, depth in float.
void expect_same_header(const OIIO::ImageSpec& out, const OIIO::ImageSpec& in) {
    EXPECT_EQ(out.channelnames, in.channelnames);
    const int z = out.channelindex("Z");
    for (int i = 0; i < out.nchannels; ++i) {
        EXPECT_EQ(out.channelformat(i),
                  i == z ? TypeDesc(TypeDesc::FLOAT) : in.channelformat(i));
    }
    EXPECT_EQ(display_window(out), display_window(in));
    for (const char* name : {"compression", "PixelAspectRatio", "Copyright",
                             "captureDate", "smpte:TimeCode", "screenWindowWidth"}) {
        EXPECT_TRUE(in.find_attribute(name)) << name;
        EXPECT_EQ(out[name].get(), in[name].get()) << name;
    }
    EXPECT_EQ(out.tile_width, in.tile_width);
    EXPECT_EQ(out.tile_height, in.tile_height);
}

std::string number(std::int32_t value) {
    return {reinterpret_cast<const char*>(&value), sizeof value};
}

// An attribute as OpenEXR stores it.
std::string attribute(const char* name, const char* type, const std::string& value) {
    const std::string zero(1, '\0');
    return name + zero + type + zero + number(static_cast<std::int32_t>(value.size())) +
           value;
}

// An uncompressed OpenEXR file of 4 x 3 pixels with channels R, G, B and Z and these
// attributes besides, which the library for picture files could not write.
std::string bytes_of_picture(const std::string& attributes) {
    constexpr std::int32_t WIDTH = 4, HEIGHT = 3, LINE = WIDTH * 4 * 4;
    std::string channels;
    for (const char* name : {"B", "G", "R", "Z"}) {
        channels +=
            name + std::string(1, '\0') + number(2) + number(0) + number(1) + number(1);
    }
    const std::string window =
        number(0) + number(0) + number(WIDTH - 1) + number(HEIGHT - 1);
    const std::string one = number(0x3f800000);  // as a float
    std::string file = number(20000630) + number(2) +
                       attribute("channels", "chlist", channels + std::string(1, '\0')) +
                       attribute("compression", "compression", std::string(1, '\0')) +
                       attribute("dataWindow", "box2i", window) +
                       attribute("displayWindow", "box2i", window) +
                       attribute("lineOrder", "lineOrder", std::string(1, '\0')) +
                       attribute("pixelAspectRatio", "float", one) +
                       attribute("screenWindowCenter", "v2f", number(0) + number(0)) +
                       attribute("screenWindowWidth", "float", one) + attributes +
                       std::string(1, '\0');
    const auto pixels = static_cast<std::int32_t>(file.size()) + HEIGHT * 8;
    for (std::int32_t y = 0; y < HEIGHT; ++y) {
        file += number(pixels + y * (LINE + 8)) + number(0);
    }
    for (std::int32_t y = 0; y < HEIGHT; ++y) {
        file += number(y) + number(LINE) + std::string(LINE, '\0');
    }
    return file;
}

}  // namespace

TEST_F(RenderedPicture, KeepsEveryOtherChannelBitForBitWithTheHeader) {
    const window data{10, -3, 45, 30};
    for (const std::string compression : {"piz", "dwaa", "b44"}) {
        picture_part part = made_part(data, DISPLAY, scene_with_extras());
        part.spec.attribute("compression", compression);
        part.spec.attribute("PixelAspectRatio", 1.5F);
        part.spec.attribute("Copyright", "the studio");
        part.spec.attribute("captureDate", "2026:01:02 03:04:05");
        const int time_code[2] = {0x01234567, 0};
        part.spec.attribute("smpte:TimeCode", OIIO::TypeTimeCode, time_code);
        part.spec.tile_width = 16;
        part.spec.tile_height = 8;
        write("in.exr", std::move(part));

        tool->set("MaxBlurSize", 8);
        tool->set("FocusPosition", 300);
        const picture out = rendered("in.exr", "out.exr");
        picture in = read_picture(path("in.exr"));
        ASSERT_EQ(out.size(), 1U);
        for (const char* name : {"id", "left.R", "motion.u"}) {
            EXPECT_EQ(stored(out[0], name, data), stored(in[0], name, data))
                << name << ", " << compression;
        }
        const bool lossy = compression != "piz";
        ASSERT_EQ(noted.size(), lossy ? 1U : 0U);
        if (lossy) {
            EXPECT_NE(noted[0].find(compression), std::string::npos) << noted[0];
        }
        if (lossy) in[0].spec.attribute("compression", "zip");
        expect_same_header(out[0].spec, in[0].spec);
        // 2.4 pixels of blur around the old one, and a pixel for what rounding adds
        EXPECT_EQ(data_window(out[0].spec), (window{6, -3, 53, 34}));
    }
}

TEST_F(RenderedPicture, OfAnEnvironmentStaysOne) {
    const std::pair<const char*, window> maps[] = {
        {"CubeFace Environment", {0, 0, 16, 96}},
        {"LatLong Environment", {0, 0, 64, 32}}};
    for (const auto& [kind, windows] : maps) {
        for (const int tile : {0, 16}) {
            SCOPED_TRACE(kind + std::to_string(tile));
            picture_part part = made_part(windows, windows, scene_channels());
            part.spec.attribute("textureformat", kind);
            part.spec.attribute("openexr:levelmode", 0);
            part.spec.tile_width = part.spec.tile_height = tile;
            write("in.exr", std::move(part));
            tool->set("MaxBlurSize", 20);
            const picture out = rendered("in.exr", "out.exr");
            EXPECT_EQ(out[0].spec.get_string_attribute("textureformat"), kind);
            EXPECT_EQ(data_window(out[0].spec), windows);
            EXPECT_EQ(display_window(out[0].spec), windows);
            EXPECT_EQ(out[0].spec.tile_width, tile);
            const std::ifstream file(path("out.exr"), std::ios::binary);
            std::ostringstream bytes;
            bytes << file.rdbuf();
            EXPECT_EQ(bytes.str().find("levelmode"), std::string::npos)
                << "the writer's own";
        }
    }
}

// What the library for picture files passes over is told, and a date is not made up.
TEST_F(RenderedPicture, TellsWhatOfTheHeaderItCannotKeep) {
    const std::string bytes = bytes_of_picture(
        attribute("preview", "preview", number(1) + number(1) + "rgba") +
        attribute("studio", "studiotype", "abcd") + attribute("note", "string", "kept"));
    std::ofstream(path("in.exr"), std::ios::binary) << bytes;
    const picture out = rendered("in.exr", "out.exr");
    ASSERT_FALSE(noted.empty());
    EXPECT_EQ(noted.back(),
              "out.exr: does not keep the preview picture, the attribute \"studio\"");
    EXPECT_EQ(out[0].spec.get_string_attribute("note"), "kept");
    EXPECT_FALSE(out[0].spec.find_attribute("DateTime"));
}

TEST_F(RenderedPicture, IsUntouchedWithoutBlur) {
    write("in.exr", made_part(DISPLAY, DISPLAY, scene_with_extras()));
    const picture in = read_picture(path("in.exr"));
    tool->set("MaxBlurSize", 0);
    const picture out = rendered("in.exr", "out.exr");
    for (const std::string& name : in[0].spec.channelnames) {
        if (name == "Z") continue;
        EXPECT_EQ(stored(out[0], name, DISPLAY), stored(in[0], name, DISPLAY)) << name;
    }
    EXPECT_EQ(values(out[0], "Z"), values(in[0], "Z"));
}

// The display is a third as wide as the overscan: blur that counted in the whole width
// would be three times as large.
TEST_F(RenderedPicture, OfSeveralPartsKeepsThem) {
    auto color = scene_channels();
    const std::vector<made_channel> depth{color.back()};
    color.pop_back();
    std::vector<picture_part> parts;
    parts.push_back(
        made_part({3, 4, 20, 10}, DISPLAY, {{"mask", TypeDesc::FLOAT, ramp}}));
    parts.push_back(made_part({0, 0, 60, 45}, DISPLAY, depth));
    parts.push_back(made_part({2, 2, 50, 30}, DISPLAY, color));
    for (int i = 0; i < 3; ++i) {
        parts[static_cast<std::size_t>(i)].spec.attribute("oiio:subimagename",
                                                          "part" + std::to_string(i));
    }
    write("in.exr", parts);

    const picture in = read_picture(path("in.exr"));
    const picture out = rendered("in.exr", "out.exr");
    ASSERT_EQ(out.size(), 3U);
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(out[i].spec.channelnames, in[i].spec.channelnames);
        EXPECT_EQ(out[i].spec.get_string_attribute("oiio:subimagename"),
                  "part" + std::to_string(i));
    }
    EXPECT_EQ(data_window(out[0].spec), (window{3, 4, 20, 10}));
    EXPECT_EQ(values(out[0], "mask"), values(in[0], "mask"));
    EXPECT_EQ(values(out[1], "Z"), values(in[1], "Z"));
    EXPECT_EQ(data_window(out[2].spec), (window{0, 0, 60, 45}));
}

TEST_F(RenderedPicture, ForDisplayIsLinearisedAndEncodedAgain) {
    picture_part part = made_part(
        DISPLAY, DISPLAY,
        {{"R", TypeDesc::UINT8, ramp},
         {"G", TypeDesc::UINT8, [](int, int) { return 128.0 / 255.0; }},
         {"B", TypeDesc::UINT8, [](int, int y) { return y / 39.0; }},
         {"A", TypeDesc::UINT8, [](int x, int y) { return (x + y + 1) / 100.0; }}});
    part.spec.attribute("oiio:UnassociatedAlpha", 1);
    write("in.png", std::move(part));
    const picture in = read_picture(path("in.png"));
    tool->set("MaxBlurSize", 0);
    tool->set("BlurChannel", "Red");
    for (const char* output : {"out.png", "out.tif"}) {
        const picture out = rendered("in.png", output);
        for (const char* name : {"R", "G", "B", "A"}) {
            EXPECT_EQ(stored(out[0], name, DISPLAY), stored(in[0], name, DISPLAY))
                << output << " " << name;
        }
    }
    // the middle grey of sRGB is light of 0.2159 (IEC 61966-2-1:1999), times alpha
    const picture linear = rendered("in.png", "out.exr");
    const std::vector<float> green = values(linear[0], "G");
    const std::vector<float> alpha = values(linear[0], "A");
    for (std::size_t i = 0; i < green.size(); ++i) {
        ASSERT_NEAR(green[i], 0.2159F * alpha[i], 2e-4F) << "pixel " << i;
    }
}

TEST_F(RenderedPicture, IsWrittenAsTheOptionsAsk) {
    write_scene("in.exr", DISPLAY, DISPLAY);
    shot_options options = shot("in.exr", "out.exr");
    options.output_as.type = TypeDesc::FLOAT;
    options.output_as.compression = "rle";
    options.preview = path("preview.png");
    const picture out = rendered(options);
    EXPECT_EQ(out[0].spec.format, TypeDesc::FLOAT);
    EXPECT_TRUE(out[0].spec.channelformats.empty());
    EXPECT_EQ(out[0].spec.get_string_attribute("compression"), "rle");
    const picture preview = read_picture(options.preview);
    EXPECT_EQ(preview[0].spec.format, TypeDesc::UINT8);
    EXPECT_EQ(data_window(preview[0].spec), DISPLAY);

    // a light on transparent film keeps its brightness where it is looked at
    write("light.exr", made_part(DISPLAY, DISPLAY,
                                 {{"R", TypeDesc::HALF, [](int, int) { return 1.0; }},
                                  {"G", TypeDesc::HALF, [](int, int) { return 1.0; }},
                                  {"B", TypeDesc::HALF, [](int, int) { return 1.0; }},
                                  {"A", TypeDesc::HALF, [](int, int) { return 0.1; }},
                                  {"Z", TypeDesc::FLOAT, ramp}}));
    options.input = path("light.exr");
    tool->set("MaxBlurSize", 0);
    rendered(options);
    const picture light = read_picture(options.preview);
    EXPECT_EQ(light[0].spec.nchannels, 3);
    EXPECT_EQ(values(light[0], "R").front(), 1.0F);

    options.output = path("bytes.png");
    rendered(options);
    EXPECT_EQ(noted.back(), "bytes.png: holds whole numbers, not float");

    write("grey.tif", made_part(DISPLAY, DISPLAY, {{"Y", TypeDesc::UINT16, ramp}}));
    tool->set("MaxBlurSize", 0);
    tool->set("BlurChannel", "Green");
    const picture grey = rendered("grey.tif", "grey.png");
    EXPECT_EQ(grey[0].spec.nchannels, 1);
    EXPECT_EQ(values(grey[0], grey[0].spec.channelnames[0]),
              values(read_picture(path("grey.tif"))[0], "Y"));

    const picture lossy = rendered("grey.tif", "grey.jpg");
    for (int i = 0;
         const float grey_value : values(lossy[0], lossy[0].spec.channelnames[0])) {
        ASSERT_NEAR(grey_value, ramp(i % 60, 0), 0.05) << "pixel " << i;
        ++i;
    }
}
