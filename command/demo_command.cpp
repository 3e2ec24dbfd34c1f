#include "command/commands.h"

void add_demo_command(CLI::App& /*app*/) {}
