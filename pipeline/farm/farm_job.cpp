#include "pipeline/farm/farm_job.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <fstream>

#include <nlohmann/json.hpp>

#include "host/error.h"
#include "host/text.h"
#include "pipeline/shots/frame_range.h"

namespace focusfall {

namespace {

namespace fs = std::filesystem;
using headless::host_error;
using headless::shell_word;

constexpr std::uint64_t MIB = 1 << 20;

// What engines show. They take neither spaces nor braces as they stand, and names of up
// to 128 letters.
std::string name_of(const farm_job& job) {
    constexpr std::size_t MAX_LETTERS = 100;
    std::string name = "focusfall-" + job_folder(job.output).stem().string();
    const auto is_special = [](unsigned char letter) {
        return std::isalnum(letter) == 0 && letter != '.' && letter != '-';
    };
    std::ranges::replace_if(name, is_special, '_');
    return name.substr(0, MAX_LETTERS);
}

fs::path absolute_folder(const farm_job& job) {
    return (job.folder / job_folder(job.output)).lexically_normal();
}

std::vector<int> all_frames(const farm_job& job) {
    std::vector<int> frames;
    for (const auto& task : job.tasks) {
        frames.insert(frames.end(), task.begin(), task.end());
    }
    return frames;
}

void write_text(const fs::path& file, const std::string& text) {
    std::ofstream stream(file);
    stream << text;
    if (stream.flush()) return;
    throw host_error(file.string() + ": cannot be written: " + std::strerror(errno));
}

// What Slurm reads from the head of a script. It puts the number of the task in place of
// %a, and % in place of %%. A task whose machine is lost is queued again.
std::string slurm_head(const farm_job& job) {
    std::string printed;
    for (const char letter : absolute_folder(job).string()) {
        printed += letter == '%' ? "%%" : std::string(1, letter);
    }
    std::string text = "#SBATCH --job-name=" + name_of(job) + "\n" +
                       "#SBATCH --cpus-per-task=" + std::to_string(job.cores) + "\n" +
                       "#SBATCH --mem=" + std::to_string(job.bytes / MIB) + "M\n" +
                       "#SBATCH --requeue\n#SBATCH --open-mode=append\n" +
                       "#SBATCH --output=" + shell_word(printed + "/log/%a.txt") + "\n";
    if (!job.partition.empty()) {
        text += "#SBATCH --partition=" + shell_word(job.partition) + "\n";
    }
    return text;
}

// The script as a word of a shell's line in a template. Engines put values in place of
// what stands between {{ and }}, and know no way to write these braces; between quotes
// that end and begin again they stay apart.
std::string script_in_template(const farm_job& job) {
    std::string word;
    for (const char letter : shell_word((absolute_folder(job) / "job.sh").string())) {
        word += letter;
        if (letter == '{') word += "''";
    }
    return word;
}

}  // namespace

std::vector<std::vector<int>> chunks_of(const std::vector<int>& frames,
                                        std::size_t size) {
    constexpr std::size_t MAX_TASKS = 1000;  // Slurm's array, as it is installed
    constexpr std::size_t MIN_FRAMES = 4;  // a process takes as long to start as a frame
    if (size == 0) {
        size = std::max(MIN_FRAMES, (frames.size() + MAX_TASKS - 1) / MAX_TASKS);
    }
    std::vector<std::vector<int>> chunks;
    for (std::size_t i = 0; i < frames.size(); ++i) {
        if (i % size == 0) chunks.emplace_back();
        chunks.back().push_back(frames[i]);
    }
    return chunks;
}

fs::path job_folder(const std::string& output) {
    const fs::path path(output);
    std::string name = path.filename().string();
    name.resize(std::min(name.find_first_of("#%"), name.size()));
    name.resize(name.find_last_not_of("._-") + 1);
    return path.parent_path() / ((name.empty() ? "shot" : name) + ".farm");
}

// A task that was lost is begun again by whoever wants it, with the same number: frames
// that are there are left out. The lock keeps it from running twice at once; the end of
// the process, whatever ends it, takes the lock away.
std::string job_script(const farm_job& job) {
    std::string render = shell_word(job.command.string());
    for (const std::string& word : job.words) render.append(" ").append(shell_word(word));
    if (!job.sets_threads) {
        render += " ${SLURM_CPUS_PER_TASK:+--threads \"$SLURM_CPUS_PER_TASK\"}";
    }
    return "#!/bin/bash\n" + slurm_head(job) + R"(
# job.sh N renders the frames in line N of the file tasks, job.sh summary tells what became
# of all frames, job.sh alone does all of it here.
job=)" + shell_word(absolute_folder(job).string()) +
           R"(
cd )" + shell_word(job.folder.string()) +
           R"( || exit 1

