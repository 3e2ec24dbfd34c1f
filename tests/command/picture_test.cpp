// What of a picture arrives in the output.

#include <cmath>
#include <cstring>

#include "tests/command/command_fixture.h"

namespace {

using OIIO::TypeDesc;
using pictures = command_test;

const window DISPLAY{0, 0, 60, 40};

std::vector<picture_part> parts_of(picture_part part) {
    std::vector<picture_part> parts;
    parts.push_back(std::move(part));
    return parts;
}

// Largest difference of two channels over `area`, by the size of the larger value.
double difference(const picture_part& a, const picture_part& b,
                  const std::string& channel, const window& area) {
    const std::vector<float> of_a = values(a, channel);
    const std::vector<float> of_b = values(b, channel);
    double largest = 0.0;
    for (std::int64_t y = area.y; y < area.y + area.height; ++y) {
        for (std::int64_t x = area.x; x < area.x + area.width; ++x) {
            const auto at = [&](const picture_part& part, const std::vector<float>& all) {
                return static_cast<double>(all[static_cast<std::size_t>(
                    (y - part.spec.y) * part.spec.width + x - part.spec.x)]);
            };
            const double va = at(a, of_a);
            const double vb = at(b, of_b);
            largest = std::max(largest, std::abs(va - vb) /
                                            std::max({std::abs(va), std::abs(vb), 1e-3}));
        }
    }
    return largest;
}

std::vector<made_channel> scene_with_extras() {
    std::vector<made_channel> channels = scene_channels();
    channels[4].type = TypeDesc::HALF;
    channels.push_back(
        {"id", TypeDesc::UINT, [](int x, int y) { return x * 1e-3 + y * 1e-4; }});
    channels.push_back({"left.R", TypeDesc::HALF, [](int x, int) { return x / 7.0; }});
    channels.push_back({"motion.u", TypeDesc::FLOAT, [](int x, int y) {
                            return x == 5 ? NAN : y == 9 ? INFINITY : x - y / 3.0;
                        }});
    return channels;
}

// The header of a result but for the data window: all as it was, depth in float.
void expect_same_header(const OIIO::ImageSpec& out, const OIIO::ImageSpec& in) {
    EXPECT_EQ(out.channelnames, in.channelnames);
    for (int i = 0; i < out.nchannels; ++i) {
        const bool depth = out.channelnames[static_cast<std::size_t>(i)] == "Z";
        EXPECT_EQ(out.channelformat(i),
                  depth ? TypeDesc(TypeDesc::FLOAT) : in.channelformat(i));
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

}  // namespace

TEST_F(pictures, KeepEveryOtherChannelBitForBitWithTheHeader) {
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
        write("in.exr", parts_of(std::move(part)));

        const run_result ran =
            run({"render", "in.exr", "-o", "out.exr", "--set", "MaxBlurSize=8"});
        ASSERT_EQ(ran.status, 0) << ran.errors;
        picture in = read_picture(path("in.exr"));
        const picture out = read_picture(path("out.exr"));
        ASSERT_EQ(out.size(), 1U);
        for (const char* name : {"id", "left.R", "motion.u"}) {
            EXPECT_EQ(stored(out[0], name, data), stored(in[0], name, data))
                << name << ", " << compression;
        }
        const bool lossy = compression != "piz";
        EXPECT_EQ(ran.errors.find(compression) != std::string::npos, lossy) << ran.errors;
        if (lossy) in[0].spec.attribute("compression", "zip");
        expect_same_header(out[0].spec, in[0].spec);
        EXPECT_EQ(data_window(out[0].spec), (window{0, -3, 60, 43}));
        const std::string record = out[0].spec.get_string_attribute("focusfall");
        EXPECT_NE(record.find("Focusfall "), std::string::npos) << record;
        EXPECT_TRUE(record.ends_with("; MaxBlurSize=8")) << record;
    }
}

TEST_F(pictures, AreUntouchedWithoutBlurAndGetTheDepthInFloat) {
    write("in.exr", parts_of(made_part(DISPLAY, DISPLAY, scene_with_extras())));
    ASSERT_EQ(run({"render", "in.exr", "-o", "out.exr", "--set", "MaxBlurSize=0"}).status,
              0);
    const picture in = read_picture(path("in.exr"));
    const picture out = read_picture(path("out.exr"));
    for (const std::string& name : in[0].spec.channelnames) {
        if (name == "Z") continue;
        EXPECT_EQ(stored(out[0], name, DISPLAY), stored(in[0], name, DISPLAY)) << name;
    }
    EXPECT_EQ(values(out[0], "Z"), values(in[0], "Z"));
}

// The display is a third as wide as the overscan: blur that counted in the whole width
// would be three times as large.
TEST_F(pictures, BlurByTheDisplayWindowWhateverTheOverscan) {
    const window overscan{-60, -40, 180, 120};
    write_scene("plain.exr", DISPLAY, DISPLAY);
    write_scene("wide.exr", overscan, DISPLAY);
    const std::vector<std::vector<std::string>> modes{
        {"--set", "MaxBlurSize=7", "--set", "FocusPosition=30"},
        {"--set", "SettingsType=Advanced", "--set", "FocusPosition=100", "--set",
         "FilmbackWidth=20", "--set", "FStop=22", "--set", "FocalLength=50"}};
    for (const auto& mode : modes) {
        for (const std::string name : {"plain", "wide"}) {
            std::vector<std::string> line{"render",          name + ".exr", "-o",
                                          name + ".out.exr", "--data-type", "float"};
            line.insert(line.end(), mode.begin(), mode.end());
            const run_result ran = run(line);
            ASSERT_EQ(ran.status, 0) << ran.errors;
        }
        const picture plain = read_picture(path("plain.out.exr"));
        const picture wide = read_picture(path("wide.out.exr"));
        EXPECT_EQ(data_window(wide[0].spec), overscan);
        EXPECT_EQ(display_window(wide[0].spec), DISPLAY);
        const window inner{10, 10, 40, 20};  // beyond the reach of what lies outside
        for (const char* name : {"R", "B", "A"}) {
            EXPECT_LT(difference(plain[0], wide[0], name, inner), 1e-4) << name;
        }
        EXPECT_GT(difference(plain[0], read_picture(path("plain.exr"))[0], "R", inner),
                  0.1);
    }
}

TEST_F(pictures, PlaceADepthMapByItsCoordinates) {
    const window data{10, 5, 30, 20};
    write_scene("in.exr", data, DISPLAY);
    auto channels = scene_channels();
    const std::vector<made_channel> depth{channels.back()};
    channels.pop_back();
    write("flat.exr", parts_of(made_part(data, DISPLAY, channels)));
    write("map.exr", parts_of(made_part({-5, 0, 80, 60}, DISPLAY, depth)));
    write("small.exr", parts_of(made_part({0, 0, 60, 30}, {0, 0, 60, 30}, depth)));

    const std::vector<std::string> set{"--set", "MaxBlurSize=6", "--set",
                                       "FocusPosition=300"};
    const auto render = [&](std::vector<std::string> line) {
        line.insert(line.begin(), "render");
        line.insert(line.end(), set.begin(), set.end());
        return run(line);
    };
    ASSERT_EQ(render({"in.exr", "-o", "one.exr"}).status, 0);
    ASSERT_EQ(render({"flat.exr", "--depth-map", "map.exr", "-o", "two.exr"}).status, 0);
    const picture one = read_picture(path("one.exr"));
    const picture two = read_picture(path("two.exr"));
    EXPECT_EQ(one[0].spec.channelnames, two[0].spec.channelnames);
    EXPECT_EQ(stored(one[0], "Z", data), stored(two[0], "Z", data));

    const run_result other =
        render({"flat.exr", "--depth-map", "small.exr", "-o", "three.exr"});
    EXPECT_EQ(other.status, 1);
    EXPECT_NE(other.errors.find("small.exr: is 60 x 30, the input is 60 x 40"),
              std::string::npos)
        << other.errors;
}

TEST_F(pictures, OfSeveralPartsKeepThem) {
    auto color = scene_channels();
    const std::vector<made_channel> depth{color.back()};
    color.pop_back();
    const std::vector<made_channel> mask{
        {"mask", TypeDesc::FLOAT, [](int x, int y) { return x + 0.25 * y; }}};
    const auto named = [](const char* name, picture_part part) {
        part.spec.attribute("oiio:subimagename", name);
        return part;
    };
    std::vector<picture_part> parts;
    parts.push_back(named("mask", made_part({3, 4, 20, 10}, DISPLAY, mask)));
    parts.push_back(named("depth", made_part({0, 0, 60, 45}, DISPLAY, depth)));
    parts.push_back(named("colour", made_part({2, 2, 50, 30}, DISPLAY, color)));
    write("in.exr", std::move(parts));

    const run_result ran =
        run({"render", "in.exr", "-o", "out.exr", "--set", "MaxBlurSize=5"});
    ASSERT_EQ(ran.status, 0) << ran.errors;
    const picture in = read_picture(path("in.exr"));
    const picture out = read_picture(path("out.exr"));
    ASSERT_EQ(out.size(), 3U);
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(out[i].spec.channelnames, in[i].spec.channelnames);
        EXPECT_EQ(out[i].spec.get_string_attribute("oiio:subimagename"),
                  in[i].spec.get_string_attribute("oiio:subimagename"));
    }
    EXPECT_EQ(data_window(out[0].spec), (window{3, 4, 20, 10}));
    EXPECT_EQ(values(out[0], "mask"), values(in[0], "mask"));
    EXPECT_EQ(values(out[1], "Z"), values(in[1], "Z"));
    EXPECT_EQ(data_window(out[2].spec), (window{0, 0, 60, 45}));
}

