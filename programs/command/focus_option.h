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
};

}  // namespace focusfall
