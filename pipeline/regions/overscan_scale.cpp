#include "pipeline/regions/overscan_scale.h"

namespace focusfall {

control_values overscan_scale(const headless::tool& tool, TimeStamp time,
                              const window& display, const window& area) {
    control_values values;
    if (area.width == display.width) return values;
    // the area holds the display, so neither value is led out of its range
    const double factor =
        static_cast<double>(display.width) / static_cast<double>(area.width);
    for (const headless::control* control : tool.controls()) {
        const std::string& id = control->info().id;
        if (id == "MaxBlurSize") values[id] = control->number(time) * factor;
        if (id == "FilmbackWidth") values[id] = control->number(time) * (1.0 / factor);
    }
    return values;
}

}  // namespace focusfall
