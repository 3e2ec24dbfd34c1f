#pragma once
// What is wrong with a command line, in words that lead on.

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace focusfall {

// The message for a line of `words`, without the program's name, that `app` refused with
// `error`: names the word at fault, with the option, command or choice that may be meant.
std::string usage_fault(const CLI::App& app, const std::vector<std::string>& words,
                        const CLI::ParseError& error);

}  // namespace focusfall
