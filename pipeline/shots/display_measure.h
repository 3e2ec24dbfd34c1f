#pragma once
// Keeps the blur as large as the format that is shown asks for, however much more of the
// picture the tool is given.

#include <string>
#include <utility>
#include <vector>

#include "host/headless_host.h"
#include "pipeline/pictures/window.h"

namespace focusfall {

// While it lives, the tool's controls that count in picture widths (the largest blur, the
// width of the film) stand so that a picture of `area` blurs as one of `display` would.
// Their values at `time` count; afterwards they are what they were.
class display_measure {
  public:
    display_measure(headless::tool& tool, TimeStamp time, const window& display,
                    const window& area);
    ~display_measure();
    display_measure(const display_measure&) = delete;
    display_measure& operator=(const display_measure&) = delete;

  private:
    void scale(const char* id, TimeStamp time, double factor);

    headless::tool& tool_;
    std::vector<std::pair<std::string, headless::animation>> before_;
};

}  // namespace focusfall
