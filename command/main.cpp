// The `focusfall` command: parses the line and runs one verb.

#include <exception>
#include <iostream>

#include "command/commands.h"
#include "command/interruption.h"

int main(int argc, char** argv) {
    CLI::App app("Blurs pictures by depth, as a camera lens does.", "focusfall");
    app.require_subcommand(1);
    app.set_version_flag("--version", FOCUSFALL_VERSION);
    add_render_command(app);
    add_controls_command(app);
    add_tools_command(app);
    add_kernels_command(app);
    add_demo_command(app);
    add_help_commands(app);

    try {
        app.parse(argc, argv);
    } catch (const CLI::RuntimeError& error) {  // a verb has told what is wrong
        return error.get_exit_code();
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : 2;
    } catch (const interrupted&) {
        return INTERRUPTED_STATUS;
    } catch (const std::exception& error) {
        std::cerr << "focusfall: " << error.what() << "\n";
        return 1;
    }
    return 0;
}
