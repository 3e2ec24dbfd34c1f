// Shots: several frames in one run.

#include <sys/file.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <fstream>
#include <random>

#include <nlohmann/json.hpp>

#include "tests/programs/command/command_fixture.h"

using namespace focusfall;

namespace {

namespace fs = std::filesystem;

class shots : public command_test {
  protected:
    bool is_there(int frame) const { return fs::exists(out(frame)); }
    picture output(int frame) const { return read_picture(out(frame)); }

    std::vector<nlohmann::json> log_lines() const {
        std::vector<nlohmann::json> lines;
        std::ifstream log(path("log.jsonl"));
        for (std::string line; std::getline(log, line);) {
            lines.push_back(nlohmann::json::parse(line));
        }
        return lines;
    }
};

const std::string SHOT = "render in.####.exr -o out.%04d.exr --set MaxBlurSize=6 ";

}  // namespace

TEST_F(shots, GoOnAfterAFrameThatFails) {
    write_frames(4);
    fs::remove(path("in.0002.exr"));
    fs::resize_file(path("in.0003.exr"), 1000);
    const run_result ran = run(SHOT + "--frames 1-4 --log log.jsonl");
    EXPECT_EQ(ran.status, 1);
    EXPECT_TRUE(is_there(1) && is_there(4));
    EXPECT_FALSE(is_there(2) || is_there(3));
    EXPECT_NE(ran.errors.find("frame 2: in.0002.exr: "), std::string::npos) << ran.errors;
    EXPECT_NE(ran.errors.find("frame 3: in.0003.exr: "), std::string::npos) << ran.errors;
    EXPECT_NE(ran.errors.find("2 of 4 frames failed: 2, 3"), std::string::npos);

    // what is there is left out, what is missing is made up for
    write_frames(4);
    const auto before = fs::last_write_time(path("out.0001.exr"));
    const run_result again = run(SHOT + "--frames 1-4 --skip-existing --log log.jsonl");
    EXPECT_EQ(again.status, 0);
    EXPECT_NE(again.errors.find("2 of 4 frames were there"), std::string::npos);
    EXPECT_NE(again.errors.find("2 of 2: out.0003.exr, "), std::string::npos);
    EXPECT_TRUE(is_there(2) && is_there(3));
    EXPECT_EQ(fs::last_write_time(path("out.0001.exr")), before);
    std::map<std::string, int> counts;
    for (const auto& line : log_lines()) ++counts[line.at("status")];
    EXPECT_EQ(counts,
              (std::map<std::string, int>{{"done", 4}, {"failed", 2}, {"skipped", 2}}));
}

TEST_F(shots, RemoveTheTemporaryFilesOfKilledRunsOnly) {
    write_frames(1);
    std::ofstream(path(".focusfall-1-0.tmp")) << "left behind";
    const std::string used = path(".focusfall-2-0.tmp");
    const int descriptor = open(used.c_str(), O_RDWR | O_CREAT, 0600);
    ASSERT_EQ(flock(descriptor, LOCK_EX), 0);
    EXPECT_EQ(run(SHOT + "--frames 1").status, 0);
    EXPECT_EQ(hidden_files(), std::vector<std::string>{".focusfall-2-0.tmp"});
    close(descriptor);
}

TEST_F(shots, HoldNoPartialFileWheneverTheyAreKilled) {
    constexpr int FRAMES = 4;
    constexpr int KILLS = 25;
    write_frames(FRAMES);
    const std::string line = SHOT + "--frames 1-4 --quiet ";
    const auto start_time = std::chrono::steady_clock::now();
    ASSERT_EQ(run(line).status, 0);
    const auto whole_run = std::chrono::duration_cast<std::chrono::microseconds>(
        std::chrono::steady_clock::now() - start_time);

    std::mt19937 random(99);
    std::uniform_int_distribution<std::int64_t> moment(0, whole_run.count());
    int killed = 0;
    for (int i = 0; i < KILLS; ++i) {
        for (int frame = 1; frame <= FRAMES; ++frame) fs::remove(out(frame));
        const pid_t process = start(line);
        usleep(static_cast<useconds_t>(moment(random)));
        kill(process, SIGKILL);
        killed += wait(process).status == 128 + SIGKILL ? 1 : 0;
        for (int frame = 1; frame <= FRAMES; ++frame) {
            if (is_there(frame)) {
                EXPECT_NO_THROW(output(frame)) << "frame " << frame << ", kill " << i;
            }
        }
    }
    EXPECT_GT(killed, KILLS / 4);
    ASSERT_EQ(run(line + "--skip-existing").status, 0);
    for (int frame = 1; frame <= FRAMES; ++frame) EXPECT_NO_THROW(output(frame));
    EXPECT_TRUE(hidden_files().empty());
}
