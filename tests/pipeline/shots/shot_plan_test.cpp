// Which frames of a shot are rendered, and from which files.

#include "pipeline/shots/shot_plan.h"

#include <fstream>

#include "pipeline/shots/shot_files.h"
#include "tests/pipeline/shots/shot_fixture.h"

using namespace focusfall;

namespace {

namespace fs = std::filesystem;

class ShotPlan : public shot_test {
  protected:
    void make(std::initializer_list<const char*> names) const {
        for (const char* name : names) std::ofstream(path(name)) << "a picture";
    }

    static std::vector<int> numbers(const std::vector<frame_report>& reports) {
        std::vector<int> frames;
        for (const frame_report& report : reports) frames.push_back(report.frame);
        return frames;
    }
};

}  // namespace

TEST_F(ShotPlan, FindsTheFramesThatAreThere) {
    make({"a.0012.exr", "a.0009.exr", "a.10000.exr", "a.-0003.exr", "a.9.exr",
          "a.00011.exr", "a.0009.exr.bak", "b.0001.exr", "a.x.exr", "c.2.2.exr",
          "c.2.3.exr"});
    const auto there = [&](const char* pattern) { return frames_there(path(pattern)); };
    EXPECT_EQ(there("a.####.exr"), (std::vector{-3, 9, 12, 10000}));
    EXPECT_EQ(there("a.%04d.exr"), (std::vector{-3, 9, 12, 10000}));
    EXPECT_EQ(there("a.#.exr"), (std::vector{9, 10000}));
    EXPECT_EQ(there("c.#.%d.exr"), std::vector{2});
    for (const char* wrong :
         {"a.exr", "d.####.exr", "none/a.####.exr", "##/a.####.exr"}) {
        EXPECT_NE(error_of([&] { there(wrong); }), "") << wrong;
    }
}

TEST_F(ShotPlan, LeavesOutMissingFramesOrTakesTheNearestThatIsComplete) {
    make({"in.1.exr", "in.2.exr", "in.4.exr", "in.9.exr", "z.1.exr", "z.4.exr",
          "z.9.exr"});
    shot_options options = shot("in.#.exr", "out.#.exr");
    options.depth_map = path("z.#.exr");
    options.frames = {1, 2, 3, 4, 6, 7};
    EXPECT_EQ(numbers(plan_of(options, *tool).to_render), options.frames);

    options.missing = missing_frames::SKIP;
    const shot_plan skipped = plan_of(options, *tool);
    EXPECT_EQ(numbers(skipped.to_render), (std::vector{1, 4}));
    EXPECT_EQ(numbers(skipped.left_out), (std::vector{2, 3, 6, 7}));
    EXPECT_EQ(skipped.missing, (std::vector{2, 3, 6, 7}));
    EXPECT_EQ(skipped.left_out[0].error, path("z.2.exr") + ": there is no such file");

    options.missing = missing_frames::NEAREST;
    const shot_plan nearest = plan_of(options, *tool);
    EXPECT_EQ(numbers(nearest.to_render), options.frames);
    const int taken[] = {1, 1, 4, 4, 4, 9};
    for (std::size_t i = 0; i < 6; ++i) {
        const frame_files& files = nearest.to_render[i].files;
        EXPECT_EQ(files.input, path("in." + std::to_string(taken[i]) + ".exr"));
        EXPECT_EQ(files.depth_map, path("z." + std::to_string(taken[i]) + ".exr"));
        EXPECT_EQ(files.output,
                  path("out." + std::to_string(options.frames[i]) + ".exr"));
    }
    // a single picture is no frame to leave out
    shot_options single = shot("none.exr", "out.exr");
    single.missing = missing_frames::SKIP;
    EXPECT_EQ(plan_of(single, *tool).to_render.size(), 1U);
    for (const char* name : {"z.1.exr", "z.4.exr", "z.9.exr"}) fs::remove(path(name));
    EXPECT_NE(error_of([&] { plan_of(options, *tool); }).find("no frame is complete"),
              std::string::npos);
}

TEST_F(ShotPlan, RefusesToReplaceWhatIsWriteProtected) {
    make({"in.1.exr", "in.2.exr", "out.2.exr", "look.2.png"});
    shot_options options = shot("in.#.exr", "out.#.exr");
    options.preview = path("look.#.png");
    options.frames = {1, 2};
    EXPECT_EQ(plan_of(options, *tool).to_render.size(), 2U);
    for (const char* name : {"out.2.exr", "look.2.png"}) {
        fs::permissions(path(name), fs::perms::owner_read);
        const std::string error = error_of([&] { plan_of(options, *tool); });
        EXPECT_TRUE(error.starts_with(path(name) + ": is write-protected")) << error;
        fs::permissions(path(name), fs::perms::owner_all);
    }
    // one that need not be replaced may be protected
    write_scene("in.2.exr", {0, 0, 40, 30}, {0, 0, 40, 30});
    options.preview.clear();
    options.frames = {2};
    recorded_shot told;
    render_shot(options, *tool, told);
    fs::permissions(path("out.2.exr"), fs::perms::owner_read);
    EXPECT_NE(error_of([&] { render_shot(options, *tool, told); }), "");
    options.skip_existing = true;
    EXPECT_EQ(plan_of(options, *tool).current, 1U);
}
