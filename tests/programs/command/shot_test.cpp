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
    for (const int i : {2, 3}) {
        write_scene(in(i), {3 * i, -i, 60, 40}, {0, 0, 64, 48}, i);
    }
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

TEST_F(shots, SayWhichFramesAreStaleAndRenderThoseAgain) {
    write_frames(3);
    const std::string line = SHOT + "--frames all --skip-existing --set FocusPosition=";
    ASSERT_EQ(run(line + "300").status, 0);
    EXPECT_TRUE(is_there(1) && is_there(2) && is_there(3));
    const run_result same = run(line + "300");
    EXPECT_EQ(same.errors, "focusfall: 3 of 3 frames were there\n");
    const auto time = fs::last_write_time(path(in(2)));
    fs::last_write_time(path(in(2)), time + std::chrono::seconds(1));
    const run_result newer = run(line + "300");
    EXPECT_NE(newer.errors.find("3 of 3 frames were there; 1 of them stale and rendered "
                                "again (the first by input/time)\n"),
              newer.errors.npos)
        << newer.errors;
    const run_result other = run(line + "310");
    EXPECT_NE(other.errors.find("3 of them stale and rendered again (the first by "
                                "settings/FocusPosition)\n"),
              other.errors.npos)
        << other.errors;
    EXPECT_EQ(run(line + "310").errors, "focusfall: 3 of 3 frames were there\n");

    fs::resize_file(path("out.0002.exr"), fs::file_size(path("out.0002.exr")) - 40);
    const run_result cut = run(line + "310");
    EXPECT_NE(cut.errors.find("(the first by a damaged file)\n"), std::string::npos)
        << cut.errors;
    EXPECT_EQ(run(line + "310").errors, "focusfall: 3 of 3 frames were there\n");
}

TEST_F(shots, OfAllFramesHaveTheMissingOnesBetweenThem) {
    write_frames(4);
    fs::remove(path(in(3)));
    EXPECT_EQ(run(SHOT + "--frames all").status, 1);
    EXPECT_TRUE(is_there(4));
    EXPECT_EQ(run(SHOT + "--frames all --missing nearest").status, 0);
    EXPECT_TRUE(is_there(3));
}

TEST_F(shots, LeaveOutMissingFramesOrFillThemUp) {
    write_frames(4);
    fs::remove(path(in(2)));
    fs::remove(path(in(3)));
    EXPECT_EQ(run(SHOT + "--frames 1-4 --missing error").status, 1);
    const run_result skipped = run(SHOT + "--frames 1-4 --missing skip --log log.jsonl");
    EXPECT_EQ(skipped.status, 0);
    EXPECT_NE(skipped.errors.find("no files for 2 frames, left out: 2-3\n"),
              skipped.errors.npos)
        << skipped.errors;
    EXPECT_EQ(log_lines()[0].at("status"), "missing");
    EXPECT_FALSE(is_there(2) || is_there(3));
    const run_result filled = run(SHOT + "--frames 1-4 --missing nearest");
    EXPECT_NE(filled.errors.find("no files for 2 frames, made from the nearest: 2-3\n"),
              filled.errors.npos)
        << filled.errors;
    EXPECT_EQ(values(output(2)[0], "G"), values(output(1)[0], "G"));
    EXPECT_EQ(values(output(3)[0], "G"), values(output(4)[0], "G"));
}

