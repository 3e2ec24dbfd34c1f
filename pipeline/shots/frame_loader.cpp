#include "pipeline/shots/frame_loader.h"

#include <cmath>
#include <new>
#include <utility>

#include "host/error.h"
#include "pipeline/pictures/host_image.h"
#include "pipeline/preparation/scaled_map.h"
#include "pipeline/regions/outer_depth.h"
#include "pipeline/shots/input_choice.h"

namespace focusfall {

namespace {

namespace fs = std::filesystem;
using headless::host_error;

// Far windows cost nothing in a file, but the pixels between them do in memory.
void check_area(const window& area, std::uint64_t max_bytes) {
    constexpr std::uint64_t PIXEL_BYTES = sizeof(float) * (Image::Z + 1);
    const auto pixels = static_cast<std::uint64_t>(area.width * area.height);
    if (pixels <= max_bytes / PIXEL_BYTES) return;
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

// Whether the numbers of the depth, or of the colour that may stand for it, are whole
// ones in the file.
bool stores_whole_numbers(const picture& file, const std::optional<channel_place>& depth,
                          const std::optional<color_channels>& color) {
    if (!depth && !color) return false;
    const channel_place place = depth ? *depth : channel_place{color->part, color->red};
    return !file[place.part]
                .spec.channelformat(static_cast<int>(place.channel))
                .is_floating_point();
}

// Places the parts of a depth map under the display window of the input, and gives what
// is used of the map: the input's area, or all that the map shows if it has another size.
window map_area(picture& file, const input_picture& input) {
    const window display = display_window(file[0].spec);
    place_display(file, input.display);
    return display_window(file[0].spec) == input.display ? input.area : display;
}

// The image of a layer, with depth around the file's own pixels as well.
Owned<Image> layer_image(const input_picture& input, const color_channels& color,
                         const std::optional<channel_place>& depth) {
    Owned<Image> image = host_image(input.file, color, depth, input.area, input.encoding);
    if (depth) {
        extend_depth(*image, Image::Z, input.area,
                     data_window(input.file[depth->part].spec));
    }
    return image;
}

// The same for a map, of which any component may be the depth.
void extend_map(Image& map, const window& area, const window& inside) {
    for (const auto component :
         {Image::BLUE, Image::GREEN, Image::RED, Image::ALPHA, Image::Z}) {
        extend_depth(map, component, area, inside);
    }
}

// A map that was loaded in its own size, in that of the input's image.
Owned<Image> fitted_map(const Image& map, const loaded_frame& frame) {
    const window& area = frame.input.area;
    const window whole{0, 0, area.width, area.height};
    window inside = frame.input.display;
    inside.x -= area.x;
    inside.y -= area.y;
    Owned<Image> fitted = scaled_map(map, *frame.image, inside);
    extend_map(*fitted, whole, inside);
    return fitted;
}

// Tells that viewers show the picture turned.
void note_orientation(loaded_frame& frame) {
    const OIIO::ImageSpec& spec = frame.input.file[frame.input.color.part].spec;
    const int orientation = spec.get_int_attribute("Orientation", 1);
    if (orientation == 1) return;
    frame.notes.push_back(
        {frame.input_file,
         "viewers show it turned (its Orientation is " + std::to_string(orientation) +
             "); pixels and depth maps count as it is stored, " +
             std::to_string(spec.width) + " x " + std::to_string(spec.height)});
}

std::string scaling_note(const window& map, const window& display) {
    std::string note =
        "is " + shown(map) + ", and is scaled to the input's " + shown(display);
    const auto shape = [](const window& w) {
        return static_cast<double>(w.width) / static_cast<double>(w.height);
    };
    constexpr double ROUNDING = 0.02;  // small maps have whole pixels too
    if (std::abs(shape(map) / shape(display) - 1.0) > ROUNDING) {
        note += ", which has another shape";
    }
    return note;
}

// Does the work, and blames the frame's input when there is no memory for it.
template <class Work>
auto within_memory(const fs::path& input, Work work) {
    try {
        return work();
    } catch (const std::bad_alloc&) {
        throw host_error(input.string() + ": there is no memory for this picture");
    }
}

}  // namespace

bool is_splittable(const opened_frame& opened) {
    const input_picture& input = opened.input;
    const frame_files& files = opened.files;
    return opened.needs_depth && files.depth_map.empty() && files.background.empty() &&
           input.further.empty() && input.depth &&
           input.depth->part == input.color.part &&
           opened.input_reader.is_deep(input.color.part) &&
           input.file[input.depth->part].spec.channel_name(
               static_cast<int>(input.depth->channel)) == "Z";
}

opened_frame frame_loader::open(const frame_files& files, bool needs_depth) {
    return within_memory(files.input, [&] {
        picture_reader reader(files.input, max_bytes_);
        input_picture input = with_name_in_errors(files.input, [&] {
            input_picture chosen = chosen_input(reader.headers(), choices_,
                                                !files.depth_map.empty(), needs_depth);
            check_area(chosen.area, max_bytes_);
            chosen.lost = reader.lost();
            chosen.note = reader.note();
            return chosen;
        });
        opened_frame opened{.files = files,
                            .needs_depth = needs_depth,
                            .input = std::move(input),
                            .input_reader = std::move(reader)};
        opened.depth_is_whole_numbers = stores_whole_numbers(
            opened.input.file, opened.input.depth, opened.input.color);
        open_blur_image(opened);
        open_depth_map(opened);
        opened.background =
            background_.open(files.background, opened.input, !files.depth_map.empty());
        return opened;
    });
}

void frame_loader::open_depth_map(opened_frame& opened) const {
    const fs::path& path = opened.files.depth_map;
    if (path.empty()) return;
    if (serves(depth_map_, opened)) {
        opened.depth_map = Shared(depth_map_.image.get());
        opened.map_area = depth_map_.area;
        opened.scales_map = depth_map_.is_scaled;
        opened.depth_is_whole_numbers = depth_map_.whole_numbers;
        return;
    }
    opened.depth_map_reader.emplace(path, max_bytes_);
    with_name_in_errors(path, [&] {
        picture headers = opened.depth_map_reader->headers();
        opened.map_area = map_area(headers, opened.input);
        opened.scales_map = display_window(headers[0].spec) != opened.input.display;
        check_area(opened.map_area, max_bytes_);
        const map_channels chosen =
            choose_map(headers, choices_.depth_channel, opened.needs_depth);
        opened.depth_is_whole_numbers =
            stores_whole_numbers(headers, chosen.depth, chosen.color);
    });
}

// A map that was loaded in its own size serves every frame that it does not fit as it is.
bool frame_loader::serves(const kept_image& map, const opened_frame& opened) const {
    const input_picture& input = opened.input;
    if (map.file != opened.files.depth_map) return false;
    if (!map.has_depth && opened.needs_depth) return false;
    const bool is_other = map.display != input.display;
    return is_other == map.is_scaled && (is_other || map.area == input.area);
}

void frame_loader::open_blur_image(opened_frame& opened) const {
    const fs::path& path = opened.files.blur_image;
    if (path.empty()) return;
    const kept_image& kept = blur_image_;
    if (kept.file == path) {
        opened.blur_image = Shared(kept.image.get());
        opened.blur_image_area = kept.area;
        return;
    }
    opened.blur_image_reader.emplace(path, max_bytes_);
    with_name_in_errors(path, [&] {
        const picture headers = opened.blur_image_reader->headers();
        const color_channels color = choose_color(headers, "");
        opened.blur_image_area = display_window(headers[color.part].spec);
        check_area(opened.blur_image_area, max_bytes_);
    });
}

loaded_frame frame_loader::load(opened_frame opened) {
    return within_memory(opened.files.input, [&] {
        loaded_frame frame;
        frame.blur_image = blur_image(opened);
        input_picture& input = opened.input;
        if (opened.splits_deep) {
            load_halves(opened, frame);
        } else {
            input.file = opened.input_reader.read();
            frame.image = layer_image(input, input.color, input.depth);
        }
        for (const further_layer& layer : input.further) {
            frame.further.push_back(layer_image(input, layer.color, layer.depth));
        }
        frame.depth_map = depth_map(opened);
        if (!opened.splits_deep)
            frame.backgrounds = background_.load(std::move(opened.background));
        frame.input_file = opened.files.input;
        frame.depth_file = frame.depth_map ? opened.files.depth_map : frame.input_file;
        frame.input = std::move(input);
        if (choices_.layers.empty()) {
            const std::string note =
                other_views_note(frame.input.file, frame.input.color);
            if (!note.empty()) frame.notes.push_back({frame.input_file, note});
        }
        note_orientation(frame);
        if (frame.depth_map && opened.scales_map) {
            frame.depth_map = fitted_map(*frame.depth_map, frame);
            frame.notes.push_back({opened.files.depth_map,
                                   scaling_note(opened.map_area, frame.input.display)});
        }
        return frame;
    });
}

void frame_loader::load_halves(opened_frame& opened, loaded_frame& frame) {
    input_picture& input = opened.input;
    const std::size_t part = input.color.part;
    deep_halves halves;
    input.file = opened.input_reader.read(part, &halves);
    input.note = "";  // nothing is lost
    // the other parts are not looked at
    picture half(input.file.size());
    const auto image = [&](picture_part& of) {
        half[part] = std::move(of);
        return host_image(half, input.color, input.depth, input.area, input.encoding);
    };
    frame.image = image(halves.front);
    extend_depth(*frame.image, Image::Z, input.area, data_window(input.file[part].spec));
    frame.backgrounds.push_back(image(halves.behind));
}

Owned<Image> frame_loader::depth_map(opened_frame& opened) {
    if (!opened.depth_map_reader) return std::move(opened.depth_map);
    const window& area = opened.map_area;
    picture file = opened.depth_map_reader->read();
    map_area(file, opened.input);
    const map_channels chosen =
        choose_map(file, choices_.depth_channel, opened.needs_depth);
    // numbers, whatever curve the file has: a map holds no light
    Owned<Image> image =
        host_image(file, chosen.color, chosen.depth, area, color_encoding::linear());
    const std::size_t part = chosen.depth ? chosen.depth->part : chosen.color->part;
    extend_map(*image, area, data_window(file[part].spec));
    depth_map_ = {.file = opened.files.depth_map,
                  .display = display_window(file[0].spec),
                  .area = area,
                  .is_scaled = opened.scales_map,
                  .has_depth = opened.needs_depth,
                  .whole_numbers = opened.depth_is_whole_numbers,
                  .image = Shared(image.get())};
    return image;
}

Owned<Image> frame_loader::blur_image(opened_frame& opened) {
    const fs::path& path = opened.files.blur_image;
    if (!opened.blur_image_reader) return std::move(opened.blur_image);
    const picture file = opened.blur_image_reader->read();
    const color_channels color = choose_color(file, "");
    const OIIO::ImageSpec& spec = file[color.part].spec;
    Owned<Image> image = with_name_in_errors(path, [&] {
        return host_image(file, color, std::nullopt, opened.blur_image_area,
                          choices_.encoding ? *choices_.encoding : stored_encoding(spec));
    });
    blur_image_ = {
        .file = path, .area = opened.blur_image_area, .image = Shared(image.get())};
    return image;
}

}  // namespace focusfall
