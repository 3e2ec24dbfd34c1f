#include <cerrno>
#include <cstring>
#include <exception>
#include <filesystem>
#include <iostream>
#include <string>
#include <vector>

#include "host/text.h"
#include "pipeline/process/interruption.h"
#include "programs/command/commands.h"
#include "programs/command/message.h"
#include "programs/command/option_words.h"
#include "programs/command/usage_fault.h"

namespace focusfall {

namespace {

// The error message for the first word of the line; empty when it is a verb or an option.
std::string fault_of_verb(const CLI::App& app, const std::string& word) {
    if (word.starts_with('-') || find_verb(app, word)) return "";
    std::vector<std::string> names;
    for (const CLI::App* verb : verbs_of(app)) names.push_back(verb->get_name());
    const std::string hint = headless::suggestion(word, names);
    return "there is no command \"" + word + "\"" +
           (hint.empty() ? "; `focusfall help` lists all commands" : hint);
}

// Parses the line, and thereby runs its verb.
int parse_and_run(int argc, const char* const* argv) {
    CLI::App app("Blurs pictures by depth, as a camera lens does.", "focusfall");
    app.require_subcommand(1);
    app.set_version_flag("--version", FOCUSFALL_VERSION);
    add_render_command(app);
    add_view_command(app);
    add_inspect_command(app);
    add_controls_command(app);
    add_tools_command(app);
    add_kernels_command(app);
    add_demo_command(app);
    add_submit_command(app);
    add_shot_status_command(app);
    add_help_commands(app);

    const std::string fault = argc > 1 ? fault_of_verb(app, argv[1]) : "";
    if (!fault.empty()) {
        print_message(fault);
        return 2;
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::RuntimeError& error) {  // the verb has printed its message
        return error.get_exit_code();
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) return app.exit(error);  // --help and the like
        print_message(usage_fault(app, {argv + 1, argv + argc}, error));
        return 2;
    }
    return 0;
}

// Says so where what was printed has not arrived.
int checked_output(int status) {
    errno = 0;
    if (std::cout.flush()) return status;
    const std::string reason = errno == 0 ? "" : std::string(": ") + std::strerror(errno);
    print_message("the output cannot be written" + reason);
    return 1;
}

}  // namespace

int run_command(int argc, const char* const* argv) {
    try {
        return checked_output(parse_and_run(argc, argv));
    } catch (const std::filesystem::filesystem_error& error) {
        print_message(error.path1().string() + ": " + error.code().message());
        return 1;
    } catch (const interrupted&) {
        return INTERRUPTED_STATUS;
    } catch (const std::exception& error) {
        print_message(error.what());
        return 1;
    }
}

}  // namespace focusfall
