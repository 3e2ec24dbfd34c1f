#pragma once
// The options that say which picture is read, and how.

#include <CLI/CLI.hpp>

#include <string>

#include "host/error.h"
#include "pipeline/shots/frame_loader.h"

namespace focusfall {

struct input_options {
    std::string input;
    std::string depth_map;  // optional: empty
    load_choices load;

    // The picture as an argument of the verb, and the options that read it. `this` must
    // outlive the verb's callback.
    void add_to(CLI::App& verb, const std::string& purpose);
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
