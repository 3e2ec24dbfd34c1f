// What `focusfall inspect` tells, and the focus by pixels on the command line.

#include <fstream>

#include <nlohmann/json.hpp>

#include "tests/programs/command/command_fixture.h"

using namespace focusfall;

namespace {

using inspects = command_test;
using nlohmann::json;

const window FRAME{0, 0, 80, 60};

bool has(const std::string& text, const std::string& part) {
    return text.find(part) != text.npos;
}

json printed(const run_result& ran) {
    EXPECT_EQ(ran.status, 0) << ran.errors;
    return json::parse(ran.output);
}

}  // namespace

TEST_F(inspects, PicturesOfEveryKindAndSaysWhatToDoNext) {
    write_scene("in.exr", FRAME, FRAME);
    const run_result scene = run("inspect in.exr");
    EXPECT_EQ(scene.status, 0) << scene.errors;
    for (const char* part :
         {"80 x 60", "R, G, B, A half; Z float", "Linear", "depth Z", "from 163 to 405.9",
          "█", "perhaps distances", "ramp", "fits: --set SettingsType=Advanced"}) {
        EXPECT_TRUE(has(scene.output, part)) << part << "\n" << scene.output;
    }

    auto channels = scene_channels();
    channels.pop_back();
    write("flat.exr", made_part(FRAME, FRAME, channels));
    write("flat.png", made_part(FRAME, FRAME,
                                {{"R", OIIO::TypeDesc::UINT8, channels[0].value},
                                 {"G", OIIO::TypeDesc::UINT8, channels[1].value},
                                 {"B", OIIO::TypeDesc::UINT8, channels[2].value}}));
    for (const std::string file : {"flat.exr", "flat.png"}) {
        const run_result flat = run("inspect " + file + " --at 3,4");
        EXPECT_EQ(flat.status, 0) << flat.errors;
        EXPECT_TRUE(has(flat.output, "--depth-map")) << flat.output;
        EXPECT_TRUE(has(flat.output, "pixel 3,4: colour")) << flat.output;
    }

    const run_result missing = run("inspect none.exr");
    EXPECT_EQ(missing.status, 1);
    EXPECT_TRUE(has(missing.errors, "none.exr")) << missing.errors;
    std::ofstream(path("damaged.exr")) << "v/1\1 and no more";
    const run_result damaged = run("inspect damaged.exr");
    EXPECT_EQ(damaged.status, 1);
    EXPECT_TRUE(has(damaged.errors, "damaged.exr")) << damaged.errors;
}

TEST_F(inspects, PixelsByTheSettingsThatAreGiven) {
    write_scene("in.exr", FRAME, FRAME);
    const json plain = printed(run("inspect in.exr --json --at 10,0"));
    ASSERT_EQ(plain["pixels"].size(), 1U);
    EXPECT_EQ(plain["pixels"][0]["depth"], 370.0);
    EXPECT_FALSE(plain["pixels"][0].contains("diameter")) << "no settings, no blur";

    const json lens =
        printed(run("inspect in.exr --json --at 10,0 --at 0,0 --focus-at 10,0 "
                    "--settings full-frame --set FocalLength=60"));
    EXPECT_EQ(lens["focus"], "FocusPosition=370");
    EXPECT_EQ(lens["pixels"][0]["diameter"], 0.0);
    EXPECT_EQ(lens["pixels"][1]["distance_mm"], 400.0);
    EXPECT_GT(lens["pixels"][1]["diameter"], 0.0);

    for (const std::string wrong : {"80,3", "-1,3", "3,60"}) {
        const run_result ran = run("inspect in.exr --at " + wrong);
        EXPECT_EQ(ran.status, 1) << wrong;
        EXPECT_TRUE(has(ran.errors, "outside the picture")) << ran.errors;
    }
    // which of two views is meant is for the caller to say; the views are told
    std::vector<picture_part> parts;
    for (const char* view : {"left", "right"}) {
        parts.push_back(made_part(FRAME, FRAME, scene_channels()));
        parts.back().spec.attribute("oiio:subimagename", view);
        parts.back().spec.attribute("view", view);
    }
    write("views.exr", parts);
    const run_result views = run("inspect views.exr --json --at 1,2");
    EXPECT_EQ(views.status, 1);
    EXPECT_TRUE(has(views.errors, "--layer: left, right")) << views.errors;
    EXPECT_EQ(json::parse(views.output)["parts"].size(), 2U);

    EXPECT_EQ(run("inspect in.exr --at 1,2,3,4").status, 2);
    EXPECT_EQ(run("inspect in.exr --at 5:1,2").status, 2);
}

