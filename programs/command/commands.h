#pragma once
// The `focusfall` command and its verbs.

#include <CLI/CLI.hpp>

namespace focusfall {

// Runs a whole command line, `argv[0]` being the program's name, and prints errors on
// standard error. Gives the exit status: 0 on success, 1 when something failed, 2 for
// wrong usage, INTERRUPTED_STATUS after a signal. Throws nothing. A line that renders
// limits the memory of the process, and leaves its signals counted. [one thread, no
// others running]
int run_command(int argc, const char* const* argv);

// Each adds one verb with its options to `app`. The verb's work runs when a line is
// parsed; it throws std::exception for a fault, CLI::RuntimeError for one that it has
// printed, and `interrupted`.
void add_tools_command(CLI::App& app);        // lists the registered tool classes
void add_controls_command(CLI::App& app);     // lists, edits and saves controls
void add_render_command(CLI::App& app);       // renders pictures
void add_view_command(CLI::App& app);         // shows a picture in the browser
void add_inspect_command(CLI::App& app);      // tells what is in a picture
void add_kernels_command(CLI::App& app);      // draws kernels
void add_demo_command(CLI::App& app);         // makes and renders a scene
void add_submit_command(CLI::App& app);       // queues a shot on an engine
void add_shot_status_command(CLI::App& app);  // tells what became of its frames
void add_help_commands(CLI::App& app);        // print help, manual page and completions

}  // namespace focusfall
