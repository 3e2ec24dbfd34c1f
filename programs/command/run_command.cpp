#include <cerrno>
#include <cstring>
#include <exception>
#include <filesystem>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "host/text.h"
#include "pipeline/process/interruption.h"
#include "programs/command/commands.h"
#include "programs/command/message.h"
#include "programs/command/option_words.h"
#include "programs/command/picture_verbs.h"
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

// Adds a verb with the options of such a line, which it runs.
template <class Line>
void add_verb(CLI::App& app, const char* name, const char* purpose) {
    auto line = std::make_shared<Line>();
    CLI::App* verb = app.add_subcommand(name, purpose);
    line->add_to(*verb);
    verb->callback([line] { run(*line); });
}

// Parses the line, and thereby runs its verb.
int parse_and_run(int argc, const char* const* argv) {
    CLI::App app("Blurs pictures by depth, as a camera lens does.", "focusfall");
    app.require_subcommand(1);
    app.set_version_flag("--version", FOCUSFALL_VERSION);
    add_verb<render_line>(app, "render", "Blur a picture, or a shot of them");
    add_verb<view_line>(
        app, "view", "Show a picture or a shot in the browser, and set its blur by eye");
    add_verb<inspect_line>(app, "inspect",
                           "Tell what is in a picture, and what its depth seems to be");
    add_verb<controls_line>(app, "controls", "List or save the controls of a tool");
    add_tools_command(app);
    add_verb<kernels_line>(app, "kernels",
                           "Draw the blur of one bright pixel, style by style");
    add_verb<demo_line>(app, "demo", "Make a scene and blur it in several styles");
    add_verb<submit_line>(app, "submit",
                          "Render a shot as tasks: on the engine of a farm, or here");
    add_verb<status_line>(app, "shot-status",
                          "Tell which frames of a shot are done, stale, running, failed "
                          "or waiting");
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
