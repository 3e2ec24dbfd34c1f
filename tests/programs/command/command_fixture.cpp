#include "tests/programs/command/command_fixture.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <iomanip>
#include <sstream>

#include "programs/command/commands.h"

namespace focusfall {

namespace {

namespace fs = std::filesystem;

// The words of a command line, which stand in single quotes where they have blanks, with
// a null pointer behind the last.
class arguments {
  public:
    arguments(const std::string& program, const std::string& line) {
        std::istringstream words(program + " " + line);
        for (std::string word; words >> std::quoted(word, '\'');) texts_.push_back(word);
        for (std::string& text : texts_) pointers_.push_back(text.data());
        pointers_.push_back(nullptr);
    }
    int count() const { return static_cast<int>(texts_.size()); }
    char** pointers() { return pointers_.data(); }

  private:
    std::vector<std::string> texts_;
    std::vector<char*> pointers_;
};

constexpr int STOPPING[] = {SIGINT, SIGTERM, SIGHUP};

// Moves this process to `folder`, and at the end puts back all that a command line
// changes in its process: the folder, what signals do and the limit on memory.
class visit {
  public:
    explicit visit(const fs::path& folder) : folder_(fs::current_path()) {
        for (int i = 0; i < 3; ++i) sigaction(STOPPING[i], nullptr, &actions_[i]);
        getrlimit(RLIMIT_DATA, &memory_);
        fs::current_path(folder);
    }
    ~visit() {
        fs::current_path(folder_);
        setrlimit(RLIMIT_DATA, &memory_);
        for (int i = 0; i < 3; ++i) sigaction(STOPPING[i], &actions_[i], nullptr);
    }
    visit(const visit&) = delete;
    visit& operator=(const visit&) = delete;

  private:
    fs::path folder_;
    struct sigaction actions_[3]{};
    rlimit memory_{};
};

}  // namespace

run_result command_test::run(const std::string& line) const {
    arguments words("focusfall", line);
    const visit here(folder());
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    run_result ran;
    ran.status = run_command(words.count(), words.pointers());
    ran.output = testing::internal::GetCapturedStdout();
    ran.errors = testing::internal::GetCapturedStderr();
    return ran;
}

pid_t command_test::start(const std::string& line, int ignored) const {
    arguments words(COMMAND_FILE, line);
    const std::string output = path("output.txt");
    const std::string errors = path("errors.txt");
    const pid_t process = fork();
    if (process != 0) return process;

    // the child: only what is safe after fork
    for (const int signal : STOPPING) {
        ::signal(signal, signal == ignored ? SIG_IGN : SIG_DFL);
    }
    dup2(open(output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), STDOUT_FILENO);
    dup2(open(errors.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), STDERR_FILENO);
    if (chdir(folder().c_str()) == 0) execv(words.pointers()[0], words.pointers());
    _exit(99);
}

run_result command_test::wait(pid_t process) const {
    int ended = 0;
    waitpid(process, &ended, 0);
    std::ostringstream output;
    std::ostringstream errors;
    output << std::ifstream(path("output.txt")).rdbuf();
    errors << std::ifstream(path("errors.txt")).rdbuf();
    const int status = WIFSIGNALED(ended) ? 128 + WTERMSIG(ended) : WEXITSTATUS(ended);
    return {status, output.str(), errors.str()};
}

picture command_test::rendered(const std::string& line, const std::string& output) const {
    const run_result ran = run("render " + line + " -o " + output);
    if (ran.status != 0) throw std::runtime_error(line + ": " + ran.errors);
    return read_picture(path(output));
}

}  // namespace focusfall
