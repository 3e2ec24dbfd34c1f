#include "command/commands.h"

void add_render_command(CLI::App& /*app*/) {}
