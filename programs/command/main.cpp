// The `focusfall` command.

#include "programs/command/commands.h"

int main(int argc, char** argv) { return focusfall::run_command(argc, argv); }
