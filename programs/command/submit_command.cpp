#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "host/text.h"
#include "pipeline/farm/farm_job.h"
#include "pipeline/farm/farm_needs.h"
#include "programs/command/asked_shot.h"
#include "programs/command/message.h"
#include "programs/command/picture_verbs.h"
#include "programs/command/usage_fault.h"

namespace focusfall {

namespace {

namespace fs = std::filesystem;
using texts = std::vector<std::string>;

constexpr const char* RENDER = "render";

// Parses the words of the render as the command does. Throws CLI::RuntimeError once it
// has said what is wrong.
std::unique_ptr<render_line> parsed(const texts& words) {
    auto line = std::make_unique<render_line>();
    CLI::App app("", "focusfall");
    line->add_to(*app.add_subcommand(RENDER));
    try {
        app.parse(texts(words.rbegin(), words.rend()));
    } catch (const CLI::ParseError& error) {
        print_message(usage_fault(app, words, error));
        throw CLI::RuntimeError(2);
    }
    if (app.get_subcommands().empty()) {
        throw CLI::ValidationError("submit",
                                   "takes a render, as in: -- render in.####.exr "
                                   "-o out.####.exr --frames 1-48");
    }
    return line;
}

// The words but for those that each task has of its own.
texts common_words(const texts& words) {
    texts kept;
    for (std::size_t i = 0; i < words.size(); ++i) {
        const std::string& word = words[i];
        if (word == "--frames" || word == "--log") {
            ++i;  // and its value
        } else if (!word.starts_with("--frames=") && !word.starts_with("--log=") &&
                   word != "--skip-existing") {
            kept.push_back(word);
        }
    }
    return kept;
}

bool has_word(const texts& words, const std::string& name) {
    return std::ranges::any_of(words, [&](const std::string& word) {
        return word == name || word.starts_with(name + "=");
    });
}

farm_job job_of(const submit_line& line) {
    const std::unique_ptr<render_line> render = parsed(line.words);
    render->focus.check(render->shared);
    shared_options shared = render->shared;
    shared.quiet = true;  // the tasks say what there is to say
    const shot_options shot = asked_shot(*render, shared);
    if (shot.frames.empty()) {
        throw headless::host_error(
            "a single picture needs no farm; give the frames of a "
            "shot by --frames");
    }
    render->input.prepare_lens(shared);
    session opened = opened_session(shared);
    const auto tool = created_tool(opened, shared);
    finish_tool(*tool, *render, shot, shared);
    const farm_needs needs = needs_of(shot, *tool);

    farm_job job;
    job.command = fs::read_symlink("/proc/self/exe");
    job.folder = fs::current_path();
    job.output = shot.output;
    job.words = common_words(line.words);
    // one after another on this machine, long tasks lose little between them
    constexpr std::size_t LOCAL_CHUNK = 100;
    const std::size_t usual = line.engine == "local" ? LOCAL_CHUNK : 0;
    job.tasks = chunks_of(shot.frames, line.chunk > 0 ? line.chunk : usual);
    job.bytes = needs.bytes;
    job.cores = shared.threads > 0 ? shared.threads : needs.cores;
    job.sets_threads = has_word(line.words, "--threads");
    job.partition = line.partition;
    return job;
}

// Runs a program, whose output is this one's, and gives its exit status.
int status_of_run(const texts& words) {
    std::vector<char*> arguments;
    for (const std::string& word : words) {
        arguments.push_back(const_cast<char*>(word.c_str()));
    }
    arguments.push_back(nullptr);
    pid_t process = 0;
    const int error =
        posix_spawnp(&process, arguments[0], nullptr, nullptr, arguments.data(), environ);
    if (error != 0) {
        throw headless::host_error(words[0] + ": cannot be run: " + std::strerror(error));
    }
    int status = 0;
    waitpid(process, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// What the program printed, without its line end. Throws when it fails.
std::string output_of_run(const std::string& line) {
    FILE* pipe = popen(line.c_str(), "r");
    std::string text;
    std::array<char, 256> part{};
    while (pipe && std::fgets(part.data(), part.size(), pipe)) text += part.data();
    if (!pipe || pclose(pipe) != 0) throw CLI::RuntimeError(1);  // it has said why
    return headless::without_line_end(text);
}

// Queues the tasks as an array, and what is done after the last of them, however it ends.
void queue_on_slurm(const farm_job& job, const std::string& script) {
    const std::string array =
        output_of_run("sbatch --parsable --array=1-" + std::to_string(job.tasks.size()) +
                      " " + headless::shell_word(script));
    const std::string id = array.substr(0, array.find(';'));  // a cluster may follow
    output_of_run("sbatch --parsable --dependency=afterany:" + id +
                  " --cpus-per-task=1 --mem=256M " + headless::shell_word(script) +
                  " summary");
    std::cout << "queued: " << job.tasks.size() << " tasks as job " << id << "\n";
}

}  // namespace

void run(const submit_line& line) {
    const farm_job job = job_of(line);
    if (line.only_shows) {
        std::cout << (line.engine == "openjd" ? openjd_template(job) : job_script(job));
        return;
    }
    write_job(job);
    const fs::path folder = job.folder / job_folder(job.output);
    if (line.engine == "openjd") {
        std::cout << (folder / "template.json").string() << "\n";
    } else if (line.engine == "local") {
        const int status = status_of_run({"bash", folder / "job.sh"});
        if (status != 0) throw CLI::RuntimeError(status);
    } else {
        queue_on_slurm(job, folder / "job.sh");
    }
}

}  // namespace focusfall
