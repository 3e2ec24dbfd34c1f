#include "command/commands.h"

void add_kernels_command(CLI::App& /*app*/) {}