TEST_F(pictures, ForDisplayAreLinearisedAndEncodedAgain) {
    const std::vector<made_channel> channels{
        {"R", TypeDesc::UINT8, [](int x, int) { return x / 59.0; }},
        {"G", TypeDesc::UINT8, [](int, int) { return 128.0 / 255.0; }},
        {"B", TypeDesc::UINT8, [](int, int y) { return y / 39.0; }},
        {"A", TypeDesc::UINT8, [](int x, int y) { return (x + y + 1) / 100.0; }}};
    picture_part part = made_part(DISPLAY, DISPLAY, channels);
    part.spec.attribute("oiio:UnassociatedAlpha", 1);
    write("in.png", parts_of(std::move(part)));
    const std::vector<std::string> still{"--set", "MaxBlurSize=0", "--set",
                                         "BlurChannel=Red"};
    for (const char* output : {"out.png", "out.exr", "out.tif"}) {
        std::vector<std::string> line{"render", "in.png", "-o", output};
        line.insert(line.end(), still.begin(), still.end());
        const run_result ran = run(line);
        ASSERT_EQ(ran.status, 0) << ran.errors;
    }
    const picture in = read_picture(path("in.png"));
    for (const char* output : {"out.png", "out.tif"}) {
        const picture out = read_picture(path(output));
        for (const char* name : {"R", "G", "B", "A"}) {
            EXPECT_EQ(stored(out[0], name, DISPLAY), stored(in[0], name, DISPLAY))
                << output << " " << name;
        }
    }
    // the middle grey of sRGB is light of 0.2159 (IEC 61966-2-1:1999), times alpha
    const picture linear = read_picture(path("out.exr"));
    const std::vector<float> green = values(linear[0], "G");
    const std::vector<float> alpha = values(linear[0], "A");
    for (std::size_t i = 0; i < green.size(); ++i) {
        ASSERT_NEAR(green[i], 0.2159F * alpha[i], 2e-4F) << "pixel " << i;
    }
}

