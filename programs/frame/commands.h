#pragma once
// The two things that `focusfall-frame` does. It needs nothing but the host library, so
// it runs wherever a plug-in runs, and what two platforms render can be compared.

#include <stdexcept>
#include <string>
#include <vector>

// A command line that asks for nothing that there is. The text says what is wrong.
class usage_error : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// The number that all of `text` spells; `what` names it in the usage_error for others.
double number_in(const std::string& text, const std::string& what);

// Renders one frame into a raw file. Throws usage_error, and std::runtime_error for
// faults of files, plug-in and render.
void run_render_command(const std::vector<std::string>& arguments);

// Compares two raw files and prints by how much they differ. Gives false when they differ
// by more than the arguments allow. Throws like run_render_command.
bool run_compare_command(const std::vector<std::string>& arguments);
