#pragma once
// The line of `focusfall render` as it was typed, for the verbs that run or queue one.

#include <CLI/CLI.hpp>

#include <string>

#include "pipeline/shots/shot_options.h"
#include "programs/command/focus_option.h"
#include "programs/command/input_options.h"
#include "programs/command/shared_options.h"

namespace focusfall {

struct render_line {  // NOLINT(bugprone-exception-escape)
    shared_options shared;
    input_options input;
    focus_option focus;
    shot_options shot;
    std::string data_type;
    std::string frames;  // optional: empty, as the next
    std::string from_record;

    // Adds all options of the verb. `this` must outlive its callback.
    void add_to(CLI::App& verb);

  private:
    void add_file_options(CLI::App& verb);
    void add_tool_options(CLI::App& verb);
    void add_shot_options(CLI::App& verb);
};

}  // namespace focusfall
