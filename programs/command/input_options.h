#pragma once
// The options that say which picture is read, and how.

#include <CLI/CLI.hpp>

#include <string>

#include "host/error.h"
#include "pipeline/shots/shot_options.h"
#include "programs/command/shared_options.h"

namespace focusfall {

struct input_options {
    std::string input;
    std::string depth_map;  // optional: empty
    load_choices load;
    bool lens_from_header = false;

    // The picture as an argument of the verb, and the options that read it. `this` must
    // outlive the verb's callback.
    void add_to(CLI::App& verb, const std::string& purpose);

    // What the lens of the header needs of a tool before it is made; call it first. Does
    // nothing unless the line asks for that lens.
    void prepare_lens(shared_options& shared) const;

  private:
    void add_depth_options(CLI::App& verb);
    void add_light_options(CLI::App& verb);
};

// A check for CLI11: gives the text of the headless::host_error that `parse` throws for
// the option's text, or an empty one.
template <class Parse>
auto accepted_by(Parse parse) {
    return [parse](const std::string& text) {
        try {
            parse(text);
            return std::string();
        } catch (const headless::host_error& error) {
            return std::string(error.what());
        }
    };
}

}  // namespace focusfall
