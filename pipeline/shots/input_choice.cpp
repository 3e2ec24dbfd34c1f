#include "pipeline/shots/input_choice.h"

#include <utility>

#include "pipeline/pictures/file_windows.h"
#include "pipeline/pictures/host_image.h"

namespace focusfall {

namespace {

using headless::host_error;

// OpenEXR files alone have a display window, others have nothing but pixels. The
// attribute is one that every OpenEXR header has.
bool has_display_window(const OIIO::ImageSpec& spec) {
    return spec.find_attribute("screenWindowWidth") != nullptr;
}

// Moves a picture so that its display window begins where `to` does.
void move_display(picture& file, const window& to) {
    for (picture_part& part : file) {
        part.spec.x += static_cast<int>(to.x) - part.spec.full_x;
        part.spec.y += static_cast<int>(to.y) - part.spec.full_y;
        part.spec.full_x = static_cast<int>(to.x);
        part.spec.full_y = static_cast<int>(to.y);
    }
}

// The depth of a colour. Several candidates are a fault only if one is needed.
std::optional<channel_place> depth_of(const picture& file, const color_channels& color,
                                      const std::string& name, bool needed) {
    if (needed || !name.empty()) return choose_depth(file, color, name);
    try {
        return choose_depth(file, color, name);
    } catch (const host_error&) {
        return std::nullopt;
    }
}

// The depth of a layer besides the first: a view has its own, other layers share one.
std::optional<channel_place> further_depth(const input_picture& input,
                                           const color_channels& color,
                                           const load_choices& choices, bool needed) {
    if (choices.layers.front() != ALL_VIEWS || !input.depth) return input.depth;
    const std::string name = needed ? choices.depth_channel : "";
    const auto own = depth_of(input.file, color, name, needed);
    if (needed && name.empty()) expect_same_view(input.file, color, *own);
    return own;
}

}  // namespace

void place_display(picture& file, const window& to) {
    const window display = display_window(file[0].spec);
    const bool as_large = display.width == to.width && display.height == to.height;
    if (as_large && !has_display_window(file[0].spec)) move_display(file, to);
}

input_picture chosen_input(picture headers, const load_choices& choices, bool has_map,
                           bool needs_depth) {
    input_picture input;
    input.file = std::move(headers);
    const std::vector<color_channels> colors = choose_colors(input.file, choices.layers);
    input.color = colors.front();
    input.depth = depth_of(input.file, input.color, has_map ? "" : choices.depth_channel,
                           needs_depth && !has_map);
    if (needs_depth && !has_map && !input.depth) {
        throw host_error(
            "has no depth channel; give a depth map by --depth-map, a channel by "
            "--depth-channel (there are: " +
            listed_channels(input.file) +
            "), or one of the colours by --set BlurChannel=Red");
    }
    const OIIO::ImageSpec& spec = input.file[input.color.part].spec;
    input.encoding = choices.encoding ? *choices.encoding : stored_encoding(spec);
    input.display = display_window(spec);
    input.area = input.display;
    for (const color_channels& color : colors) {
        if (&color != &colors.front()) {
            input.further.push_back(
                {color, further_depth(input, color, choices, needs_depth && !has_map)});
        }
        const auto& depth =
            input.further.empty() ? input.depth : input.further.back().depth;
        input.area = united(input.area, data_window(input.file[color.part].spec));
        if (depth) {
            input.area = united(input.area, data_window(input.file[depth->part].spec));
        }
    }
    return input;
}

}  // namespace focusfall
