#include "pipeline/shots/shot.h"

#include <algorithm>
#include <fstream>
#include <map>

#include <nlohmann/json.hpp>

#include "pipeline/process/interruption.h"
#include "pipeline/shots/shot_files.h"
#include "tests/pipeline/shots/shot_fixture.h"

using namespace focusfall;

namespace {

namespace fs = std::filesystem;

class Shot : public shot_test {
  protected:
    Shot() { tool->set("MaxBlurSize", 6); }

    shot_options frames(std::vector<int> numbers) const {
        shot_options options = shot("in.####.exr", "out.%04d.exr");
        options.frames = std::move(numbers);
        return options;
    }

    bool is_there(int frame) const { return fs::exists(out(frame)); }
};

}  // namespace

TEST_F(Shot, RendersEachFrameAsIfItWereAlone) {
    write_frames(4);
    tool->set("FocusPosition", 300, 1);
    tool->set("FocusPosition", 380, 4);
    shot_options options = frames({4, 1, 2});
    options.log = path("log.jsonl");
    recorded_shot told;
    EXPECT_TRUE(render_shot(options, *tool, told).empty());
    EXPECT_FALSE(is_there(3));
    EXPECT_EQ(told.plan.to_render.size(), 3U);
    EXPECT_EQ(told.written, 3U);
    ASSERT_EQ(told.ended.size(), 3U);
    EXPECT_TRUE(std::ranges::is_sorted(told.progress));
    EXPECT_EQ(told.progress.back(), 3.0);

    std::ifstream log(options.log);
    for (std::size_t i = 0; i < 3; ++i) {
        const int frame = options.frames[i];
        EXPECT_EQ(told.ended[i].frame, frame);
        EXPECT_EQ(told.ended[i].outcome, frame_outcome::DONE);
        EXPECT_NEAR(told.ended[i].largest_blur, 0.06 * 64, 1e-6);
        const picture together = read_picture(out(frame));
        fs::remove(out(frame));
        render_shot(frames({frame}), *tool, told);
        const picture alone = read_picture(out(frame));
        EXPECT_EQ(data_window(together[0].spec), data_window(alone[0].spec));
        EXPECT_EQ(values(together[0], "G"), values(alone[0], "G")) << frame;

        std::string line;
        ASSERT_TRUE(std::getline(log, line));
        const auto logged = nlohmann::json::parse(line);
        EXPECT_EQ(logged.at("frame"), frame);
        EXPECT_EQ(logged.at("status"), "done");
        for (const char* stage : {"read_seconds", "render_seconds", "write_seconds"}) {
            EXPECT_GE(logged.at(stage), 0.0) << stage;
        }
    }
}

TEST_F(Shot, GoesOnAfterAFrameThatFails) {
    write_frames(4);
    fs::remove(path(in(2)));
    fs::resize_file(path(in(3)), 1000);
    const shot_options options = frames({1, 2, 3, 4});
    recorded_shot told;
    EXPECT_EQ(render_shot(options, *tool, told), (std::vector{2, 3}));
    EXPECT_TRUE(is_there(1) && is_there(4));
    EXPECT_FALSE(is_there(2) || is_there(3));
    ASSERT_EQ(told.ended.size(), 4U);
    for (const std::size_t i : {1U, 2U}) {
        EXPECT_EQ(told.ended[i].outcome, frame_outcome::FAILED);
        EXPECT_TRUE(told.ended[i].error.starts_with(path(in(static_cast<int>(i) + 1))))
            << told.ended[i].error;
    }

    // what is there is left out, what is missing is made up for
    for (const int i : {2, 3}) {
        write_scene(in(i), {3 * i, -i, 60, 40}, {0, 0, 64, 48}, i);
    }
    const auto before = fs::last_write_time(out(1));
    shot_options rest = options;
    rest.skip_existing = true;
    recorded_shot again;
    EXPECT_TRUE(render_shot(rest, *tool, again).empty());
    EXPECT_EQ(again.plan.current, 2U);
    EXPECT_EQ(again.plan.to_render.size(), 2U);
    EXPECT_TRUE(is_there(2) && is_there(3));
    EXPECT_EQ(fs::last_write_time(out(1)), before);
    std::map<frame_outcome, int> outcomes;
    for (const frame_report& report : again.ended) ++outcomes[report.outcome];
    EXPECT_EQ(outcomes, (std::map<frame_outcome, int>{{frame_outcome::DONE, 2},
                                                      {frame_outcome::SKIPPED, 2}}));
}