TEST_F(shots, TakeABackgroundForEachFrame) {
    write_frames(3);
    const auto write_wall = [&](int frame, double shift) {
        auto channels = scene_channels(9);
        // farther than the scene
        channels.back().value = [=](int x, int) { return 5000.0 + x + shift; };
        const std::string name = "wall.000" + std::to_string(frame) + ".exr";
        return write(name, made_part({0, 0, 64, 48}, {0, 0, 64, 48}, channels));
    };
    for (int frame = 1; frame <= 3; ++frame) write_wall(frame, frame);
    const std::string line = SHOT +
                             "--frames 1-3 --skip-existing --set FocusPosition=300 "
                             "--background wall.####.exr ";
    EXPECT_EQ(run(line + "--tool layered").status, 0);
    EXPECT_EQ(run(line + "--tool layered").errors,
              "focusfall: 3 of 3 frames were there\n");
    const auto record = nlohmann::json::parse(
        std::string(output(2)[0].spec.get_string_attribute("focusfall")));
    EXPECT_TRUE(
        record.at("background").at("file").get<std::string>().ends_with("wall.0002.exr"));
    // made again with it, and from it if it is another one
    const auto before = values(output(2)[0], "G");
    EXPECT_EQ(values(rendered("--from-record out.0002.exr", "again.exr")[0], "G"),
              before);
    fs::last_write_time(write_wall(2, 0.5), fs::file_time_type());
    const run_result newer = run(line + "--tool layered");
    EXPECT_NE(newer.errors.find("1 of them stale and rendered again (the first by "
                                "background/time)\n"),
              newer.errors.npos)
        << newer.errors;
    fs::remove(path("wall.0003.exr"));
    const run_result missing =
        run(line + "--tool layered --missing skip --set FocusPosition=301");
    EXPECT_NE(missing.errors.find("left out: 3\n"), missing.errors.npos)
        << missing.errors;
    // other tools do not know what lies behind
    const run_result fast = run(line + "--tool fast");
    EXPECT_EQ(fast.status, 1);
    EXPECT_NE(fast.errors.find("takes no background; take the one that knows what hides "
                               "what, by --tool layered"),
              fast.errors.npos)
        << fast.errors;
}

TEST_F(shots, MakeAFrameAgainByItsRecord) {
    write_frames(2);
    // one thread: on several, the plain tool adds in the order in which they come
    ASSERT_EQ(run(SHOT + "--frames 1-2 --set FocusPosition=1:290.5,2:330 "
                         "--tool kestrelworks.Focusfall --data-type float --threads 1")
                  .status,
              0);
    const auto bytes_of = [&](const std::string& name) {
        std::ifstream file(path(name), std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(file), {});
    };
    const std::string before = bytes_of("out.0002.exr");
    const run_result again =
        run("render --threads 1 --from-record out.0002.exr -o again.exr");
    EXPECT_EQ(again.status, 0) << again.errors;
    EXPECT_TRUE(bytes_of("again.exr") == before);
    fs::remove(path("again.exr"));

    // in its own place, and with a change
    EXPECT_EQ(run("render --threads 1 --from-record out.0002.exr --set FocusPosition=300")
                  .status,
              0);
    const auto record = nlohmann::json::parse(
        std::string(output(2)[0].spec.get_string_attribute("focusfall")));
    EXPECT_EQ(record.at("settings").at("FocusPosition"), 300);
    EXPECT_EQ(record.at("tool"), "kestrelworks.Focusfall");
    EXPECT_EQ(run("render --threads 1 --from-record out.0002.exr --set FocusPosition=330")
                  .status,
              0);
    EXPECT_TRUE(bytes_of("out.0002.exr") == before);

    fs::last_write_time(path(in(1)), fs::file_time_type());
    EXPECT_NE(
        run("render --from-record out.0001.exr")
            .errors.find("in.0001.exr: has changed since out.0001.exr was made from it"),
        std::string::npos);
    EXPECT_EQ(run("render --from-record in.0001.exr").status, 1);
    EXPECT_EQ(run("render --from-record out.0001.exr --frames 1-2").status, 2);
}

// A frame counts as written when its file is there, and never otherwise.
TEST_F(shots, CountTheFramesThatAreThereWhenTheyAreInterrupted) {
    constexpr int FRAMES = 9;
    write_frames(FRAMES);
    for (const int wait_for : {1, 3, 6}) {
        for (int frame = 1; frame <= FRAMES; ++frame) fs::remove(out(frame));
        const pid_t process = start(SHOT + "--frames 1-9 --preview look.#.png --quiet");
        while (!is_there(wait_for) && kill(process, 0) == 0) usleep(200);
        kill(process, SIGINT);
        const run_result ran = wait(process);
        if (ran.status != 130) continue;  // it had ended
        int there = 0;
        for (int frame = 1; frame <= FRAMES; ++frame) there += is_there(frame) ? 1 : 0;
        EXPECT_NE(ran.errors.find("stopped; " + std::to_string(there) + " of 9 frames"),
                  std::string::npos)
            << there << ": " << ran.errors;
    }
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
