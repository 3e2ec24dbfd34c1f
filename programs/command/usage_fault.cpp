#include "programs/command/usage_fault.h"

#include <algorithm>
#include <cctype>

#include "host/text.h"
#include "programs/command/option_words.h"

namespace focusfall {

namespace {

using texts = std::vector<std::string>;

// A verb, and the first word of its line that looks like an option and is none.
struct walked_line {
    const CLI::App* verb;
    std::string unknown;
};

bool looks_like_option(const std::string& word) {
    return word.size() > 1 && word[0] == '-' &&
           std::isdigit(static_cast<unsigned char>(word[1])) == 0;
}

// "--settings" of "--settings=super-35", "-o" of "-oout.exr".
std::string option_name(const std::string& word) {
    return word.starts_with("--") ? word.substr(0, word.find('=')) : word.substr(0, 2);
}

walked_line walked(const CLI::App& app, const texts& words) {
    walked_line line{&app, ""};
    for (std::size_t i = 0; i < words.size() && line.unknown.empty(); ++i) {
        const std::string& word = words[i];
        if (looks_like_option(word)) {
            const std::string name = option_name(word);
            const CLI::Option* option = line.verb->get_option_no_throw(name);
            if (!option) line.unknown = name;
            if (option && takes_value(*option) && name == word) ++i;  // the next is its
        } else if (line.verb == &app) {
            if (const CLI::App* verb = find_verb(app, word)) line.verb = verb;
        }
    }
    return line;
}

std::string help_line(const CLI::App& app, const CLI::App& verb) {
    return "`" + app.get_name() + " help" + (&verb == &app ? "" : " " + verb.get_name()) +
           "`";
}

std::string unknown_option(const CLI::App& app, const walked_line& line) {
    texts names;
    for (const CLI::Option* option : line.verb->get_options()) {
        for (const std::string& name : names_of(*option)) {
            if (name.size() > 2) names.push_back(name);
        }
    }
    const std::string hint = headless::suggestion(line.unknown, names);
    return "there is no option \"" + line.unknown + "\"" +
           (line.verb == &app ? "" : " of " + line.verb->get_name()) +
           (hint.empty() ? "; " + help_line(app, *line.verb) + " lists all" : hint);
}

// The choice that may be meant where an option of the message was given another.
std::string choice_hint(const CLI::App& verb, const std::string& message) {
    const CLI::Option* option =
        verb.get_option_no_throw(message.substr(0, message.find(':')));
    if (!option) return "";
    const texts choices = choices_of(*option);
    for (const std::string& given : option->results()) {
        if (std::ranges::count(choices, given) == 0) {
            return headless::suggestion(given, choices);
        }
    }
    return "";
}

std::string too_many(const CLI::App& app, const CLI::App& verb) {
    std::string text = "too many words: " + headless::joined(app.remaining(true));
    if (verb.get_name() != "render") return text;
    return text +
           "; one input is taken, or a shot as shot.####.exr with --frames, "
           "and the output follows -o";
}

}  // namespace

std::string usage_fault(const CLI::App& app, const texts& words,
                        const CLI::ParseError& error) {
    const walked_line line = walked(app, words);
    if (!line.unknown.empty()) return unknown_option(app, line);
    if (line.verb == &app) {
        return "no command is given; " + help_line(app, app) + " lists all";
    }
    const std::string message = error.what();
    if (error.get_name() == "ExtrasError" || app.remaining_size(true) > 0) {
        return too_many(app, *line.verb);
    }
    if (error.get_name() == "RequiredError") {
        return message + "; " + help_line(app, *line.verb) + " tells more";
    }
    return message + choice_hint(*line.verb, message);
}

}  // namespace focusfall
