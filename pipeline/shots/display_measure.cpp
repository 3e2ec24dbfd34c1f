#include "pipeline/shots/display_measure.h"

#include <algorithm>
#include <ranges>

namespace focusfall {

display_measure::display_measure(headless::tool& tool, TimeStamp time,
                                 const window& display, const window& area)
    : tool_(tool) {
    if (area.width == display.width) return;
    // the area holds the display, so neither value is led out of its range
    const double factor =
        static_cast<double>(display.width) / static_cast<double>(area.width);
    scale("MaxBlurSize", time, factor);
    scale("FilmbackWidth", time, 1.0 / factor);
}

display_measure::~display_measure() {
    for (const auto& [id, curve] : before_) tool_.replace(id, curve);
}

void display_measure::scale(const char* id, TimeStamp time, double factor) {
    for (const headless::control* control : tool_.controls()) {
        if (control->info().id != id) continue;
        before_.emplace_back(id, control->curve());
        // for all times, so that no other frame's value has a part in it
        tool_.replace(id, headless::animation(control->number(time) * factor));
    }
}

}  // namespace focusfall
