#pragma once
// The option that sets the focus by a pixel.

#include <CLI/CLI.hpp>

#include <string>

#include "pipeline/inspection/focus_points.h"
#include "programs/command/shared_options.h"

namespace focusfall {

struct focus_option {
    std::string text;  // optional: empty

    // Adds --focus-at. `this` must outlive the verb's callback.
    void add_to(CLI::App& verb);
    bool is_given() const { return !text.empty(); }
    // Throws CLI::ValidationError when the line sets the focus by a value as well.
    void check(const shared_options& shared) const;
    // Makes the depths that the shot has at the points the tool's focus, and says so on
    // standard error unless `quiet`. Does nothing unless given. Throws
    // headless::host_error that names the file at fault.
    void apply(headless::tool& tool, const shot_options& shot, bool quiet) const;
};

}  // namespace focusfall
