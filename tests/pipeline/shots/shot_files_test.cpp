#include "pipeline/shots/shot_files.h"

#include <fstream>
#include <functional>

#include "tests/pipeline/shots/shot_fixture.h"

using namespace focusfall;

namespace {

namespace fs = std::filesystem;
using ShotFiles = shot_test;

TEST_F(ShotFiles, AreCheckedBeforeAnythingIsWritten) {
    for (const char* name : {"in.exr", "in.0001.exr", "in.0002.exr", "map.exr"}) {
        std::ofstream(path(name)) << "a picture";
    }
    fs::create_symlink("in.exr", path("link.exr"));
    using change = std::function<void(shot_options&)>;
    const std::vector<int> two{1, 2};
    const struct {
        change make;
        const char* told;  // empty: all is well
    } cases[] = {
        {[](auto&) {}, ""},
        {[&](auto& o) { o.output = path("link.exr"); }, "link.exr: is an input"},
        {[&](auto& o) { o.preview = o.depth_map = path("map.exr"); },
         "map.exr: is an input"},
        {[&](auto& o) { o.preview = o.output; },
         "out.exr: would be written twice, as output and preview"},
        {[&](auto& o) { o.log = path("in.exr"); }, "in.exr: is an input"},
        {[&](auto& o) { o.output = path("none/out.exr"); }, "its folder is missing"},
        {[&](auto& o) { o.output = path("out_%V.exr"); }, "--layer all-views"},
        {[&](auto& o) { o.preview = path("p.##.png"); }, "--frames"},
        {[&](auto& o) { o.input = path("in.####.exr"); }, "--frames"},
        {[&](auto& o) { o.frames = two; }, "out.exr: would be written twice; put ####"},
        {[&](auto& o) {
             o.frames = two;
             o.input = path("in.####.exr");
             o.output = path("in.%04d.exr");
         },
         "in.0001.exr: is an input"},
        {[&](auto& o) {
             o.frames = {2};
             o.output = path("in.000#.exr");
             o.input = path("in.000#.exr");
         },
         "in.0002.exr: is an input"},
        {[&](auto& o) {
             o.frames = two;
             o.output = path("out.#.exr");
         },
         ""}};
    for (const auto& [make, told] : cases) {
        shot_options options = shot("in.exr", "out.exr");
        make(options);
        const std::string error = error_of([&] { check_names(options); });
        EXPECT_EQ(error.empty(), *told == '\0') << error;
        EXPECT_NE(error.find(told), error.npos) << error;
    }
}

TEST_F(ShotFiles, AreThereOnceAllOfAFrameAre) {
    frame_files files;
    files.output = path("out.exr");
    EXPECT_FALSE(are_there(files));
    std::ofstream(files.output) << "";
    EXPECT_FALSE(are_there(files));
    std::ofstream(files.output) << "a picture";
    EXPECT_TRUE(are_there(files));
    files.preview = path("preview.png");
    EXPECT_FALSE(are_there(files));
}

}  // namespace
