#include "pipeline/inspection/inspection.h"

#include "host/error.h"
#include "pipeline/inspection/report_text.h"

namespace focusfall {

namespace {

// Nothing about settings that nobody gave.
pixel_report without_settings(pixel_report pixel) {
    pixel.distance_mm.reset();
    pixel.diameter.reset();
    return pixel;
}

// Gives the input's file.
picture look_at_pixels(const inspection_order& order, headless::tool& tool,
                       inspection& found) {
    frame_loader loader(order.load, order.max_bytes);
    frame_probe probe(loader, order.load, order.files, tool, 0, order.focus.has_value());
    if (order.focus) {
        found.focus = set_focus(tool, *order.focus, [&](const focus_point& point) {
            return probe.depth_around(point.x, point.y);
        });
        probe.look_again();
    }
    for (const focus_point& point : order.pixels) {
        const pixel_report pixel = probe.at(point.x, point.y);
        const bool is_set = order.focus || order.has_settings;
        found.pixels.push_back(is_set ? pixel : without_settings(pixel));
    }
    return probe.take_file();
}

// Without pixels and focus the frame need not be one that can be rendered.
picture input_of(const inspection_order& order, headless::tool* tool, inspection& found) {
    try {
        if (tool && (order.focus || !order.pixels.empty())) {
            return look_at_pixels(order, *tool, found);
        }
    } catch (const headless::host_error& error) {
        found.fault = error.what();
    }
    return read_picture(order.files.input, order.max_bytes);
}

}  // namespace

inspection inspect(const inspection_order& order, headless::tool* tool) {
    const load_choices& load = order.load;
    const auto& map = order.files.depth_map;
    inspection found;
    const picture input = input_of(order, tool, found);
    const picture_role role =
        map.empty() ? picture_role::INPUT : picture_role::INPUT_WITH_MAP;
    found.files.push_back(
        inspected(input, order.files.input,
                  {role, load.layers, load.depth_channel, load.encoding, load.depth}));
    if (map.empty()) return found;
    found.files.push_back(inspected(
        read_picture(map, order.max_bytes), map,
        {picture_role::DEPTH_MAP, {}, load.depth_channel, load.encoding, load.depth}));
    return found;
}

nlohmann::ordered_json json_of(const inspection& found) {
    nlohmann::ordered_json all = json_of(found.files.front());
    if (found.files.size() > 1) all["depth_map"] = json_of(found.files.back());
    if (!found.lens.empty()) all["lens"] = found.lens;
    if (!found.focus.empty()) all["focus"] = found.focus;
    for (const pixel_report& pixel : found.pixels) {
        all["pixels"].push_back(json_of(pixel));
    }
    return all;
}

}  // namespace focusfall