TEST_F(inspects, ADepthMapBesideThePictureWithoutAskingForIt) {
    auto channels = scene_channels();
    channels.pop_back();
    write("in.exr", made_part(FRAME, FRAME, channels));
    write("map.png",
          made_part(FRAME, FRAME,
                    {{"Y", OIIO::TypeDesc::UINT8, [](int, int y) { return y / 60.0; }}}));
    const json both = printed(run("inspect in.exr --depth-map map.png --json"));
    EXPECT_TRUE(both["hints"].empty()) << both["hints"];
    EXPECT_TRUE(both["depth_map"]["hints"].empty()) << both["depth_map"]["hints"];
    EXPECT_EQ(both["depth_map"]["depths"][0]["is_chosen"], true);
    const json colours = printed(run("inspect in.exr --depth-map in.exr --json"));
    ASSERT_EQ(colours["depth_map"]["hints"].size(), 1U);
    EXPECT_TRUE(has(colours["depth_map"]["hints"][0], "BlurChannel=Red"));
}

TEST_F(inspects, TheLensAsItWouldBeTaken) {
    picture_part part = made_part(FRAME, FRAME, scene_channels());
    part.spec.attribute("effectiveFocalLength", 52.0F);
    part.spec.attribute("lensSerialNumber", "17");
    write("in.exr", std::move(part));
    const run_result plain = run("inspect in.exr");
    EXPECT_TRUE(has(plain.output, "camera focal length 52 mm (effectiveFocalLength);"))
        << plain.output;
    EXPECT_FALSE(has(plain.output, "Serial")) << plain.output;
    const run_result lens = run("inspect in.exr --lens-from-header");
    EXPECT_TRUE(has(lens.output, "FocalLength=52 (effectiveFocalLength)")) << lens.output;
    const json told = printed(run("inspect in.exr --lens-from-header --json"));
    EXPECT_EQ(told["camera"]["focal_length_mm"]["value"], 52.0);
    EXPECT_TRUE(has(told["lens"], "it does not tell FilmbackWidth")) << told["lens"];
}

TEST_F(inspects, AndRenderAndControlsFocusOnTheSamePixel) {
    write_scene("in.exr", FRAME, FRAME);
    const run_result focused =
        run("render in.exr -o a.exr --set MaxBlurSize=5 --focus-at 20,10");
    EXPECT_EQ(focused.status, 0) << focused.errors;
    EXPECT_TRUE(has(focused.errors, "FocusPosition=341, the depth at 20,10"))
        << focused.errors;
    const picture by_value =
        rendered("in.exr --set MaxBlurSize=5 --set FocusPosition=341", "b.exr");
    EXPECT_EQ(values(read_picture(path("a.exr"))[0], "G"), values(by_value[0], "G"));

    const run_result saved = run("controls in.exr --focus-at 20,10 --save look.json");
    EXPECT_EQ(saved.status, 0) << saved.errors;
    EXPECT_EQ(json::parse(std::ifstream(path("look.json")))["FocusPosition"], 341.0);

    EXPECT_EQ(run("controls --focus-at 20,10").status, 2) << "of which picture?";
    EXPECT_EQ(run("render in.exr -o c.exr --focus-at 1,1 --set FocusPosition=3").status,
              2);
    EXPECT_EQ(run("render in.exr -o c.exr --view focus").status, 1);
    EXPECT_EQ(run("render in.exr -o c.exr --preview c.png --view depth").status, 0);
    EXPECT_EQ(run("render in.exr -o c.exr --preview c.png --view deep").status, 2);
}
