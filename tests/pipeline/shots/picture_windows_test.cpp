// The windows of pictures: where the output has pixels, and what counts as its width.

#include <algorithm>
#include <cmath>

#include "tests/pipeline/shots/shot_fixture.h"

using namespace focusfall;

namespace {

using OIIO::TypeDesc;
using PictureWindows = shot_test;

const window DISPLAY{0, 0, 60, 40};

// The scene as one with a data window counts: outside of it nothing, at the depth of the
// nearest pixel.
std::vector<made_channel> continued_channels(const window& data) {
    std::vector<made_channel> channels = scene_channels();
    for (made_channel& channel : channels) {
        channel.value = [data, own = channel.value, is_depth = channel.name == "Z"](
                            int x, int y) {
            const auto right = static_cast<int>(data.x + data.width) - 1;
            const auto bottom = static_cast<int>(data.y + data.height) - 1;
            const int column = std::clamp(x, static_cast<int>(data.x), right);
            const int row = std::clamp(y, static_cast<int>(data.y), bottom);
            const bool inside = column == x && row == y;
            return is_depth || inside ? own(column, row) : 0.0;
        };
    }
    return channels;
}

}  // namespace

// The same picture, with its data window as large as the display, shows what a smaller
// one must hold: the same pixels, and nothing beyond it.
TEST_F(PictureWindows, GrowAsFarAsTheBlurReachesAndNoFurther) {
    const window data{20, 14, 18, 11};
    picture_part small = made_part(data, DISPLAY, scene_channels());
    picture_part large = made_part(DISPLAY, DISPLAY, continued_channels(data));
    write("small.exr", std::move(small));
    write("large.exr", std::move(large));
    for (const char* style : {"Disk", "Polygon", "Gaussian", "Airy Disk", "Laplacian"}) {
        for (const double blur : {0.0, 1.5, 2.0, 7.3, 21.0, 100.0}) {
            for (const char* normalize : {"on", "off"}) {
                SCOPED_TRACE(style + std::to_string(blur) + normalize);
                tool->set("BlurStyle", style);
                tool->set("MaxBlurSize", blur);
                tool->set("Normalize", normalize);
                tool->set("FocusPosition", 1);
                const picture out = rendered("small.exr", "s.exr");
                const picture whole = rendered("large.exr", "l.exr");
                const window grown = data_window(out[0].spec);
                EXPECT_EQ(united(grown, data), grown);
                EXPECT_EQ(common(grown, DISPLAY), grown);
                EXPECT_EQ(grown == data, blur < 1.6) << shown(grown);
                EXPECT_NE(grown, DISPLAY);
                for (const char* name : {"R", "G", "B", "A"}) {
                    EXPECT_EQ(stored(out[0], name, grown), stored(whole[0], name, grown));
                    const std::vector<float> all = values(whole[0], name);
                    for (int i = 0; i < 60 * 40; ++i) {
                        const window pixel{i % 60, i / 60, 1, 1};
                        if (common(pixel, grown) == pixel) continue;
                        ASSERT_EQ(all[static_cast<std::size_t>(i)], 0.0F)
                            << shown(pixel) << name;
                    }
                }
            }
        }
    }
}

// Depth in a colour, inverse, along rays, scaled from a small map: around the picture
// lies nothing, as far away as its border, and not at the lens, from where it would
// darken the picture.
TEST_F(PictureWindows, HaveTheDepthOfTheirBorderAroundThem) {
    const window data{20, 14, 18, 11};
    const std::vector<made_channel> flat = {
        {"R", TypeDesc::FLOAT, [](int, int) { return 0.5; }},
        {"G", TypeDesc::FLOAT, [](int, int) { return 0.5; }},
        {"B", TypeDesc::FLOAT, [](int, int) { return 0.5; }},
        {"A", TypeDesc::FLOAT, [](int, int) { return 1.0; }},
        {"Z", TypeDesc::FLOAT, [](int, int) { return 500.0; }}};
    write("flat.exr", made_part(data, DISPLAY, flat));
    write("map.exr", made_part({0, 0, 30, 20}, {0, 0, 30, 20}, {flat.back()}));
    tool->set("MaxBlurSize", 20);
    struct {
        const char* channel;
        double focus;
        depth_choices depth;
        const char* map;
    } const cases[] = {
        {"Z", 500.0, {}, ""},
        {"Red", 0.5, {}, ""},
        {"Z", 500.0, {.meaning = depth_meaning::INVERSE}, ""},
        {"Z", 500000.0, {.scale = 1000.0}, ""},
        {"Z", 500.0, {.empty = empty_depth{}}, ""},
        {"Z", 500.0, {}, "map.exr"},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(testing::Message() << one.channel << one.focus << one.map);
        tool->set("BlurChannel", one.channel);
        tool->set("FocusPosition", one.depth.scale ? 500.0 : one.focus);
        shot_options options = shot("flat.exr", "o.exr");
        options.load.depth = one.depth;
        if (*one.map) options.depth_map = path(one.map);
        const picture out = rendered(options);
        // all is in focus, and so is what lies around it: nothing reaches in
        const window all = data_window(out[0].spec);
        ASSERT_EQ(common(all, data), data);
        for (const char* name : {"R", "A"}) {
            const double expected = *name == 'R' ? 0.5 : 1.0;
            const auto kept = values(out[0], name);
            for (std::int64_t y = data.y; y < data.y + data.height; ++y) {
                for (std::int64_t x = data.x; x < data.x + data.width; ++x) {
                    const auto i = (y - all.y) * all.width + x - all.x;
                    ASSERT_EQ(kept[static_cast<std::size_t>(i)], expected)
                        << name << x << " " << y;
                }
            }
        }
    }
}

