// Where the command writes to, and what it says when the system refuses that.

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "tests/programs/command/command_fixture.h"

using namespace focusfall;

namespace {

using streams = command_test;

}  // namespace

// Through a shell, which redirects and closes what the command writes to.
TEST_F(streams, GetTheirOutputAloneOrTheCommandFails) {
    write_scene("in.exr", {0, 0, 20, 10}, {0, 0, 20, 10});
    const auto shell = [&](const std::string& line) {
        const std::string whole =
            "cd " + folder().string() + " && " + COMMAND_FILE + " " + line;
        return WEXITSTATUS(std::system(whole.c_str()));
    };
    const auto content = [&](const std::string& name) {
        std::ostringstream text;
        text << std::ifstream(path(name)).rdbuf();
        return text.str();
    };
    EXPECT_EQ(shell("controls >/dev/full 2>errors.txt"), 1);
    EXPECT_EQ(content("errors.txt"),
              "focusfall: the output cannot be written: No space left on device\n");
    // a message must not end in what is opened next
    EXPECT_EQ(shell("render in.exr -o out.exr --log log.jsonl 2>&-"), 0);
    EXPECT_TRUE(content("log.jsonl").starts_with("{\"frame\":0")) << content("log.jsonl");
}

TEST_F(streams, ThatTheSystemRefusesAreToldWithItsReason) {
    write_scene("in.exr", {0, 0, 20, 10}, {0, 0, 20, 10});
    std::filesystem::create_symlink("loop", path("loop"));
    for (const std::string line :
         {"render in.exr -o loop/o.exr", "render loop/in.exr -o o.exr",
          "render loop/in.#.exr -o o.#.exr --frames all", "inspect loop/in.exr",
          "controls --settings loop/s.json", "controls --save loop/s.json",
          "render in.exr -o o.exr --log loop/log"}) {
        const run_result ran = run(line);
        EXPECT_EQ(ran.status, 1) << line;
        EXPECT_NE(ran.errors.find("loop"), ran.errors.npos) << ran.errors;
        EXPECT_NE(ran.errors.find(": Too many levels of symbolic links"), ran.errors.npos)
            << ran.errors;
        EXPECT_EQ(ran.errors.find("filesystem error"), ran.errors.npos) << ran.errors;
    }
}

TEST_F(streams, GetTheSameWhereTheProgramLoadsWhatReadsPicturesAfterwards) {
    // before, that takes longer than a line that reads none
    setenv("LD_TRACE_LOADED_OBJECTS", "1", 1);
    const std::string loaded = wait(start("controls")).output;
    unsetenv("LD_TRACE_LOADED_OBJECTS");
    EXPECT_NE(loaded.find("libfocusfall_host"), loaded.npos) << loaded;
    EXPECT_EQ(loaded.find("OpenImageIO"), loaded.npos) << loaded;

    write_scene("in.exr", {0, 0, 20, 10}, {0, 0, 20, 10});
    for (const std::string line :
         {"controls --set FStop=3", "controls in.exr --focus-at 3,3 --set FStop=3",
          "controls --focus-at 3,3", "inspect in.exr --at 90,3", "render in.exr"}) {
        const run_result expected = run(line);
        const run_result ran = wait(start(line));
        EXPECT_EQ(ran.status, expected.status) << line;
        EXPECT_EQ(ran.output, expected.output) << line;
        EXPECT_EQ(ran.errors, expected.errors) << line;
    }
}
