#pragma once
// The verbs of the `focusfall` command. Each adds a subcommand with its options to `app`;
// its work runs when the line is parsed, and reports faults by exceptions.

#include <CLI/CLI.hpp>

namespace focusfall {

void add_tools_command(CLI::App& app);     // lists the registered tool classes
void add_controls_command(CLI::App& app);  // lists, edits and saves controls
void add_render_command(CLI::App& app);    // renders pictures
void add_kernels_command(CLI::App& app);   // draws kernels
void add_demo_command(CLI::App& app);      // makes and renders a scene
void add_help_commands(CLI::App& app);     // print the manual page and completions

}  // namespace focusfall
