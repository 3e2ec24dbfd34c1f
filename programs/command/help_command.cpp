// Help, the manual page, and the words with which a shell completes a line. All are made
// from the options that --help shows.

#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "host/text.h"
#include "pipeline/settings/presets.h"
#include "programs/command/commands.h"
#include "programs/command/option_words.h"
#include "programs/command/shared_options.h"

namespace focusfall {

namespace {

using texts = std::vector<std::string>;

constexpr const char* HELP = "help";

// Text that troff, the language of manual pages, prints as it is.
std::string plain(const std::string& text) {
    std::string escaped;
    for (const char c : text) {
        if (c == '\\' || c == '-') escaped += '\\';  // "\-" is a minus, "-" a hyphen
        escaped += c;
    }
    const bool is_request = escaped.starts_with('.') || escaped.starts_with('\'');
    return (is_request ? "\\&" : "") + escaped;
}

std::string bold(const std::string& text) { return "\\fB" + plain(text) + "\\fR"; }
std::string slanted(const std::string& text) { return "\\fI" + plain(text) + "\\fR"; }

// "FILE"; "half|float" when only these values are allowed.
std::string shown_value(const CLI::Option& option) {
    const std::string type = option.get_type_name();
    const texts choices = choices_of(option);
    if (choices.empty()) return slanted(type.substr(0, type.find(':')));
    return bold(headless::joined(choices, "|"));
}

// An option with these of its names, or an argument that has none.
std::string shown_option(const CLI::Option& option, const texts& names) {
    if (names.empty()) return slanted(option.get_name(true));
    std::string shown;
    for (const std::string& name : names) {
        shown += (shown.empty() ? "" : ", ") + bold(name);
    }
    return takes_value(option) ? shown + " " + shown_value(option) : shown;
}

void print_options(const CLI::App& app) {
    for (const CLI::Option* option : app.get_options()) {
        const std::string start = option->get_default_str();
        std::cout << ".TP\n"
                  << shown_option(*option, names_of(*option)) << "\n"
                  << plain(option->get_description())
                  << (start.empty() ? "" : plain(" (default: " + start + ")")) << "\n";
    }
}

// The command line of a verb with its required options and arguments.
std::string synopsis(const CLI::App& app, const CLI::App& verb) {
    std::string line =
        bold(app.get_name() + " " + verb.get_name()) + " [" + slanted("option") + " ...]";
    for (const CLI::Option* option : verb.get_options()) {
        if (!option->get_required()) continue;
        texts names = names_of(*option);
        if (!names.empty()) names.resize(1);
        line += " " + shown_option(*option, names);
    }
    return line;
}

void print_manual(const CLI::App& app) {
    std::cout << ".TH FOCUSFALL 1 \"\" \"focusfall " FOCUSFALL_VERSION
                 "\" \"User Commands\"\n"
              << ".nh\n.ad l\n"  // neither break words of the command nor stretch lines
              << ".SH NAME\n"
              << app.get_name() << " \\- " << plain(app.get_description()) << "\n"
              << ".SH SYNOPSIS\n";
    for (const CLI::App* verb : verbs_of(app)) {
        std::cout << synopsis(app, *verb) << "\n.br\n";
    }
    std::cout << ".SH OPTIONS\n";
    print_options(app);
    std::cout << ".SH COMMANDS\n";
    for (const CLI::App* verb : verbs_of(app)) {
        std::cout << ".SS " << synopsis(app, *verb) << "\n"
                  << plain(verb->get_description()) << ".\n";
        print_options(*verb);
    }
    std::cout << ".SH EXIT STATUS\n"
              << "0 on success, 1 when something failed, 2 for wrong usage.\n";
}

texts tool_names() {
    const session opened({});
    texts names;
    for (const headless::class_info& tool : opened.host().classes()) {
        names.push_back(short_tool_name(tool.id));
    }
    return names;
}

texts preset_names() {
    texts names;
    for (const preset& installed : installed_presets()) names.push_back(installed.name);
    return names;
}

// Words for --set: all controls as "ID=", or the items of the control that `word` names.
texts settings_for(const std::string& word) {
    session opened({});
    const auto tool = opened.create_tool();
    texts settings;
    for (const headless::control* control : tool->controls()) {
        const headless::control_info& info = control->info();
        if (info.kind == headless::control_kind::IMAGE) continue;
        const std::string start = info.id + "=";
        if (word.starts_with(start)) {
            for (const std::string& item : info.items) settings.push_back(start + item);
        } else {
            settings.push_back(start);
        }
    }
    return settings;
}

// The values that an option of this type accepts; none for files, numbers, new names.
texts values_for(const CLI::Option& option, const std::string& word) {
    const std::string type = option.get_type_name();
    if (type == "TOOL") return tool_names();
    if (type == "ID=VALUE") return settings_for(word);
    if (type == "PRESET|FILE") return preset_names();
    return choices_of(option);
}

// The words that could replace the last one, which may be incomplete.
texts words_for_last(const CLI::App& app, const texts& words) {
    const CLI::App* verb = &app;
    const CLI::Option* open = nullptr;  // the option whose value comes next
    for (std::size_t i = 0; i + 1 < words.size(); ++i) {
        if (open) {
            open = nullptr;  // this word is its value
        } else if (words[i].starts_with('-')) {
            open = verb->get_option_no_throw(words[i]);
            if (open && !takes_value(*open)) open = nullptr;
        } else if (verb == &app) {
            for (const CLI::App* candidate : verbs_of(app)) {
                if (candidate->get_name() == words[i]) verb = candidate;
            }
        }
    }

    if (open) return values_for(*open, words.back());
    texts all;
    if (words.back().starts_with('-')) {
        for (const CLI::Option* option : verb->get_options()) {
            for (const std::string& name : names_of(*option)) all.push_back(name);
        }
    } else if (verb == &app || verb->get_name() == HELP) {
        for (const CLI::App* candidate : verbs_of(app)) {
            all.push_back(candidate->get_name());
        }
    }
    return all;
}

void complete(const CLI::App& app, const texts& words) {
    for (const std::string& word : words_for_last(app, words)) {
        if (word.starts_with(words.back())) std::cout << word << "\n";
    }
}

}  // namespace

void add_help_commands(CLI::App& app) {
    auto explained = std::make_shared<std::string>();
    CLI::App* help = app.add_subcommand(HELP, "Explain a command, or list all");
    help->add_option("command", *explained, "Command to explain")
        ->type_name("COMMAND")
        ->check([&app](const std::string& name) {
            if (find_verb(app, name)) return std::string();
            texts names;
            for (const CLI::App* verb : verbs_of(app)) names.push_back(verb->get_name());
            return "there is no command \"" + name + "\"" +
                   headless::suggestion(name, names);
        });
    help->callback([&app, explained] {
        // not app.help(), which explains the verb that the line holds: this one
        std::cout << (explained->empty()
                          ? app.get_formatter()->make_help(&app, app.get_name(),
                                                           CLI::AppFormatMode::Normal)
                          : find_verb(app, *explained)->help(app.get_name()));
    });

    app.add_subcommand("manual", "Print the manual page")->group("")->callback([&app] {
        print_manual(app);
    });

    auto words = std::make_shared<texts>();
    CLI::App* verb = app.add_subcommand(
        "complete", "Print the words that could complete the last one");
    verb->group("");
    verb->add_option("words", *words, "Words after the name of the command, after --")
        ->required();
    verb->callback([&app, words] { complete(app, *words); });
}

}  // namespace focusfall
