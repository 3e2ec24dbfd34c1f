#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include "host/text.h"
#include "pipeline/process/interruption.h"
#include "programs/command/commands.h"

namespace focusfall {

namespace {

// The error message for the first word of the line; empty when it is a verb or an option.
std::string fault_of_verb(const CLI::App& app, const std::string& word) {
    std::vector<std::string> names;
    for (const CLI::App* verb : app.get_subcommands({})) {
        if (verb->get_name() == word) return "";
        if (!verb->get_group().empty()) names.push_back(verb->get_name());
    }
    if (word.starts_with('-')) return "";
    const std::string hint = headless::suggestion(word, names);
    return "there is no command \"" + word + "\"" +
           (hint.empty() ? "; `focusfall --help` lists all commands" : hint);
}

// Parses the line, and thereby runs its verb.
int parse_and_run(int argc, const char* const* argv) {
    CLI::App app("Blurs pictures by depth, as a camera lens does.", "focusfall");
    app.require_subcommand(1);
    app.set_version_flag("--version", FOCUSFALL_VERSION);
    add_render_command(app);
    add_controls_command(app);
    add_tools_command(app);
    add_kernels_command(app);
    add_demo_command(app);
    add_help_commands(app);

    const std::string fault = argc > 1 ? fault_of_verb(app, argv[1]) : "";
    if (!fault.empty()) {
        std::cerr << "focusfall: " << fault << "\n";
        return 2;
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::RuntimeError& error) {  // the verb has printed its message
        return error.get_exit_code();
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : 2;
    }
    return 0;
}

}  // namespace

int run_command(int argc, const char* const* argv) {
    try {
        return parse_and_run(argc, argv);
    } catch (const interrupted&) {
        return INTERRUPTED_STATUS;
    } catch (const std::exception& error) {
        std::cerr << "focusfall: " << error.what() << "\n";
        return 1;
    }
}

}  // namespace focusfall
