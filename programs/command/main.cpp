// The `focusfall` command.

#include <fcntl.h>
#include <unistd.h>

#include "programs/command/commands.h"

namespace {

// Where the caller closed a standard stream, the next file that is opened would take its
// place, and get the messages.
void fill_closed_streams() {
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
        if (fcntl(stream, F_GETFD) < 0) open("/dev/null", O_RDWR);
    }
}

}  // namespace

int main(int argc, char** argv) {
    fill_closed_streams();
    return focusfall::run_command(argc, argv);
}
