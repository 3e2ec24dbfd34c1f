#include "programs/command/usage_fault.h"

#include <algorithm>
#include <cctype>

#include "host/error.h"
#include "host/text.h"
#include "pipeline/pictures/lower_case.h"
#include "pipeline/session/session.h"
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

// The long options of a verb, without their dashes.
texts options_of(const CLI::App& verb) {
    texts names;
    for (const CLI::Option* option : verb.get_options()) {
        for (const std::string& name : option->get_lnames()) names.push_back(name);
    }
    return names;
}

// The controls that a verb sets; none where no plug-in can be loaded.
texts controls_of(const CLI::App& verb) {
    if (!verb.get_option_no_throw("--set")) return {};
    texts names;
    try {
        session opened({});
        const auto tool = opened.create_tool();
        for (const headless::control* control : tool->controls()) {
            names.push_back(control->info().id);
        }
    } catch (const headless::host_error&) {
        return {};
    }
    return names;
}

// Those of the names that hold the word; shorter words are in too many.
texts holding(const texts& names, const std::string& word) {
    constexpr std::size_t MIN_WORD = 3;
    texts found;
    for (const std::string& name : names) {
        const bool holds = lowered(name).find(lowered(word)) != name.npos;
        if (holds && word.size() >= MIN_WORD) found.push_back(name);
    }
    return found;
}

// Options and controls that hold the word that was taken for an option; without such the
// one that is spelled most like it. Empty when there is none.
std::string option_hint(const CLI::App& verb, const std::string& word) {
    const texts options = options_of(verb);
    const texts controls = controls_of(verb);
    for (const std::string& id : controls) {
        if (headless::same_ignoring_case(id, word)) {
            return "; " + id + " is a control, write --set " + id + "=VALUE";
        }
    }
    texts meant = holding(options, word);
    texts also = holding(controls, word);
    if (meant.empty() && also.empty()) {
        texts all = options;
        all.insert(all.end(), controls.begin(), controls.end());
        const std::string nearest = headless::nearest_name(word, all);
        const bool is_option = std::ranges::count(options, nearest) > 0;
        if (!nearest.empty()) (is_option ? meant : also) = {nearest};
    }
    for (std::string& name : meant) name = "\"--" + name + "\"";
    for (std::string& id : also) id = "\"--set " + id + "=VALUE\"";
    meant.insert(meant.end(), also.begin(), also.end());
    return meant.empty() ? "" : "; did you mean " + headless::joined(meant, " or ") + "?";
}

std::string unknown_option(const CLI::App& app, const walked_line& line) {
    const std::size_t dashes = line.unknown.find_first_not_of('-');
    const std::string word =
        dashes == std::string::npos ? "" : line.unknown.substr(dashes);
    const std::string hint = option_hint(*line.verb, word);
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
    // a value that is refused may be one that others were meant to follow
    if (app.remaining_size(true) > 0 && error.get_name() != "ValidationError") {
        return too_many(app, *line.verb);
    }
    if (error.get_name() == "RequiredError") {
        return message + "; " + help_line(app, *line.verb) + " tells more";
    }
    return message + choice_hint(*line.verb, message);
}

}  // namespace focusfall
