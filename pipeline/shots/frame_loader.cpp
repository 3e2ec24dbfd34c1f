#include "pipeline/shots/frame_loader.h"

#include <new>
#include <utility>

#include "host/control.h"

namespace focusfall {

namespace {

namespace fs = std::filesystem;
using headless::host_error;

// Does the work, and puts the file's name before what goes wrong.
template <class Work>
auto named(const fs::path& file, Work work) {
    try {
        return work();
    } catch (const host_error& error) {
        throw host_error(file.string() + ": " + error.what());
    }
}

// Only this format's files know where they lie in the format that is shown.
bool knows_windows(const OIIO::ImageSpec& spec) {
    return spec.find_attribute("screenWindowWidth") != nullptr;
}

void shift(picture& file, const window& to) {
    for (picture_part& part : file) {
        part.spec.x += static_cast<int>(to.x) - part.spec.full_x;
        part.spec.y += static_cast<int>(to.y) - part.spec.full_y;
        part.spec.full_x = static_cast<int>(to.x);
        part.spec.full_y = static_cast<int>(to.y);
    }
}

// The depth of the input. Several candidates are a fault only if one is needed.
std::optional<channel_place> input_depth(const input_picture& input,
                                         const std::string& name, bool needed) {
    if (needed || !name.empty()) return choose_depth(input.file, input.color, name);
    try {
        return choose_depth(input.file, input.color, name);
    } catch (const host_error&) {
        return std::nullopt;
    }
}

// Completes an input that has its file, at least the headers.
void choose_input(input_picture& input, const load_choices& choices, bool has_map,
                  bool needs_depth) {
    input.color = choose_color(input.file, choices.layer);
    input.depth =
        input_depth(input, has_map ? "" : choices.depth_channel, needs_depth && !has_map);
    if (needs_depth && !has_map && !input.depth) {
        throw host_error(
            "has no depth channel Z; give a depth map by --depth-map, a channel by "
            "--depth-channel, or one of the colours by --set BlurChannel=Red");
    }
    const OIIO::ImageSpec& spec = input.file[input.color.part].spec;
    input.encoding = choices.encoding ? *choices.encoding : stored_encoding(spec);
    input.display = display_window(spec);
    input.area = united(input.display, data_window(spec));
    if (input.depth) {
        input.area = united(input.area, data_window(input.file[input.depth->part].spec));
    }
}

// Windows cost nothing in a file, but the pixels between them do in memory.
void check_area(const window& area, std::uint64_t most_bytes) {
    constexpr std::uint64_t PIXEL_BYTES = sizeof(float) * (Image::Z + 1);
    const auto pixels = static_cast<std::uint64_t>(area.width * area.height);
    if (pixels <= most_bytes / PIXEL_BYTES) return;
    throw host_error("is " + shown(area) +
                     " with its windows, which is more than the memory holds");
}

// Colour and depth of a depth map. The single channel of a grey one is both.
struct map_channels {
    std::optional<color_channels> color;
    std::optional<channel_place> depth;
};

map_channels choose_map(const picture& file, const std::string& name, bool needs_depth) {
    map_channels chosen;
    try {
        chosen.color = choose_color(file, "");
    } catch (const host_error&) {  // depth alone will do
    }
    const color_channels beside = chosen.color.value_or(color_channels{});
    if (needs_depth || !name.empty()) chosen.depth = choose_depth(file, beside, name);
    if (!chosen.depth && chosen.color && chosen.color->is_grey()) {
        chosen.depth = channel_place{chosen.color->part, chosen.color->red};
    }
    if (needs_depth && !chosen.depth) {
        throw host_error(
            "has neither a channel Z nor a single grey one; name one by --depth-channel, "
            "or use a colour by --set BlurChannel=Red");
    }
    return chosen;
}

}  // namespace

loaded_frame frame_loader::load(const frame_files& files, bool needs_depth,
                                std::uint64_t most_bytes,
                                const std::function<void(const loaded_frame&)>& look) {
    loaded_frame frame;
    input_picture& input = frame.input;
    const auto look_at = [&](const picture& headers) {
        for (const picture_part& part : headers)
            input.file.push_back({part.spec, nullptr});
        named(files.input, [&] {
            choose_input(input, choices_, !files.depth_map.empty(), needs_depth);
            check_area(input.area, most_bytes);
        });
        if (look) look(frame);
    };
    try {
        if (!files.blur_image.empty()) {
            frame.blur_image = blur_image(files.blur_image, most_bytes);
        }
        input.file = read_picture(files.input, most_bytes, look_at);
        frame.image =
            host_image(input.file, input.color, input.depth, input.area, input.encoding);
        if (!files.depth_map.empty()) {
            frame.depth_map = depth_map(files, input, needs_depth, most_bytes);
        }
    } catch (const std::bad_alloc&) {
        throw host_error(files.input.string() + ": there is no memory for this picture");
    }
    return frame;
}

Owned<Image> frame_loader::depth_map(const frame_files& files, const input_picture& input,
                                     bool needs_depth, std::uint64_t most_bytes) {
    const fs::path& path = files.depth_map;
    const kept_image& kept = depth_map_;
    if (kept.file == path && kept.display == input.display && kept.area == input.area &&
        (kept.has_depth || !needs_depth)) {
        return Shared(kept.image.get());
    }
    picture file = read_picture(path, most_bytes);
    Owned<Image> image = named(path, [&] {
        if (!knows_windows(file[0].spec)) shift(file, input.display);
        const window display = display_window(file[0].spec);
        if (display != input.display) {
            throw host_error("is " + shown(display) + ", the input is " +
                             shown(input.display) + " (display windows)");
        }
        const map_channels chosen = choose_map(file, choices_.depth_channel, needs_depth);
        // numbers, whatever curve the file has: a map holds no light
        return host_image(file, chosen.color, chosen.depth, input.area,
                          color_encoding::linear());
    });
    depth_map_ = {path, input.display, input.area, needs_depth, Shared(image.get())};
    return image;
}

Owned<Image> frame_loader::blur_image(const fs::path& path, std::uint64_t most_bytes) {
    if (blur_image_.file == path) return Shared(blur_image_.image.get());
    const picture file = read_picture(path, most_bytes);
    Owned<Image> image = named(path, [&] {
        const color_channels color = choose_color(file, "");
        const OIIO::ImageSpec& spec = file[color.part].spec;
        check_area(display_window(spec), most_bytes);
        return host_image(file, color, std::nullopt, display_window(spec),
                          choices_.encoding ? *choices_.encoding : stored_encoding(spec));
    });
    blur_image_ = {.file = path, .image = Shared(image.get())};
    return image;
}

}  // namespace focusfall
