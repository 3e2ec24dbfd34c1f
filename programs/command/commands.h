#pragma once
// The `focusfall` command and its verbs.

#include <CLI/CLI.hpp>

namespace focusfall {

// Runs a whole command line, `argv[0]` being the program's name, and prints errors on
// standard error. Gives the exit status: 0 on success, 1 when something failed, 2 for
// wrong usage, INTERRUPTED_STATUS after a signal. Throws nothing but needs_pictures
// (picture_library.h), and that in the program alone. A line that renders limits the
// memory of the process, and leaves its signals counted. [one thread, no others running]
int run_command(int argc, const char* const* argv);

// Each adds one verb with its options to `app`. The verb's work runs when a line is
// parsed, and throws as that of the others (picture_verbs.h).
void add_tools_command(CLI::App& app);  // lists the registered tool classes
void add_help_commands(CLI::App& app);  // print help, manual page and completions

}  // namespace focusfall
