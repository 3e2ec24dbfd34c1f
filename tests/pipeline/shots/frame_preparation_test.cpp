// What the choices of depth and light do to rendered pictures.

#include <algorithm>
#include <cmath>
#include <set>

#include "tests/pipeline/shots/shot_fixture.h"

using namespace focusfall;

namespace {

using OIIO::TypeDesc;

const window DISPLAY{0, 0, 60, 40};

class FramePreparation : public shot_test {
  protected:
    // A scene whose Z, in millimetres, is `shown(z)` in the file.
    std::string scene(const std::string& name, double (*shown)(double)) const {
        std::vector<made_channel> channels = scene_channels();
        const auto depth = channels.back().value;
        channels.back().value = [=](int x, int y) { return shown(depth(x, y)); };
        return write(name, made_part(DISPLAY, DISPLAY, channels));
    }

    void set_lens() {
        tool->set("SettingsType", "Advanced");
        tool->set("FocalLength", 50);
        tool->set("FStop", 4);
        tool->set("FocusPosition", 300);
    }

    shot_options float_shot(const std::string& input) const {
        shot_options options = shot(input, "out.exr");
        options.output_as.type = TypeDesc::FLOAT;
        return options;
    }

    static void expect_same_light(const picture& a, const picture& b, float tolerance) {
        for (const char* name : {"R", "G", "B", "A"}) {
            const auto left = values(a[0], name), right = values(b[0], name);
            ASSERT_EQ(left.size(), right.size());
            for (std::size_t i = 0; i < left.size(); ++i) {
                ASSERT_NEAR(left[i], right[i], tolerance) << name << " " << i;
            }
        }
    }
};

// One scene with its depth in millimetres, in centimetres, and as 1 / metres: with the
// focus as a value of the file, and the right options, all give one picture.
TEST_F(FramePreparation, GivesOnePictureForEveryKindOfDepth) {
    scene("mm.exr", [](double mm) { return mm; });
    scene("cm.exr", [](double mm) { return mm / 10.0; });
    scene("inverse.exr", [](double mm) { return 1000.0 / mm; });
    set_lens();
    const picture by_mm = rendered(float_shot("mm.exr"));
    EXPECT_TRUE(noted.empty());

    shot_options options = float_shot("cm.exr");
    options.load.depth.scale = 10.0;
    tool->set("FocusPosition", 30);
    expect_same_light(rendered(options), by_mm, 1e-4F);
    EXPECT_TRUE(noted.empty()) << noted[0];

    options = float_shot("inverse.exr");
    options.load.depth.meaning = depth_meaning::INVERSE;
    tool->set("FocusPosition", 1.0 / 0.3);
    tool->set("DepthMapUnits", "meter");
    expect_same_light(rendered(options), by_mm, 1e-3F);
    tool->set("DepthMapUnits", "mm");
    options.load.depth.scale = 1000.0;
    expect_same_light(rendered(options), by_mm, 1e-3F);
    EXPECT_TRUE(noted.empty()) << noted[0];
}

TEST_F(FramePreparation, WritesTheDepthOfTheFileWhateverTheToolGot) {
    scene("in.exr", [](double mm) { return 100.0 / mm; });
    const picture in = read_picture(path("in.exr"));
    tool->set("FocusPosition", 0.3);
    tool->set("MaxBlurSize", 5);
    shot_options options = shot("in.exr", "out.exr");
    options.load.depth.meaning = depth_meaning::INVERSE;
    options.load.depth.empty = parsed_empty_depth("far");
    options.load.light.highlights = parsed_highlights("4,0.5");
    for (const bool has_map : {false, true}) {
        if (has_map) options.depth_map = path("in.exr");
        EXPECT_EQ(stored(rendered(options)[0], "Z", DISPLAY),
                  stored(in[0], "Z", DISPLAY));
    }
    // a colour that is the depth is no less the file's
    options.depth_map.clear();
    tool->set("BlurChannel", "Green");
    const picture out = rendered(options);
    EXPECT_EQ(values(out[0], "Z"), values(in[0], "G"));
    EXPECT_NE(values(out[0], "G"), values(in[0], "G"));
}

// Keys are depths of the file at each of their times.
TEST_F(FramePreparation, TakesTheFocusOfEachFrameAsADepthOfTheFile) {
    for (const int frame : {1, 2}) {
        scene("in." + std::to_string(frame) + ".exr",
              [](double mm) { return 1000.0 / mm; });
    }
    scene("mm.exr", [](double mm) { return mm; });
    set_lens();
    const picture expected = rendered(float_shot("mm.exr"));
    tool->set("FocusPosition", 1000.0);
    shot_options options = float_shot("in.#.exr");
    options.output = path("out.#.exr");
    options.frames = {1, 2};
    options.load.depth = {.meaning = depth_meaning::INVERSE, .scale = 1000.0};
    tool->replace("FocusPosition",
                  headless::animation({{1.0, 4.0}, {2.0, 1000.0 / 300.0}},
                                      headless::interpolation::LINEAR));
    recorded_shot told;
    EXPECT_TRUE(render_shot(options, *tool, told).empty());
    expect_same_light(read_picture(path("out.2.exr")), expected, 1e-3F);
    EXPECT_NE(values(read_picture(path("out.1.exr"))[0], "G"), values(expected[0], "G"));
}

TEST_F(FramePreparation, TellsDepthsInNumbersOfTheFile) {
    scene("in.exr", [](double mm) { return 100.0 / mm; });
    tool->set("FocusPosition", 0.01);
    tool->set("MaxBlurSize", 20);
    shot_options options = shot("in.exr", "out.exr");
    options.load.depth.meaning = depth_meaning::INVERSE;
    rendered(options);
    ASSERT_EQ(noted.size(), 1U);
    EXPECT_NE(noted[0].find("the depth goes from 0.24"), std::string::npos) << noted[0];
    EXPECT_NE(noted[0].find("to 0.44"), std::string::npos) << noted[0];
}

TEST_F(FramePreparation, AsksForTheScaleThatALensNeeds) {
    std::vector<made_channel> channels = scene_channels();
    channels.resize(3);
    write("photo.png", made_part(DISPLAY, DISPLAY, channels));
    write("map.png",
          made_part(DISPLAY, DISPLAY,
                    {{"Y", TypeDesc::UINT8, [](int x, int) { return (x + 1) / 60.0; }}}));
    set_lens();
    tool->set("FocusPosition", 0.5);
    shot_options options = shot("photo.png", "out.png");
    options.depth_map = path("map.png");
    options.load.depth.meaning = depth_meaning::INVERSE;
    const std::string error = error_of([&] { rendered(options); });
    EXPECT_NE(error.find("map.png: "), error.npos) << error;
    EXPECT_NE(error.find("DepthMapType=Normalized"), error.npos) << error;
    tool->set("DepthMapType", "Normalized");
    EXPECT_NO_THROW(rendered(options));
    tool->set("InvertDepthMap", "on");
    EXPECT_NE(error_of([&] { rendered(options); }).find("InvertDepthMap"),
              std::string::npos);
    // without a lens any scale will do
    tool->set("InvertDepthMap", "off");
    tool->set("SettingsType", "Simple");
    EXPECT_NO_THROW(rendered(options));
    // which other depths have no use for
    options.load.depth = {.field_of_view = 40.0};
    EXPECT_NE(error_of([&] { rendered(options); }).find("--depth-as ray"),
              std::string::npos);
}

// Nothing in a map of 8 or 16 bits tells whether white is near.
TEST_F(FramePreparation, TellsOfAMapWhoseWhiteSeemsToBeNear) {
    write_scene("in.exr", DISPLAY, DISPLAY);
    const auto map = [&](const std::string& name, double top, double bottom) {
        write(name, made_part(DISPLAY, DISPLAY, {{"Y", TypeDesc::UINT16, [=](int, int y) {
                                                      return top +
                                                             (bottom - top) * y / 39.0;
                                                  }}}));
        return path(name);
    };
    tool->set("MaxBlurSize", 5);
    tool->set("FocusPosition", 0.5);
    shot_options options = shot("in.exr", "out.exr");
    const auto is_told = [&] {
        rendered(options);
        if (noted.empty()) return false;
        EXPECT_NE(noted[0].find("to be near"), std::string::npos) << noted[0];
        return true;
    };
    options.depth_map = map("black.png", 0.9, 0.1);
    EXPECT_FALSE(is_told());
    options.depth_map = map("white.png", 0.1, 0.9);
    EXPECT_TRUE(is_told());
    for (const auto meaning : {depth_meaning::DISTANCE, depth_meaning::INVERSE}) {
        options.load.depth.meaning = meaning;
        EXPECT_FALSE(is_told());
    }
    options.load.depth.meaning.reset();
    tool->set("InvertDepthMap", "on");
    EXPECT_FALSE(is_told());
}

TEST_F(FramePreparation, InvertsNoDistances) {
    tool->set("InvertDepthMap", "on");
    EXPECT_TRUE(depth_controls_of(*tool, 0).inverted);
    tool->set("SettingsType", "Advanced");
    EXPECT_FALSE(depth_controls_of(*tool, 0).inverted);
    tool->set("DepthMapType", "Normalized");
    EXPECT_TRUE(depth_controls_of(*tool, 0).inverted);
}

TEST_F(FramePreparation, TellsOfDepthsThatAreNoDistance) {
    write_scene("in.exr", DISPLAY, DISPLAY);
    const auto sky_above = [](int, int y) { return y < 10 ? 0.0 : 60.0 - y; };
    write("sky.exr",
          made_part(DISPLAY, DISPLAY, {{"depth.Z", TypeDesc::FLOAT, sky_above}}));
    tool->set("MaxBlurSize", 5);
    tool->set("FocusPosition", 30);
    shot_options options = shot("in.exr", "out.exr");
    const auto broken = [](int x, int) { return x == 7 ? NAN : 60.0 - x; };
    write("broken.exr",
          made_part(DISPLAY, DISPLAY, {{"depth.Z", TypeDesc::FLOAT, broken}}));
    const std::pair<const char*, const char*> cases[] = {
        {"sky.exr", "600 pixels have a depth of 0"},
        {"broken.exr", "40 pixels have a depth that is not a number"}};
    for (const auto& [file, told] : cases) {
        options.depth_map = path(file);
        options.load.depth.empty.reset();
        options.load.light.drop_non_finite = true;  // colours only
        rendered(options);
        ASSERT_EQ(noted.size(), 1U);
        EXPECT_NE(noted[0].find(told), std::string::npos) << noted[0];
        options.load.depth.empty = parsed_empty_depth("far");
        rendered(options);
        EXPECT_TRUE(noted.empty()) << noted.front();
    }
}

TEST_F(FramePreparation, ScalesAMapOfAnotherSizeAndSaysSo) {
    write_scene("in.exr", DISPLAY, DISPLAY);
    const auto fine = [](int x, int y) { return 1.0 + x * 10.0 + y; };
    const auto coarse = [&](int x, int y) { return fine(x / 2, y / 2); };
    write("small.exr",
          made_part({0, 0, 30, 20}, {0, 0, 30, 20}, {{"Z", TypeDesc::FLOAT, fine}}));
    write("same.exr", made_part(DISPLAY, DISPLAY, {{"Z", TypeDesc::FLOAT, coarse}}));
    write("square.png",
          made_part({0, 0, 50, 50}, {0, 0, 50, 50},
                    {{"Y", TypeDesc::UINT16, [](int x, int) { return x / 50.0; }}}));
    tool->set("MaxBlurSize", 5);
    tool->set("FocusPosition", 100);
    shot_options options = shot("in.exr", "out.exr");
    options.depth_map = path("small.exr");
    const std::vector<float> small = values(rendered(options)[0], "Z");
    ASSERT_EQ(noted.size(), 1U);
    EXPECT_EQ(noted[0], "small.exr: is 30 x 20, and is scaled to the input's 60 x 40");
    options.depth_map = path("same.exr");
    const std::vector<float> same = values(rendered(options)[0], "Z");
    EXPECT_TRUE(noted.empty());
    const std::set<float> depths(same.begin(), same.end());
    for (std::size_t i = 0; i < small.size(); ++i) {
        ASSERT_TRUE(depths.contains(small[i])) << i;
        ASSERT_LE(std::abs(small[i] - same[i]), 11.0F) << i;
    }
    options.depth_map = path("square.png");
    rendered(options);
    EXPECT_NE(noted[0].find("another shape"), std::string::npos) << noted[0];
}

TEST_F(FramePreparation, FillsInfiniteColoursOrSaysHowFarTheySpread) {
    std::vector<made_channel> channels = scene_channels();
    const auto red = channels[0].value;
    channels[0].value = [=](int x, int y) {
        return x == 20 && y == 10 ? INFINITY : x == 40 && y == 30 ? NAN : red(x, y);
    };
    write("in.exr", made_part(DISPLAY, DISPLAY, channels));
    tool->set("MaxBlurSize", 12);
    tool->set("FocusPosition", 4000);
    shot_options options = shot("in.exr", "out.exr");
    const auto non_finite = [](const picture& file) {
        const auto reds = values(file[0], "R");
        return std::count_if(reds.begin(), reds.end(),
                             [](float value) { return !std::isfinite(value); });
    };
    const auto spread = static_cast<double>(non_finite(rendered(options)));
    ASSERT_EQ(noted.size(), 2U);  // the other is about the focus
    const std::string note =
        noted[0].find("infinite") == std::string::npos ? noted[1] : noted[0];
    EXPECT_TRUE(note.starts_with("in.exr: 2 pixels are infinite")) << note;
    EXPECT_NE(note.find("--drop-non-finite"), std::string::npos) << note;
    const double told = std::stod(note.substr(note.find("about ") + 6));
    EXPECT_GT(told, 20.0);
    EXPECT_NEAR(told / spread, 1.0, 0.25) << told << " " << spread;

    options.load.light.drop_non_finite = true;
    EXPECT_EQ(non_finite(rendered(options)), 0);
    EXPECT_EQ(noted.size(), 1U);
}

}  // namespace
