#pragma once
// What the command says on standard error.

#include <string>

namespace focusfall {

// Prints "focusfall: TEXT" on a line of its own. Names from damaged files may hold any
// byte: what would control a terminal, or is no UTF-8, is shown as in "\x1b".
void print_message(const std::string& text);

// `text` with such bytes shown so. [any thread]
std::string printable(const std::string& text);

}  // namespace focusfall
