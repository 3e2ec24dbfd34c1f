// The focus by pixels.

#include "pipeline/inspection/shot_focus.h"

#include <cmath>

#include "pipeline/inspection/pixel_report.h"
#include "tests/pipeline/shots/shot_fixture.h"

using namespace focusfall;

namespace {

using OIIO::TypeDesc;
using FocusPoints = shot_test;

const window FRAME{0, 0, 40, 30};

// A depth for each place and frame, with a speck and an empty corner.
made_channel depth_of_frame(int frame) {
    return {"Z", TypeDesc::FLOAT, [frame](int x, int y) {
                if (x < 6 && y < 6) return 1e10;
                const bool speck = x == 20 && y == 10;
                return speck ? 1.0 : 100.0 * frame + x;
            }};
}

}  // namespace

TEST_F(FocusPoints, AreReadAsTheyAreWritten) {
    const focus_points one = parse_focus_points("480,-2");
    ASSERT_EQ(one.points.size(), 1U);
    EXPECT_EQ(one.points[0].shown(), "480,-2");
    const focus_points keys = parse_focus_points("1:480,270,24:700,300,smooth");
    ASSERT_EQ(keys.points.size(), 2U);
    EXPECT_TRUE(keys.is_smooth);
    EXPECT_EQ(keys.points[1].shown(), "24:700,300");
    for (const char* text :
         {"", ",", "1", "1,2,3", "1,2,smooth", "a,2", "1.5,2", "1,2,3,4", "5:1,2,5:3,4",
          "5:1,2,3,4", "smooth", "1:2:3,4", "99999999999,1", "1, 2"}) {
        EXPECT_NE(error_of([&] { parse_focus_points(text); }), "") << text;
    }
}

// Frames of 40 x 30 with a display window that does not begin at 0, 0.
TEST_F(FocusPoints, TakeTheMedianOfWhatLiesAroundThemInEachNamedFrame) {
    for (int frame = 1; frame <= 3; ++frame) {
        auto channels = scene_channels();
        channels.back() = depth_of_frame(frame);
        write("in." + std::to_string(frame) + ".exr", made_part(FRAME, FRAME, channels));
    }
    shot_options options;
    options.input = path("in.#.exr");
    options.frames = {2, 3};
    EXPECT_EQ(set_focus(*tool, parse_focus_points("20,10"), options), "FocusPosition=220")
        << "the pixel itself is a speck";
    EXPECT_EQ(value("FocusPosition"), 220.0);

    set_focus(*tool, parse_focus_points("1:11,3,3:30,20"), options);
    EXPECT_EQ(value("FocusPosition", 1), 111.0);
    EXPECT_EQ(value("FocusPosition", 2), (111.0 + 330.0) / 2.0) << "in between";
    EXPECT_EQ(value("FocusPosition", 3), 330.0);

    for (const char* outside : {"40,3", "3,30", "-1,5", "1:2,2,3:2,99"}) {
        EXPECT_NE(
            error_of([&] { set_focus(*tool, parse_focus_points(outside), options); }), "")
            << outside;
    }
    const std::string empty =
        error_of([&] { set_focus(*tool, parse_focus_points("3,3"), options); });
    EXPECT_NE(empty.find("in.2.exr"), empty.npos) << empty;
    EXPECT_NE(empty.find("empty"), empty.npos) << empty;
    EXPECT_EQ(value("FocusPosition", 1), 111.0) << "faults change nothing";
}

TEST_F(FocusPoints, CountInTheDisplayWindowAndInTheDepthMap) {
    const window display{100, -50, 40, 30};
    const window data{90, -60, 60, 60};
    auto channels = scene_channels();
    channels.back() = {"Z", TypeDesc::FLOAT, [](int x, int y) { return 1000.0 * x + y; }};
    write("moved.exr", made_part(data, display, channels));
    shot_options options;
    options.input = path("moved.exr");
    set_focus(*tool, parse_focus_points("7,9"), options);
    EXPECT_EQ(value("FocusPosition"), 107000.0 - 41.0);

    write_scene("in.exr", FRAME, FRAME);
    write("map.exr",
          made_part(FRAME, FRAME,
                    {{"Z", TypeDesc::FLOAT, [](int x, int) { return x / 4.0; }}}));
    options.input = path("in.exr");
    options.depth_map = path("map.exr");
    set_focus(*tool, parse_focus_points("8,9"), options);
    EXPECT_EQ(value("FocusPosition"), 2.0);

    // a wall along the rays of a lens that sees 90 degrees: its corner pixel
    write("wall.exr",
          made_part(FRAME, FRAME, {{"Z", TypeDesc::FLOAT, [](int x, int y) {
                                        const double across = (x - 19.5) / 20.0;
                                        const double down = (y - 14.5) / 20.0;
                                        return 7.0 * std::hypot(1.0, across, down);
                                    }}}));
    options.depth_map = path("wall.exr");
    options.load.depth = {.meaning = depth_meaning::RAY, .field_of_view = 90.0};
    set_focus(*tool, parse_focus_points("38,28"), options);
    EXPECT_NEAR(value("FocusPosition"), 7.0, 1e-5);
}

// The diameter is the tool's own, with a sign; distances are told where there is a unit.
TEST_F(FocusPoints, ShowWhatTheSettingsMakeOfThem) {
    write_scene("in.exr", FRAME, FRAME);
    frame_files files;
    files.input = path("in.exr");
    tool->set("FocusPosition", 355.0);
    tool->set("MaxBlurSize", 20.0);
    frame_loader loader({});
    frame_probe probe(loader, {}, files, *tool, 0, true);
    const pixel_report far = probe.at(5, 0);
    EXPECT_EQ(far.depth, 385.0F);
    EXPECT_FALSE(far.distance_mm) << "simple settings know no unit";
    const FrameForecast forecast = tool->forecast({}, {.width = 40, .height = 30});
    EXPECT_EQ(far.diameter, forecast.blur_of(385.0F));
    EXPECT_EQ(probe.at(25, 0).diameter, -forecast.blur_of(325.0F));
    EXPECT_GT(*far.diameter, 0.0F);
    EXPECT_EQ(probe.at(15, 0).diameter, 0.0F);

    tool->set("SettingsType", "Advanced");
    tool->set("DepthMapUnits", "meter");
    probe.look_again();
    EXPECT_EQ(probe.at(5, 0).distance_mm, 385000.0F);
}
