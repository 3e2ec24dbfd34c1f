#pragma once
// What the tests of shots share: a folder, a tool, and what a shot tells.

#include <string>
#include <vector>

#include "pipeline/shots/shot.h"
#include "tests/support/made_pictures.h"
#include "tests/support/tool_fixture.h"

namespace focusfall {

// Keeps all that a shot tells.
struct recorded_shot : shot_observer {
    shot_plan plan;
    std::size_t written = 0;
    std::vector<double> progress;     // of the whole shot, in frames
    std::vector<std::string> noted;   // "FILE: TEXT", the file without its folder
    std::vector<frame_report> ended;  // in the order in which they did
    std::vector<std::string> failed;

    void begins(const shot_plan& decided) override { plan = decided; }
    void notes(const std::filesystem::path& file, const std::string& text) override {
        noted.push_back(file.filename().string() + ": " + text);
    }
    void renders(std::size_t before, double part) override {
        progress.push_back(static_cast<double>(before) + part);
    }
    void writes_frame() override { ++written; }
    void ends(const frame_report& report) override { ended.push_back(report); }
    void fails(const std::string& text) override { failed.push_back(text); }
};

class shot_test : public tool_test, protected picture_folder {
  protected:
    shot_options shot(const std::string& input, const std::string& output) const {
        shot_options options;
        options.input = path(input);
        options.output = path(output);
        options.tool_id = "kestrelworks.Focusfall";
        options.version = "0.1";
        return options;
    }

    // Renders a single picture, which must succeed, and reads what was written.
    picture rendered(const shot_options& options) {
        recorded_shot told;
        render_shot(options, *tool, told);
        noted = told.noted;
        return read_picture(options.output);
    }
    picture rendered(const std::string& input, const std::string& output) {
        return rendered(shot(input, output));
    }

    std::vector<std::string> noted;  // of the last picture
};

}  // namespace focusfall
