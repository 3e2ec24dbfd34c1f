#pragma once
// A shot as tasks that an engine of a render farm runs: a folder with one script, which
// runs `focusfall render` for the frames of a task, and what the tasks leave there.
//
//     out.farm/job.sh        the script; engines call it with the number of a task
//     out.farm/tasks         a line for each task: its frames, as in 1-8
//     out.farm/lock/N        locked while task N runs
//     out.farm/log/N.jsonl   the log of task N, as --log writes it
//     out.farm/log/N.txt     what task N printed
//     out.farm/summary.json  what became of the frames, written after the last task

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace focusfall {

struct farm_job {
    std::filesystem::path command;        // the program `focusfall`, absolute
    std::filesystem::path folder;         // where its relative names begin, absolute
    std::string output;                   // with its place for the frame number
    std::vector<std::string> words;       // of the render, without frames and log
    std::vector<std::vector<int>> tasks;  // the frames of each
    std::uint64_t bytes = 0;              // memory that a task takes
    int cores = 1;                        // that it uses
    bool sets_threads = false;            // the words say how many threads there are
    std::string partition;                // of the engine; optional: empty
};

// All below: [any thread]

// `frames` in pieces of `size`, in their order; a size of 0 makes as many pieces as one
// array of tasks usually may have, none below four frames.
std::vector<std::vector<int>> chunks_of(const std::vector<int>& frames, std::size_t size);

// The folder of the shot that writes `output`, beside it: "out.farm" for "out.####.exr".
std::filesystem::path job_folder(const std::string& output);

// The script of all engines: `job.sh N` renders task N, `job.sh summary` writes the
// summary, `job.sh` alone does all one after another. Its head asks the engine Slurm for
// what a task needs.
std::string job_script(const farm_job& job);

// A template in the format of Open Job Description (openjd.org), as JSON, whose tasks
// call the script.
std::string openjd_template(const farm_job& job);

// Makes the folder with script, tasks and template, in place of one that earlier tasks
// left. Throws headless::host_error that names what cannot be written, and when a task of
// the folder is still running.
void write_job(const farm_job& job);

// Whether some task of the folder runs now, on whatever machine that sees its locks.
bool is_running(const std::filesystem::path& folder);

// The numbers of the tasks that run now.
std::vector<std::size_t> running_tasks(const std::filesystem::path& folder);

}  // namespace focusfall