task=${1:-${SLURM_ARRAY_TASK_ID:-}}
case $task in
    '')
        status=0
        for ((i = 1; i <= $(wc -l <"$job/tasks"); ++i)); do
            bash "$job/job.sh" $i || status=1
        done
        bash "$job/job.sh" summary
        exit $status
        ;;
    summary)
        )" +
           shell_word(job.command.string()) + " shot-status " + shell_word(job.output) +
           " --frames " + shown_frames(all_frames(job)) + R"( --json >"$job/summary.new"
        exec mv "$job/summary.new" "$job/summary.json"
        ;;
esac

frames=$(sed -n "${task}p" "$job/tasks")
if [ -z "$frames" ]; then
    echo "focusfall: $job/tasks: has no task $task" >&2
    exit 1
fi
exec 9>>"$job/lock/$task"
flock 9
exec )" + render +
           R"( --frames "$frames" --skip-existing --log "$job/log/$task.jsonl"
)";
}

std::string openjd_template(const farm_job& job) {
    using json = nlohmann::ordered_json;
    const std::string line = "exec bash " + script_in_template(job) + " \"$0\"";
    const auto run = [&](const std::string& task) -> json {
        return {{"actions",
                 {{"onRun", {{"command", "bash"}, {"args", {"-c", line, task}}}}}}};
    };
    const json task{{"name", "Task"},
                    {"type", "INT"},
                    {"range", "1-" + std::to_string(job.tasks.size())}};
    const json needs = {{{"name", "amount.worker.vcpu"}, {"min", job.cores}},
                        {{"name", "amount.worker.memory"}, {"min", job.bytes / MIB}}};
    const json all{{"specificationVersion", "jobtemplate-2023-09"},
                   {"name", name_of(job)},
                   {"steps",
                    {{{"name", "Render"},
                      {"hostRequirements", {{"amounts", needs}}},
                      {"parameterSpace", {{"taskParameterDefinitions", {task}}}},
                      {"script", run("{{Task.Param.Task}}")}},
                     {{"name", "Summary"},
                      {"dependencies", {{{"dependsOn", "Render"}}}},
                      {"script", run("summary")}}}}};
    return all.dump(2) + "\n";
}

void write_job(const farm_job& job) {
    const fs::path folder = absolute_folder(job);
    // in the head of the script it would end a line
    if (folder.string().find('\n') != std::string::npos) {
        throw host_error(folder.string() + ": has a line break in its name");
    }
    if (is_running(folder)) {
        throw host_error(folder.string() +
                         ": tasks of this shot are running; wait for their end, which "
                         "`focusfall shot-status` tells, or end them");
    }
    std::error_code error;
    for (const char* part : {"lock", "log"}) {
        fs::remove_all(folder / part, error);
        fs::create_directories(folder / part, error);
        if (!error) continue;
        throw host_error((folder / part).string() +
                         ": cannot be made: " + error.message());
    }
    fs::remove(folder / "summary.json", error);
    std::string tasks;
    for (const auto& frames : job.tasks) tasks += shown_frames(frames) + "\n";
    write_text(folder / "tasks", tasks);
    write_text(folder / "job.sh", job_script(job));
    write_text(folder / "template.json", openjd_template(job));
}

bool is_running(const fs::path& folder) { return !running_tasks(folder).empty(); }

std::vector<std::size_t> running_tasks(const fs::path& folder) {
    std::vector<std::size_t> running;
    std::error_code none;
    for (const auto& entry : fs::directory_iterator(folder / "lock", none)) {
        const int file = open(entry.path().c_str(), O_RDONLY | O_CLOEXEC);
        if (file < 0) continue;
        if (flock(file, LOCK_SH | LOCK_NB) != 0) {
            const auto number = headless::number_in(entry.path().filename().string());
            running.push_back(static_cast<std::size_t>(number.value_or(0.0)));
        }
        close(file);
    }
    std::ranges::sort(running);
    return running;
}

}  // namespace focusfall
