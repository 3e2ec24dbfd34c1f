#pragma once
// The verbs that read or write pictures: what their lines hold, and what they do. The
// program knows the lines alone. What they do is in a library, which it loads for a line
// that asks for it: what reads picture files takes longer to load than any other line
// takes in all (picture_library.h).

#include <CLI/CLI.hpp>

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

#include "programs/command/focus_option.h"
#include "programs/command/input_options.h"
#include "programs/command/render_line.h"
#include "programs/command/shared_options.h"
#include "programs/page/view_page.h"

namespace focusfall {

// In each, `add_to` adds the options of its verb; `this` must outlive the verb's
// callback.

struct view_line {  // NOLINT(bugprone-exception-escape)
    shared_options shared;
    input_options input;
    focus_option focus;
    shot_options shot;
    std::string frames;
    page_options page;
    bool opens_no_browser = false;

    void add_to(CLI::App& verb);
};

struct inspect_line {  // NOLINT(bugprone-exception-escape)
    shared_options shared;
    input_options input;
    focus_option focus;
    std::vector<std::string> pixels;  // to look at
    bool as_json = false;

    void add_to(CLI::App& verb);
};

struct controls_line {  // NOLINT(bugprone-exception-escape)
    shared_options shared;
    input_options input;  // only for lens and focus
    focus_option focus;
    bool as_json = false;
    bool presets = false;
    std::string save_as;   // optional: empty, as the next
    std::string save_all;  // the file for all values

    void add_to(CLI::App& verb);
};

struct kernels_line {  // NOLINT(bugprone-exception-escape)
    shared_options shared;
    std::vector<double> diameters = {3.0, 5.0, 9.0, 15.0, 25.0, 45.0};
    bool all_styles = false;
    std::string blur_image;  // empty: none
    std::string output;

    void add_to(CLI::App& verb);
};

struct demo_line {  // NOLINT(bugprone-exception-escape)
    shared_options shared;
    std::filesystem::path folder;
    std::string size = "1920x1080";

    void add_to(CLI::App& verb);
};

struct submit_line {
    std::string engine;
    std::size_t chunk = 0;
    std::string partition;
    bool only_shows = false;
    std::vector<std::string> words;  // of the render, which begin with its verb

    void add_to(CLI::App& verb);
};

struct status_line {
    std::string output;
    std::string frames;
    std::vector<std::string> logs;
    bool as_json = false;

    void add_to(CLI::App& verb);
};

// Each does what a line asks for. Throws std::exception for a fault, CLI::RuntimeError
// for one that it has printed, and `interrupted`; in the program itself needs_pictures,
// before anything else, that of the controls only where they are taken from a picture.
void run(const render_line& line);
void run(const view_line& line);
void run(const inspect_line& line);
void run(const controls_line& line);
void run(const kernels_line& line);
void run(const demo_line& line);
void run(const submit_line& line);
void run(const status_line& line);

}  // namespace focusfall