TEST_F(Shot, ServesAllFramesFromStills) {
    write_frames(3);
    const window display{0, 0, 64, 48};
    write("map.exr", made_part(display, display, {scene_channels(9).back()}));
    write_scene("shape.exr", {0, 0, 9, 9}, {0, 0, 9, 9});
    // as large in all, but the map has another display window
    write_scene(in(4), display, display);
    write_scene(in(5), display, {0, 0, 60, 40});
    shot_options options = frames({1, 2, 3, 4, 5});
    options.depth_map = path("map.exr");
    options.blur_image = path("shape.exr");
    recorded_shot told;
    EXPECT_TRUE(render_shot(options, *tool, told).empty());
    const auto scaled = std::ranges::count_if(told.noted, [](const std::string& note) {
        return note.find("map.exr: is 64 x 48, and is scaled to the input's 60 x 40") !=
               note.npos;
    });
    EXPECT_EQ(scaled, 1);
    for (int frame = 1; frame <= 4; ++frame) {
        const picture result = read_picture(out(frame));
        const window both = common(data_window(result[0].spec), display);
        EXPECT_EQ(stored(result[0], "Z", both),
                  stored(read_picture(path("map.exr"))[0], "Z", both));
    }
}

TEST_F(Shot, EndsEarlyWithoutAPartialFileWhenItIsStopped) {
    struct stopped_after : recorded_shot {
        explicit stopped_after(std::size_t count) : frames(count) {}
        bool is_stopped() const override { return progress.size() >= frames; }
        std::size_t frames;
    };
    write_frames(3);
    stopped_after at_once(0);
    EXPECT_THROW(render_shot(frames({1, 2, 3}), *tool, at_once), interrupted);
    tool->abort();
    recorded_shot told;
    EXPECT_THROW(render_shot(frames({1, 2, 3}), *tool, told), interrupted);
    tool->clear_abort();
    EXPECT_FALSE(is_there(1) || is_there(2) || is_there(3));
    EXPECT_TRUE(hidden_files().empty());
    EXPECT_TRUE(told.ended.empty());
}

TEST_F(Shot, TellsWhenNothingIsBlurredOrInFocus) {
    write_scene("in.exr", {0, 0, 40, 30}, {0, 0, 40, 30});
    const auto notes = [&](std::initializer_list<std::pair<const char*, double>> values) {
        for (const auto& [id, number] : values) tool->set(id, number);
        rendered("in.exr", "out.exr");
        std::string all;
        for (const std::string& note : noted) all += note + "\n";
        return all;
    };
    EXPECT_TRUE(notes({{"MaxBlurSize", 0}}).starts_with("in.exr: nothing is blurred"));
    // the depth goes from 283 to 402.9
    for (const double focus : {1.0, 280.0, -300.0, 406.0, 1e6}) {
        const std::string told = notes({{"MaxBlurSize", 25}, {"FocusPosition", focus}});
        EXPECT_EQ(
            told.starts_with("in.exr: no pixel is in focus: the depth goes from 283 to"),
            focus == 1.0 || focus == 1e6)
            << told;
    }
    const std::string near = notes({{"SettingsType", 1}, {"FocusPosition", 0}});
    EXPECT_NE(near.find("FocusPosition"), near.npos) << near;
    const std::string far = notes({{"FocusPosition", 1e9}});
    EXPECT_NE(far.find("FocalLength"), far.npos) << far;
}

TEST_F(Shot, RefusesAFrameThatDoesNotFitIntoMemoryAndNamesTheControl) {
    write_scene("in.exr", {0, 0, 2000, 4}, {0, 0, 2000, 4});
    shot_options options = shot("in.exr", "out.exr");
    options.memory_limit = 2'100'000'000;
    const auto told = [&] { return error_of([&] { rendered(options); }); };
    tool->set("MaxBlurSize", 25);
    // 50,000 kernels, a third of which times 500 x 500 weights of 4 bytes: 16.7 GB
    for (const char* text : {"in.exr: ", "16.", "GB", "2.1 GB", "MaxBlurSize"}) {
        EXPECT_NE(told().find(text), std::string::npos) << text << told();
    }
    // focused at the focal length, the largest blur is infinite
    tool->set("SettingsType", 1);
    tool->set("FocusPosition", value("FocalLength"));
    EXPECT_NE(told().find("FocalLength"), std::string::npos) << told();
    EXPECT_FALSE(fs::exists(options.output));
}
