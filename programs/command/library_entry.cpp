// The way into the library with all verbs.

#include "programs/command/commands.h"

// As run_command; the program looks it up by this name.
extern "C" __attribute__((visibility("default"))) int focusfall_run_command(
    int argc, const char* const* argv) {
    return focusfall::run_command(argc, argv);
}
