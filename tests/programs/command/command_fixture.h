#pragma once
// What the tests of the command share: a folder of their own, pictures made in code, and
// command lines run in it.

#include <sys/types.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "pipeline/pictures/picture_file.h"
#include "pipeline/pictures/window.h"

namespace focusfall {

// One channel of a picture to make; `value` gives a number for each pixel of the file.
struct made_channel {
    std::string name;
    OIIO::TypeDesc type;
    std::function<double(int x, int y)> value;
};

// A part to write, with pixels in the data window.
picture_part made_part(const window& data, const window& display,
                       const std::vector<made_channel>& channels);

// R, G, B, A in half and Z in float: bright dots over a soft ramp, nearer to the right.
std::vector<made_channel> scene_channels(int seed = 0);

struct run_result {
    int status = -1;  // 128 + n when signal n ended the process, as in a shell
    std::string output;
    std::string errors;
};

class command_test : public testing::Test {
  protected:
    command_test();
    ~command_test() override;

    std::string path(const std::string& name) const { return (folder_ / name).string(); }
    // Writes parts, or one, to a file of that name in the folder, and gives its path.
    std::string write(const std::string& name,
                      const std::vector<picture_part>& parts) const;
    std::string write(const std::string& name, picture_part part) const;
    std::string write_scene(const std::string& name, const window& data,
                            const window& display, int seed = 0) const;

    // Runs `focusfall LINE` in the folder; `line` has blanks between its arguments. `run`
    // does it in this process, which saves the time to start one (0.4 s of processor time
    // for the libraries alone), `start` in a process of its own, which `wait` waits for.
    run_result run(const std::string& line) const;
    pid_t start(const std::string& line) const;
    run_result wait(pid_t process) const;
    // Runs `focusfall render LINE -o OUTPUT`, which must succeed, and reads what it
    // wrote.
    picture rendered(const std::string& line, const std::string& output) const;

    // Names of the files in the folder that begin with a dot.
    std::vector<std::string> hidden_files() const;

  private:
    std::filesystem::path folder_;
};

// The values of a channel of a part, by its name, as floats.
std::vector<float> values(const picture_part& part, const std::string& channel);

// The bytes of a channel in `area`, which lies in the data window of the part.
std::vector<std::byte> stored(const picture_part& part, const std::string& channel,
                              const window& area);

}  // namespace focusfall
