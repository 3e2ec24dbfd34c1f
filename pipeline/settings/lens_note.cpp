#include "pipeline/settings/lens_note.h"

#include <array>

#include "lens/lens.h"

namespace focusfall {

std::string lens_note(const headless::tool& tool) {
    enum : std::size_t { TYPE, FOCAL_LENGTH, F_STOP, APERTURE, CONTROLS };
    constexpr std::array<const char*, CONTROLS> IDS{"SettingsType", "FocalLength",
                                                    "FStop", "ApertureDiameter"};
    std::array<const headless::control*, CONTROLS> found{};
    for (const headless::control* control : tool.controls()) {
        for (std::size_t i = 0; i < CONTROLS; ++i) {
            if (control->info().id == IDS[i]) found[i] = control;
        }
    }
    for (const headless::control* control : found) {
        if (!control) return "";
    }
    for (const std::size_t edited : {FOCAL_LENGTH, F_STOP, APERTURE}) {
        const headless::animation curve = found[edited]->curve();
        for (const headless::key& key : curve.keys()) {
            const auto number = [&](std::size_t i) { return found[i]->number(key.time); };
            const auto shown = [&](std::size_t i) {
                return std::string(" ") + IDS[i] + "=" +
                       found[i]->info().shown(number(i));
            };
            if (number(TYPE) < 0.5 ||
                lens::is_aperture(number(APERTURE), number(FOCAL_LENGTH), number(F_STOP)))
                continue;
            return std::string(IDS[APERTURE]) + ": no effect, for" + shown(APERTURE) +
                   " does not go with" + shown(FOCAL_LENGTH) + " and" + shown(F_STOP);
        }
    }
    return "";
}

}  // namespace focusfall
