#include "pipeline/pictures/file_windows.h"

namespace focusfall {

window data_window(const OIIO::ImageSpec& spec) {
    return {spec.x, spec.y, spec.width, spec.height};
}

window display_window(const OIIO::ImageSpec& spec) {
    if (spec.full_width < 1 || spec.full_height < 1) return data_window(spec);
    return {spec.full_x, spec.full_y, spec.full_width, spec.full_height};
}

}  // namespace focusfall
