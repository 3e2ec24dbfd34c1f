// What tells of the command besides --help, made from the same options: the manual page,
// and the words that a shell completes a line by.

#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "pipeline/settings/settings_file.h"
#include "programs/command/commands.h"
#include "programs/command/session.h"

namespace focusfall {

namespace {

using texts = std::vector<std::string>;

std::vector<const CLI::App*> verbs_of(const CLI::App& app) {
    // a verb without a group is one that --help leaves out
    return app.get_subcommands(
        [](const CLI::App* verb) { return !verb->get_group().empty(); });
}

// "-o", "--output"; none for an argument without a name.
texts names_of(const CLI::Option& option) {
    texts names;
    for (const std::string& name : option.get_snames()) names.push_back("-" + name);
    for (const std::string& name : option.get_lnames()) names.push_back("--" + name);
    return names;
}

bool takes_value(const CLI::Option& option) {
    return option.get_items_expected_max() > 0;
}

// "half" and "float" of a type "TEXT:{half,float}"; none when the type lists no choices.
texts choices_of(const std::string& type) {
    const std::size_t start = type.find('{');
    const std::size_t end = type.find('}');
    if (start == type.npos || end == type.npos) return {};
    return CLI::detail::split(type.substr(start + 1, end - start - 1), ',');
}

// Text that troff, the language of manual pages, prints as it is.
std::string plain(const std::string& text) {
    std::string escaped;
    for (const char c : text) {
        if (c == '\\' || c == '-') escaped += '\\';  // "\-" is one to paste, no hyphen
        escaped += c;
    }
    const bool is_request = escaped.starts_with('.') || escaped.starts_with('\'');
    return (is_request ? "\\&" : "") + escaped;
}

std::string bold(const std::string& text) { return "\\fB" + plain(text) + "\\fR"; }
std::string slanted(const std::string& text) { return "\\fI" + plain(text) + "\\fR"; }

// "FILE"; "half|float" for a value that is one of these.
std::string shown_value(const CLI::Option& option) {
    const std::string type = option.get_type_name();
    const texts choices = choices_of(type);
    if (choices.empty()) return slanted(type.substr(0, type.find(':')));
    return bold(CLI::detail::join(choices, "|"));
}

// An option by `names` of it, or an argument that has none.
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

// The line of a verb with what must be given.
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
              << "0 when all is done, 1 when something failed, 2 for wrong usage.\n";
}

texts tool_ids() {
    session session({});
    texts ids;
    for (const headless::class_info& tool : session.host().classes())
        ids.push_back(tool.id);
    return ids;
}

texts preset_names() {
    texts names;
    for (const preset& one : installed_presets()) names.push_back(one.name);
    return names;
}

// What --set takes: the controls, and the items of the one that `word` names.
texts settings_for(const std::string& word) {
    session session({});
    const auto tool = session.create_tool();
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

// Values that an option takes, told by its type; none for files, numbers and new names.
texts values_for(const CLI::Option& option, const std::string& word) {
    const std::string type = option.get_type_name();
    if (type == "ID") return tool_ids();
    if (type == "ID=VALUE") return settings_for(word);
    if (type == "PRESET|FILE") return preset_names();
    return choices_of(type);
}

// What may stand in the place of the last word.
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
            for (const CLI::App* one : verbs_of(app)) {
                if (one->get_name() == words[i]) verb = one;
            }
        }
    }

    if (open) return values_for(*open, words.back());
    texts all;
    if (words.back().starts_with('-')) {
        for (const CLI::Option* option : verb->get_options()) {
            for (const std::string& name : names_of(*option)) all.push_back(name);
        }
    } else if (verb == &app) {
        for (const CLI::App* one : verbs_of(app)) all.push_back(one->get_name());
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
    app.add_subcommand("manual", "Print the manual page")->group("")->callback([&app] {
        print_manual(app);
    });

    auto words = std::make_shared<texts>();
    CLI::App* verb =
        app.add_subcommand("complete", "Print what may stand for the last word");
    verb->group("");
    verb->add_option("words", *words, "Words after the name of the command, after --")
        ->required();
    verb->callback([&app, words] { complete(app, *words); });
}

}  // namespace focusfall