TEST_F(PictureWindows, GetAlphaOnlyWhereTheyGrow) {
    auto channels = scene_channels();
    std::erase_if(channels, [](const made_channel& c) { return c.name == "A"; });
    write("whole.exr", made_part(DISPLAY, DISPLAY, channels));
    write("part.exr", made_part({9, 9, 20, 20}, DISPLAY, channels));
    tool->set("MaxBlurSize", 8);
    EXPECT_EQ(rendered("whole.exr", "w.exr")[0].spec.channelindex("A"), -1);
    const picture part = rendered("part.exr", "p.exr");
    EXPECT_EQ(values(part[0], "A").front(), 0.0F);
    const int inside = part[0].spec.width * 15 + 15;
    EXPECT_GT(values(part[0], "A")[static_cast<std::size_t>(inside)], 0.9F);
    // what has no place for it is told
    tool->set("MaxBlurSize", 0);
    picture_part clear = made_part(DISPLAY, DISPLAY, scene_channels());
    write("clear.exr", std::move(clear));
    rendered("clear.exr", "c.jpg");
    ASSERT_FALSE(noted.empty());
    EXPECT_NE(noted.back().find("c.jpg: has no room for alpha"), std::string::npos)
        << noted.back();
}

TEST_F(PictureWindows, OfDisplayMeasureTheBlurWhateverTheOverscan) {
    const window overscan{-60, -40, 180, 120};
    write_scene("plain.exr", DISPLAY, DISPLAY);
    write_scene("wide.exr", overscan, DISPLAY);
    const auto sharp = values(read_picture(path("plain.exr"))[0], "R");
    using settings = std::vector<std::pair<const char*, double>>;
    for (const settings& mode : {settings{{"MaxBlurSize", 7}, {"FocusPosition", 30}},
                                 settings{{"SettingsType", 1},
                                          {"FocusPosition", 100},
                                          {"FilmbackWidth", 20},
                                          {"FStop", 22},
                                          {"FocalLength", 50}}}) {
        for (const auto& [id, number] : mode) tool->set(id, number);
        shot_options options = shot("plain.exr", "p.exr");
        options.output_as.type = TypeDesc::FLOAT;
        const picture plain = rendered(options);
        options.input = path("wide.exr");
        options.output = path("w.exr");
        const picture wide = rendered(options);
        for (const auto& [id, number] : mode) EXPECT_EQ(value(id), number) << id;
        EXPECT_EQ(data_window(wide[0].spec), overscan);
        EXPECT_EQ(display_window(wide[0].spec), DISPLAY);
        double change = 0.0;
        for (const char* name : {"R", "B", "A"}) {
            const auto narrow = values(plain[0], name);
            const auto broad = values(wide[0], name);
            // beyond the reach of what lies outside
            for (std::size_t i = 0; i < 40 * 20; ++i) {
                const std::size_t x = 10 + i % 40, y = 10 + i / 40;
                const double expected{narrow[y * 60 + x]};
                EXPECT_NEAR(broad[(y + 40) * 180 + x + 60], expected, 1e-4 * expected)
                    << name;
                change = std::max(change, std::abs(expected / sharp[y * 60 + x] - 1.0));
            }
        }
        EXPECT_GT(change, 0.1);
    }
}

TEST_F(PictureWindows, PlaceADepthMapThatKeepsAllItsBits) {
    const window data{10, 5, 30, 20};
    auto channels = scene_channels();
    write_scene("in.exr", data, DISPLAY);
    const std::vector<made_channel> depth{channels.back()};
    channels.pop_back();
    write("flat.exr", made_part(data, DISPLAY, channels));
    write("map.exr", made_part({-5, 0, 80, 60}, DISPLAY, depth));

    tool->set("MaxBlurSize", 6);
    tool->set("FocusPosition", 300);
    const picture one = rendered("in.exr", "one.exr");
    shot_options options = shot("flat.exr", "two.exr");
    options.depth_map = path("map.exr");
    const picture two = rendered(options);
    EXPECT_EQ(one[0].spec.channelnames, two[0].spec.channelnames);
    EXPECT_EQ(stored(one[0], "Z", data), stored(two[0], "Z", data));

    const auto step = [](int x, int y) { return (x * 1000 + y * 17 + 3) / 65535.0; };
    write("map.png", made_part(DISPLAY, DISPLAY, {{"Y", TypeDesc::UINT16, step}}));
    write("flat.exr", made_part(DISPLAY, DISPLAY, channels));
    options.depth_map = path("map.png");
    const picture words = rendered(options);
    for (int i = 0; const float z : values(words[0], "Z")) {
        ASSERT_NEAR(z, step(i % 60, i / 60), 1e-7);
        ++i;
    }
}
