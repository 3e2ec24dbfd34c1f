#pragma once
// The words that a verb's options are written with, as CLI11 keeps them.

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace focusfall {

// The verbs that --help lists.
std::vector<const CLI::App*> verbs_of(const CLI::App& app);

// The verb of that name, listed or not; null when there is none.
const CLI::App* find_verb(const CLI::App& app, const std::string& name);

// "-o", "--output"; none for an argument that is given by its position.
std::vector<std::string> names_of(const CLI::Option& option);

bool takes_value(const CLI::Option& option);

// "half" and "float" for the type "TEXT:{half,float}"; none when the type lists no
// choices.
std::vector<std::string> choices_of(const CLI::Option& option);

}  // namespace focusfall
