// Shots as tasks, and what became of their frames.

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include <nlohmann/json.hpp>

#include "host/text.h"
#include "tests/programs/command/command_fixture.h"

using namespace focusfall;

namespace {

namespace fs = std::filesystem;

class submits : public command_test {
  protected:
    std::string text_of(const std::string& name) const {
        std::ostringstream text;
        text << std::ifstream(path(name), std::ios::binary).rdbuf();
        return text.str();
    }
    run_result status(const std::string& more = "") const {
        return run("shot-status out.####.exr --frames 1-5 " + more);
    }
};

const std::string RENDER = "render in.####.exr --frames 1-5 --set MaxBlurSize=6 -o ";
const std::string HERE = "submit --engine local --chunk 2 -- " + RENDER;

bool has(const std::string& text, const std::string& part) {
    return text.find(part) != text.npos;
}

TEST_F(submits, TasksThatMakeTheFramesOfOneRun) {
    write_frames(5);
    EXPECT_EQ(run(RENDER + "whole.####.exr").status, 0);
    fs::rename(path("in.0003.exr"), path("later.exr"));
    EXPECT_TRUE(has(status().output, "5 waiting"));

    EXPECT_EQ(wait(start(HERE + "out.####.exr")).status, 1);
    run_result told = status();
    EXPECT_EQ(told.status, 1);
    EXPECT_TRUE(has(told.output, "5 frames, 4 done, 1 failed")) << told.output;
    EXPECT_TRUE(has(told.output, "failed 3: in.0003.exr: there is no")) << told.output;

    // what is missing is made, and nothing else
    fs::rename(path("later.exr"), path("in.0003.exr"));
    const auto before = fs::last_write_time(out(4));
    const run_result again = wait(start(HERE + "out.####.exr"));
    EXPECT_EQ(again.status, 0) << again.errors;
    EXPECT_EQ(fs::last_write_time(out(4)), before);
    const auto summary = nlohmann::json::parse(text_of("out.farm/summary.json"));
    EXPECT_EQ(summary.at("done"), (nlohmann::json{1, 2, 3, 4, 5}));
    EXPECT_EQ(summary.at("rendered"), 1);
    EXPECT_GT(summary.at("render_seconds"), 0.0);
    for (int frame = 1; frame <= 5; ++frame) {
        EXPECT_TRUE(text_of("out.000" + std::to_string(frame) + ".exr") ==
                    text_of("whole.000" + std::to_string(frame) + ".exr"))
            << frame;
    }
}

TEST_F(submits, ShotsWhoseStatusTellsWhatIsStaleDamagedOrRunning) {
    write_frames(5);
    ASSERT_EQ(wait(start(HERE + "out.####.exr")).status, 0);
    EXPECT_EQ(status().status, 0);
    fs::last_write_time(path("in.0002.exr"),
                        fs::last_write_time(path("in.0002.exr")) + std::chrono::hours(1));
    fs::resize_file(out(4), fs::file_size(out(4)) - 9);
    fs::remove(out(5));
    std::ofstream(path("out.farm/log/3.jsonl"), std::ios::app)
        << R"({"frame": 5, "status": "failed", "error": "lost"})"
        << "\n{\"frame\": 5, ";
    const run_result told = status();
    for (const char* part : {"2 done, 2 stale, 1 failed", "in.0002.exr has changed since",
                             "stale 4: the file is damaged", "failed 5: lost"}) {
        EXPECT_TRUE(has(told.output, part)) << part << ": " << told.output;
    }

    // a task holds its lock for as long as it runs
    const int lock = open(path("out.farm/lock/3").c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_EQ(flock(lock, LOCK_EX), 0);
    const auto running = nlohmann::json::parse(status("--json").output);
    EXPECT_EQ(running.at("running"), nlohmann::json{5});
    EXPECT_TRUE(running.at("failed").empty());
    const run_result twice = run(HERE + "out.####.exr");
    EXPECT_EQ(twice.status, 1);
    EXPECT_TRUE(has(twice.errors, "are running")) << twice.errors;
    close(lock);
}

TEST_F(submits, WhatEnginesReadAndNothingInADryRun) {
    write_frames(5);
    const std::string engine = "submit --dry-run --chunk 2 --engine ";
    const std::string script =
        run(engine + "slurm --partition night -- " + RENDER + "o'#.exr --log x.log")
            .output;
    for (const char* part : {"#SBATCH --mem=", "#SBATCH --partition=night",
                             "'o'\\''#.exr'", "--set MaxBlurSize=6", "--skip-existing"}) {
        EXPECT_TRUE(has(script, part)) << part << ": " << script;
    }
    EXPECT_FALSE(has(script, "x.log"));
    std::ofstream(path("job.sh")) << script;
    EXPECT_EQ(std::system(("bash -n " + path("job.sh")).c_str()), 0);

    // names that an engine would take apart
    fs::create_directory(path("50% {{x}}"));
    const std::string odd = run(engine + "slurm --partition 'day; night' -- " + RENDER +
                                "'50% {{x}}/a {{b}} #.exr'")
                                .output;
    for (const char* part :
         {"--job-name=focusfall-a___b___\n", "/50%% {{x}}/a {{b}} .farm/log/%a.txt'\n",
          "--partition='day; night'\n"}) {
        EXPECT_TRUE(has(odd, part)) << part << ": " << odd;
    }

    const auto openjd =
        nlohmann::json::parse(run(engine + "openjd -- " + RENDER + "out.#.exr").output);
    EXPECT_EQ(openjd.at("steps")[0]
                  .at("parameterSpace")
                  .at("taskParameterDefinitions")[0]
                  .at("range"),
              "1-3");
    EXPECT_FALSE(fs::exists(path("out.farm")));

    // an engine would take {{x}} for an expression; a shell finds the script all the same
    const auto odd_template = nlohmann::json::parse(
        run(engine + "openjd -- " + RENDER + "'50% {{x}}/a.#.exr'").output);
    const auto action =
        odd_template.at("steps")[0].at("script").at("actions").at("onRun");
    const std::string in_template = action.at("args").at(1);
    EXPECT_FALSE(has(in_template, "{{")) << in_template;
    fs::create_directory(path("50% {{x}}/a.farm"));
    std::ofstream(path("50% {{x}}/a.farm/job.sh")) << "exit $1\n";
    const int status =
        std::system(("bash -c " + headless::shell_word(in_template) + " 7").c_str());
    EXPECT_EQ(WEXITSTATUS(status), 7) << in_template;

    const std::pair<const char*, int> wrong[] = {
        {"submit --engine local -- render in.0001.exr -o out.exr", 1},
        {"submit --engine local -- render in.####.exr -o out.#.exr --frmes 1-5", 2},
        {"submit --engine cloud -- render in.####.exr -o out.#.exr --frames 1-5", 2},
        {"submit --engine local -- inspect in.0001.exr", 2},
        {"shot-status out.exr --frames 1-5", 1}};
    for (const auto& [line, expected] : wrong) {
        const run_result ran = run(line);
        EXPECT_EQ(ran.status, expected) << line << ": " << ran.errors;
        EXPECT_TRUE(ran.errors.starts_with("focusfall: ")) << line << ": " << ran.errors;
    }
}

}  // namespace
