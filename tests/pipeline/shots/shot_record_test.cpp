// The record of how a picture was made: what it names, what tells it from another, and
// the picture made again from it.

#include "pipeline/shots/shot_record.h"

#include <chrono>
#include <fstream>

#include "pipeline/session/session.h"
#include "tests/pipeline/shots/shot_fixture.h"

using namespace focusfall;

namespace {

namespace fs = std::filesystem;

const window DISPLAY{0, 0, 60, 40};

class ShotRecord : public shot_test {
  protected:
    ShotRecord() {
        write_scene("in.exr", DISPLAY, DISPLAY);
        write_scene("map.exr", DISPLAY, DISPLAY, 3);
        tool->set("MaxBlurSize", 6);
        tool->set("BlurStyle", "Polygon");
        tool->set("FocusPosition", 300.1);
    }

    static json_record record_on(const picture_part& part) {
        return json_record::parse(
            std::string(part.spec.get_string_attribute("focusfall")));
    }
};

}  // namespace

TEST_F(ShotRecord, NamesAllThatThePictureIsMadeFrom) {
    shot_options options = shot("in.exr", "out.exr");
    options.depth_map = path("map.exr");
    options.load.depth_channel = "Z";
    options.output_as.type = OIIO::TypeDesc::FLOAT;
    const json_record record = record_on(rendered(options)[0]);
    EXPECT_EQ(record.at("tool"), options.tool_id);
    EXPECT_EQ(record.at("version"), options.version);
    EXPECT_EQ(record.at("input").at("file"), path("in.exr"));
    EXPECT_EQ(record.at("depth_map").at("file"), path("map.exr"));
    EXPECT_FALSE(record.contains("blur_image"));
    EXPECT_EQ(record.at("read"), (json_record{{"depth-channel", "Z"}}));
    EXPECT_EQ(record.at("write"), (json_record{{"data-type", "float"}}));
    EXPECT_EQ(record.at("color"), "R, G, B");
    EXPECT_EQ(
        nlohmann::json(record.at("settings")),
        (nlohmann::json{
            {"MaxBlurSize", 6}, {"BlurStyle", "Polygon"}, {"FocusPosition", 300.1}}));
}

TEST_F(ShotRecord, StandsOnTheRenderedPartAndKeepsEarlierOnes) {
    std::vector<picture_part> parts;
    for (const char* name : {"left", "right"}) {
        parts.push_back(made_part(DISPLAY, DISPLAY, scene_channels()));
        parts.back().spec.attribute("oiio:subimagename", name);
    }
    write("two.exr", parts);
    shot_options options = shot("two.exr", "once.exr");
    options.load.layers = {"left"};
    const picture once = rendered(options);
    EXPECT_FALSE(once[1].spec.find_attribute("focusfall"));
    options.input = options.output;
    options.output = path("twice.exr");
    tool->set("MaxBlurSize", 3);
    const picture twice = rendered(options);
    EXPECT_FALSE(twice[1].spec.find_attribute("focusfall"));
    EXPECT_EQ(record_on(twice[0]).at("settings").at("MaxBlurSize"), 3);
    EXPECT_EQ(record_on(twice[0]).at("earlier"), record_on(once[0]));

    // the other part has a record of its own render then
    options.load.layers = {"right"};
    options.input = path("twice.exr");
    options.output = path("both.exr");
    const picture both = rendered(options);
    EXPECT_EQ(record_on(both[0]), record_on(twice[0]));
    EXPECT_FALSE(record_on(both[1]).contains("earlier"));
    EXPECT_NE(error_of([&] { render_recorded_in(options.output, {}); }).find("several"),
              std::string::npos);
}

