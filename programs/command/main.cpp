// The `focusfall` command. It runs a line that needs no picture files itself, and has the
// library with the other verbs run all others.

#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <string>

#include "pipeline/settings/installation.h"
#include "programs/command/commands.h"
#include "programs/command/message.h"
#include "programs/command/picture_library.h"

namespace focusfall {

void need_pictures() { throw needs_pictures(); }

void run(const render_line& /*line*/) { need_pictures(); }
void run(const view_line& /*line*/) { need_pictures(); }
void run(const inspect_line& /*line*/) { need_pictures(); }
void run(const kernels_line& /*line*/) { need_pictures(); }
void run(const demo_line& /*line*/) { need_pictures(); }
void run(const submit_line& /*line*/) { need_pictures(); }
void run(const status_line& /*line*/) { need_pictures(); }

void take_from_picture(headless::tool& /*tool*/, const controls_line& /*line*/,
                       const shared_options& /*shared*/) {
    need_pictures();
}

}  // namespace focusfall

namespace {

// Where the caller closed a standard stream, the next file that is opened would take its
// place, and get the messages.
void fill_closed_streams() {
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
        if (fcntl(stream, F_GETFD) < 0) open("/dev/null", O_RDWR);
    }
}

// As run_command, by the library, which stays loaded.
int run_in_library(int argc, const char* const* argv) {
    const auto file =
        focusfall::installed_plugin_folder().parent_path() / PICTURE_LIBRARY;
    void* const library = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    void* const entry = library ? dlsym(library, "focusfall_run_command") : nullptr;
    if (!entry) {
        focusfall::print_message(std::string(dlerror()) +
                                 "; install focusfall and what it depends on again");
        return 1;
    }
    return reinterpret_cast<int (*)(int, const char* const*)>(entry)(argc, argv);
}

}  // namespace

int main(int argc, char** argv) {
    fill_closed_streams();
    try {
        return focusfall::run_command(argc, argv);
    } catch (const focusfall::needs_pictures&) {
        return run_in_library(argc, argv);
    }
}