TEST_F(pictures, OfDepthIn16BitsKeepThemAll) {
    write_scene("in.exr", DISPLAY, DISPLAY);
    const auto step = [](int x, int y) { return (x * 1000 + y * 17 + 3) / 65535.0; };
    write("map.png",
          parts_of(made_part(DISPLAY, DISPLAY, {{"Y", TypeDesc::UINT16, step}})));
    const run_result ran = run({"render", "in.exr", "--depth-map", "map.png", "-o",
                                "out.exr", "--set", "MaxBlurSize=4"});
    ASSERT_EQ(ran.status, 0) << ran.errors;
    const std::vector<float> z = values(read_picture(path("out.exr"))[0], "Z");
    for (std::size_t i = 0; i < z.size(); ++i) {
        const auto x = static_cast<int>(i % 60);
        const auto y = static_cast<int>(i / 60);
        ASSERT_EQ(std::lround(z[i] * 65535.0F), x * 1000 + y * 17 + 3);
    }
}

TEST_F(pictures, AreWrittenAsTheOptionsAsk) {
    write_scene("in.exr", DISPLAY, DISPLAY);
    const run_result ran =
        run({"render", "in.exr", "-o", "out.exr", "--data-type", "float", "--compression",
             "rle", "--preview", "look.png", "--quiet", "--threads", "2"});
    EXPECT_EQ(ran.status, 0);
    EXPECT_EQ(ran.errors, "");
    const picture out = read_picture(path("out.exr"));
    EXPECT_EQ(out[0].spec.format, TypeDesc::FLOAT);
    EXPECT_TRUE(out[0].spec.channelformats.empty());
    EXPECT_EQ(out[0].spec.get_string_attribute("compression"), "rle");
    const picture look = read_picture(path("look.png"));
    EXPECT_EQ(look[0].spec.format, TypeDesc::UINT8);
    EXPECT_EQ(data_window(look[0].spec), DISPLAY);

    const auto ramp = [](int x, int) { return x / 59.0; };
    write("grey.tif",
          parts_of(made_part(DISPLAY, DISPLAY, {{"Y", TypeDesc::UINT16, ramp}})));
    ASSERT_EQ(run({"render", "grey.tif", "-o", "grey.png", "--set", "BlurChannel=Green",
                   "--set", "MaxBlurSize=0"})
                  .status,
              0);
    const picture grey = read_picture(path("grey.png"));
    EXPECT_EQ(grey[0].spec.nchannels, 1);
    EXPECT_EQ(values(grey[0], grey[0].spec.channelnames[0]),
              values(read_picture(path("grey.tif"))[0], "Y"));
}

TEST_F(pictures, AreWrittenAsJpeg) {
    const auto ramp = [](int x, int) { return x / 59.0; };
    write("ramp.jpg", parts_of(made_part(DISPLAY, DISPLAY,
                                         {{"R", TypeDesc::UINT8, ramp},
                                          {"G", TypeDesc::UINT8, ramp},
                                          {"B", TypeDesc::UINT8, ramp}})));
    const std::vector<float> red = values(read_picture(path("ramp.jpg"))[0], "R");
    for (std::size_t i = 0; i < red.size(); ++i) {
        ASSERT_NEAR(red[i], static_cast<float>(i % 60) / 59.0F, 0.05F) << "pixel " << i;
    }
}