TEST_F(ShotRecord, MakesThePictureAgainBitForBit) {
    // the last two are the defaults, which the first one would change
    tool->set("SettingsType", "Advanced");
    tool->restore({{"FocalLength", headless::animation(61.3)},
                   {"FStop", headless::animation(2.0)},
                   {"ApertureDiameter", headless::animation(17.5)}});
    tool->set("FilmbackWidth", 30);
    tool->set("FocusPosition", 290, 1);
    tool->set("FocusPosition", 340, 9);
    write_scene("in.0004.exr", DISPLAY, DISPLAY);
    shot_options options = shot("in.####.exr", "out.####.exr");
    options.frames = {4};
    options.output_as.compression = "zips";
    recorded_shot told;
    render_shot(options, *tool, told);

    const recorded_render again = render_recorded_in(path("out.0004.exr"), {});
    EXPECT_TRUE(again.changed.empty());
    session_options start;
    start.plugins = {PLUGIN_FILE};
    start.threads = 1;
    start.tool_id = again.shot.tool_id;
    start.start = again.settings;
    session other(start);
    const auto restored = other.create_tool();
    shot_options repeat = again.shot;
    repeat.output = path("again.exr");
    render_shot(repeat, *restored, told);
    const auto bytes = [&](const char* name) {
        std::ifstream file(path(name), std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(file), {});
    };
    EXPECT_TRUE(bytes("again.exr") == bytes("out.0004.exr"));

    // what is given counts instead
    shot_options given;
    given.load.depth_channel = "R";
    given.input = path("in.exr");
    const recorded_render changed = render_recorded_in(path("out.0004.exr"), given);
    EXPECT_EQ(changed.shot.input, path("in.exr"));
    EXPECT_EQ(changed.shot.load.depth_channel, "R");
    EXPECT_EQ(changed.shot.output_as.compression, "zips");
}

TEST_F(ShotRecord, SaysWhatIsGoneAndHowToNameItInstead) {
    shot_options options = shot("in.exr", "out.exr");
    options.depth_map = path("map.exr");
    rendered(options);
    fs::rename(path("map.exr"), path("moved.exr"));
    const std::string error = error_of([&] { render_recorded_in(options.output, {}); });
    EXPECT_NE(error.find(path("map.exr") + ", which cannot be found"), error.npos);
    EXPECT_NE(error.find("--depth-map"), error.npos) << error;
    shot_options given;
    given.depth_map = path("moved.exr");
    EXPECT_TRUE(render_recorded_in(options.output, given).changed.empty());
}

TEST_F(ShotRecord, IsRefusedWhenThereIsNoneOrItIsDamaged) {
    const std::pair<const char*, const char*> cases[] = {
        {"", "no record"},
        {"Focusfall 0.1; FStop=4", "older version"},
        {R"({"tool": 3})", "damaged"},
        {R"({"input": {"file": ""}})", "damaged"},
        {R"({"read": {"depth-as": "tree"}, "write": {}})", "damaged"}};
    for (const auto& [text, told] : cases) {
        picture_part part = made_part(DISPLAY, DISPLAY, scene_channels());
        if (*text) part.spec.attribute("focusfall", text);
        const std::string file = write("x.exr", std::move(part));
        const std::string error = error_of([&] { render_recorded_in(file, {}); });
        EXPECT_TRUE(error.starts_with(file + ": ")) << error;
        EXPECT_NE(error.find(told), error.npos) << error;
    }
}

TEST_F(ShotRecord, TellsAStaleFrameByWhatDiffers) {
    shot_options options = shot("in.exr", "out.exr");
    options.depth_map = path("map.exr");
    options.skip_existing = true;
    recorded_shot told;
    const auto stale = [&] {
        render_shot(options, *tool, told);
        return told.plan.stale == 0 ? "" : told.plan.first_stale;
    };
    const auto change_age = [&](const char* name, int hours) {
        fs::last_write_time(path(name),
                            fs::last_write_time(path(name)) + std::chrono::hours(hours));
    };
    stale();
    EXPECT_EQ(told.plan.to_render.size(), 1U);
    EXPECT_EQ(stale(), "");
    EXPECT_EQ(told.plan.current, 1U);
    options.version = "9.9";  // the same picture
    EXPECT_EQ(stale(), "");
    tool->set("FocusPosition", 310);
    EXPECT_EQ(stale(), "settings/FocusPosition");
    EXPECT_EQ(stale(), "");  // for it was rendered again
    change_age("map.exr", 1);
    EXPECT_EQ(stale(), "depth_map/time");
    EXPECT_EQ(stale(), "");
    change_age("in.exr", -1);  // an older file came back
    EXPECT_EQ(stale(), "input/time");
    options.load.depth_channel = "R";
    EXPECT_EQ(stale(), "read/depth-channel");
    std::ofstream(options.output) << "no picture";
    EXPECT_EQ(stale(), "a damaged file");

    // a format without a place for the record is known by its age
    options.output = path("out.jpg");
    change_age("map.exr", -2);
    stale();
    EXPECT_EQ(stale(), "");
    change_age("map.exr", 2);
    EXPECT_EQ(stale(), "age");
}
