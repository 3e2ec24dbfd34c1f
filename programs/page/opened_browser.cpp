#include "programs/page/opened_browser.h"

#include <fcntl.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <system_error>

namespace focusfall {

namespace {

namespace fs = std::filesystem;

bool has_desktop() {
    return std::getenv("DISPLAY") != nullptr || std::getenv("WAYLAND_DISPLAY") != nullptr;
}

// Runs the opener, with nothing to say.
void spawn_opener(const fs::path& file) {
    posix_spawn_file_actions_t actions;
    if (posix_spawn_file_actions_init(&actions) != 0) return;
    for (const int stream : {STDOUT_FILENO, STDERR_FILENO}) {
        posix_spawn_file_actions_addopen(&actions, stream, "/dev/null", O_WRONLY, 0);
    }
    std::string name = file.string();
    std::string program = "xdg-open";
    char* arguments[] = {program.data(), name.data(), nullptr};
    pid_t process = 0;
    posix_spawnp(&process, "xdg-open", &actions, nullptr, arguments, environ);
    posix_spawn_file_actions_destroy(&actions);
}

}  // namespace

opened_browser::opened_browser(const std::string& address) {
    if (!has_desktop()) return;
    std::error_code unknown;
    std::string name =
        (fs::temp_directory_path(unknown) / "focusfall-XXXXXX.html").string();
    const int descriptor = mkostemps(name.data(), 5, O_CLOEXEC);  // for the user alone
    if (descriptor < 0) return;
    file_ = name;
    const std::string page =
        "<!doctype html><title>Focusfall</title>"
        "<meta http-equiv=refresh content=\"0; url=" +
        address + "\">";
    const bool is_written =
        write(descriptor, page.data(), page.size()) == static_cast<ssize_t>(page.size());
    close(descriptor);
    if (is_written) spawn_opener(file_);
}

opened_browser::~opened_browser() {
    std::error_code ignored;
    if (!file_.empty()) fs::remove(file_, ignored);
}

}  // namespace focusfall
