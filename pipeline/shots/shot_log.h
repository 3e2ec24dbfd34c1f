#pragma once
// The log of a shot: a line of JSON for each frame.

#include <filesystem>
#include <fstream>

#include "pipeline/shots/shot_observer.h"

namespace focusfall {

// Appends to a file. One thread.
class shot_log {
  public:
    // Throws headless::host_error when the file cannot be written.
    explicit shot_log(std::filesystem::path file);

    // Writes the line of a frame, at once. Throws headless::host_error.
    void add(const frame_report& report);

  private:
    std::filesystem::path file_;
    std::ofstream stream_;
};

}  // namespace focusfall
