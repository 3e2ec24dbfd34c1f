// The `focusfall` command: parses the line and runs one verb.

#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include "host/text.h"
#include "pipeline/process/interruption.h"
#include "programs/command/commands.h"

namespace focusfall {

namespace {

// What is wrong with the first word of the line; empty when it is a verb or an option.
std::string fault_of_verb(const CLI::App& app, const std::string& word) {
    std::vector<std::string> names;
    for (const CLI::App* verb : app.get_subcommands({})) {
        if (verb->get_name() == word) return "";
        if (!verb->get_group().empty()) names.push_back(verb->get_name());
    }
    if (word.starts_with('-')) return "";
    const std::string nearest = headless::nearest_name(word, names);
    return "there is no command \"" + word + "\"; " +
           (nearest.empty() ? "`focusfall --help` lists them"
                            : "did you mean \"" + nearest + "\"?");
}

int run(int argc, char** argv) {
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
    } catch (const CLI::RuntimeError& error) {  // a verb has told what is wrong
        return error.get_exit_code();
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : 2;
    }
    return 0;
}

}  // namespace

}  // namespace focusfall

int main(int argc, char** argv) {
    try {
        return focusfall::run(argc, argv);
    } catch (const focusfall::interrupted&) {
        return focusfall::INTERRUPTED_STATUS;
    } catch (const std::exception& error) {
        std::cerr << "focusfall: " << error.what() << "\n";
        return 1;
    }
}
