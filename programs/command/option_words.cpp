#include "programs/command/option_words.h"

#include <sstream>

namespace focusfall {

std::vector<const CLI::App*> verbs_of(const CLI::App& app) {
    // --help leaves out verbs without a group
    return app.get_subcommands(
        [](const CLI::App* verb) { return !verb->get_group().empty(); });
}

const CLI::App* find_verb(const CLI::App& app, const std::string& name) {
    for (const CLI::App* verb : app.get_subcommands({})) {
        if (verb->get_name() == name) return verb;
    }
    return nullptr;
}

std::vector<std::string> names_of(const CLI::Option& option) {
    std::vector<std::string> names;
    for (const std::string& name : option.get_snames()) names.push_back("-" + name);
    for (const std::string& name : option.get_lnames()) names.push_back("--" + name);
    return names;
}

bool takes_value(const CLI::Option& option) {
    return option.get_items_expected_max() > 0;
}

std::vector<std::string> choices_of(const CLI::Option& option) {
    const std::string type = option.get_type_name();
    const std::size_t start = type.find('{');
    const std::size_t end = type.find('}');
    if (start == type.npos || end == type.npos) return {};
    std::istringstream list(type.substr(start + 1, end - start - 1));
    std::vector<std::string> choices;
    for (std::string choice; std::getline(list, choice, ',');) choices.push_back(choice);
    return choices;
}

}  // namespace focusfall
