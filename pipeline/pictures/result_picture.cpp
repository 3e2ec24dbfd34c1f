#include "pipeline/pictures/result_picture.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <utility>

#include "pipeline/pictures/host_image.h"
#include "pipeline/pictures/pixel_rows.h"

namespace focusfall {

namespace {

using OIIO::TypeDesc;

TypeDesc color_type(const input_picture& input, const output_choices& choices) {
    if (choices.type != TypeDesc::UNKNOWN) return choices.type;
    return input.file[input.color.part].spec.channelformat(
        static_cast<int>(input.color.red));
}

// The floating-point type of an output: the input's own, else half for whole numbers of 8
// bits, all of which it holds exactly, and float for larger ones.
TypeDesc float_type(TypeDesc type) {
    if (type == TypeDesc::HALF || type == TypeDesc::FLOAT) return type;
    return type.size() == 1 ? TypeDesc::HALF : TypeDesc::FLOAT;
}

bool is_environment(const OIIO::ImageSpec& spec) {
    const std::string kind = spec.get_string_attribute("textureformat");
    return kind.ends_with(" Environment");
}

void set_windows(OIIO::ImageSpec& spec, const window& data, const window& display) {
    spec.x = static_cast<int>(data.x);
    spec.y = static_cast<int>(data.y);
    spec.width = static_cast<int>(data.width);
    spec.height = static_cast<int>(data.height);
    spec.full_x = static_cast<int>(display.x);
    spec.full_y = static_cast<int>(display.y);
    spec.full_width = static_cast<int>(display.width);
    spec.full_height = static_cast<int>(display.height);
}

void set_type(OIIO::ImageSpec& spec, std::size_t channel, TypeDesc type) {
    if (spec.channelformats.empty()) {
        spec.channelformats.assign(spec.channelnames.size(), spec.format);
    }
    spec.channelformats[channel] = type;
}

std::size_t add_channel(OIIO::ImageSpec& spec, const channel_name& name, TypeDesc type) {
    spec.channelnames.push_back(name.full());
    if (!spec.channelformats.empty()) spec.channelformats.push_back(type);
    ++spec.nchannels;
    set_type(spec, spec.channelnames.size() - 1, type);
    return spec.channelnames.size() - 1;
}

// Removes what describes the input's file alone, for the writer would follow it. That it
// is an environment map stays.
void forget_storage(OIIO::ImageSpec& spec) {
    for (const char* name : {"openexr:levelmode", "openexr:roundingmode",
                             "openexr:chunkCount", "oiio:subimages"}) {
        spec.erase_attribute(name);
    }
    if (is_environment(spec)) {
        // or the writer would wait for more; of a type that it does not write out itself
        const std::uint8_t one_level = 0;
        spec.attribute("openexr:levelmode", TypeDesc::UINT8, &one_level);
    } else {
        spec.erase_attribute("textureformat");
    }
}

// Whether pixels of both lie in memory in the same way.
bool have_same_pixels(const OIIO::ImageSpec& a, const OIIO::ImageSpec& b) {
    if (a.nchannels != b.nchannels) return false;
    for (int channel = 0; channel < a.nchannels; ++channel) {
        if (a.channelformat(channel) != b.channelformat(channel)) return false;
    }
    return true;
}

// Copies `count` pixels of all channels of `from`, which are the first ones of `to` as
// well. A channel whose type differs is left out: the tool makes it.
void copy_channels(const OIIO::ImageSpec& from, const std::byte* source,
                   std::int64_t count, const OIIO::ImageSpec& to, std::byte* target) {
    const auto source_step = static_cast<std::ptrdiff_t>(from.pixel_bytes(true));
    const auto target_step = static_cast<std::ptrdiff_t>(to.pixel_bytes(true));
    for (int channel = 0; channel < from.nchannels; ++channel) {
        const TypeDesc type = from.channelformat(channel);
        if (type != to.channelformat(channel)) continue;
        convert_row({source + from.pixel_bytes(0, channel, true), source_step, type},
                    count,
                    {target + to.pixel_bytes(0, channel, true), target_step, type});
    }
}

// `part` with the header `spec`, which may have more channels and another data window;
// new channels and pixels are zero. Where it has no pixels they are not set.
picture_part changed_part(picture_part& part, OIIO::ImageSpec spec) {
    const OIIO::ImageSpec& from = part.spec;
    const window source = data_window(from);
    const window target = data_window(spec);
    if (!part.pixels) return empty_part(std::move(spec));
    if (have_same_pixels(from, spec) && source == target) {
        return {std::move(spec), std::move(part.pixels)};
    }
    picture_part changed = empty_part(std::move(spec));
    const OIIO::ImageSpec& to = changed.spec;
    const window both = common(source, target);
    const auto source_bytes = static_cast<std::ptrdiff_t>(from.pixel_bytes(true));
    const auto target_bytes = static_cast<std::ptrdiff_t>(to.pixel_bytes(true));
    for_each_row(target.height, [&](std::int64_t row) {
        std::byte* const out = changed.pixels.get() + row * target.width * target_bytes;
        std::memset(out, 0, static_cast<std::size_t>(target.width * target_bytes));
        const std::int64_t y = target.y + row;
        if (both.width < 1 || y < both.y || y >= both.y + both.height) return;
        const std::byte* const in =
            part.pixels.get() +
            ((y - source.y) * source.width + both.x - source.x) * source_bytes;
        copy_channels(from, in, both.width, to, out + (both.x - target.x) * target_bytes);
    });
    return changed;
}

void store_color(const Image& result, const color_channels& color, picture_part& part) {
    store_component(result, Image::RED, part, color.red);
    store_component(result, Image::GREEN, part, color.green);
    if (color.blue) store_component(result, Image::BLUE, part, *color.blue);
    if (color.alpha) store_component(result, Image::ALPHA, part, *color.alpha);
}

// The channel that takes the tool's depth: the one that the depth came from if that is a
// Z, for others stay as they are; else the Z beside the colour, if there is one.
std::optional<channel_place> depth_target(const picture& file,
                                          const color_channels& color,
                                          const std::optional<channel_place>& depth) {
    if (depth) {
        const std::string& name = file[depth->part].spec.channelnames[depth->channel];
        if (split_name(name).is_depth()) return depth;
    }
    const auto z = find_channel(file[color.part].spec, {color.layer, "Z"});
    if (!z) return std::nullopt;
    return channel_place{color.part, *z};
}

std::optional<channel_place> depth_target(const input_picture& input) {
    return depth_target(input.file, input.color, input.depth);
}

// The channels that the tool does not make.
std::vector<channel_place> untouched_channels(const input_picture& input) {
    std::vector<channel_place> untouched =
        other_channels(input.file, input.color, depth_target(input));
    for (const auto& [color, depth] : input.further) {
        const auto others =
            other_channels(input.file, color, depth_target(input.file, color, depth));
        std::erase_if(untouched, [&](const channel_place& place) {
            return std::ranges::count(others, place) == 0;
        });
    }
    return untouched;
}

// Whether part `part` has such channels, and a compression that would alter them once
// more.
bool would_alter_others(const input_picture& input, std::size_t part) {
    const std::string compression =
        input.file[part].spec.get_string_attribute("compression");
    if (!compression.starts_with("b44") && !compression.starts_with("dwa")) return false;
    return std::ranges::count(untouched_channels(input), part, &channel_place::part) > 0;
}

// The headers of an output with all channels, and where the tool's result goes.
struct output_headers {
    std::vector<OIIO::ImageSpec> specs;  // a part's channels begin with the input's
    color_channels color;
    channel_place depth;
};

// Depth joins the colour where the input has none, and so does alpha unless the picture
// fills its display window: at its edges alpha tells how much of a pixel is covered.
output_headers headers_for(const input_picture& input, const window& data,
                           TypeDesc type) {
    output_headers headers;
    for (const picture_part& part : input.file) headers.specs.push_back(part.spec);

    color_channels& color = headers.color = input.color;
    OIIO::ImageSpec& spec = headers.specs[color.part];
    const window filled = data_window(spec);
    if (!color.alpha && common(filled, input.display) != input.display) {
        const std::string red = split_name(spec.channelnames[color.red]).last;
        color.alpha = add_channel(spec, {color.layer, alpha_beside(red)}, type);
    }
    for (const std::size_t c : {color.red, color.green}) set_type(spec, c, type);
    if (color.blue) set_type(spec, *color.blue, type);
    if (color.alpha) set_type(spec, *color.alpha, type);
    if (const auto target = depth_target(input)) {
        headers.depth = *target;
        set_type(headers.specs[target->part], target->channel, TypeDesc::FLOAT);
    } else {
        headers.depth = {color.part,
                         add_channel(spec, {color.layer, "Z"}, TypeDesc::FLOAT)};
    }
    for (const std::size_t part : {color.part, headers.depth.part}) {
        set_windows(headers.specs[part], data, input.display);
    }
    return headers;
}

picture with_all_channels(input_picture& input, const Image& result, const window& data,
                          TypeDesc type, const color_encoding& encoding) {
    const auto [specs, color, depth] = headers_for(input, data, type);
    picture output;
    for (std::size_t i = 0; i < specs.size(); ++i) {
        output.push_back(changed_part(input.file[i], specs[i]));
        // the library would date it today; what is no text keeps it from doing so
        OIIO::ImageSpec& spec = output.back().spec;
        if (!spec.find_attribute("DateTime")) spec.attribute("DateTime", 0);
    }
    output[color.part].spec.erase_attribute("oiio:UnassociatedAlpha");
    const bool as_it_is = encoding.is_linear() && data == input.area;
    const Owned<Image> copy = as_it_is ? nullptr : cropped(result, input.area, data);
    if (!encoding.is_linear()) encode_image(*copy, encoding, false);
    const Image& image = as_it_is ? result : *copy;
    store_color(image, color, output[color.part]);
    store_component(image, Image::Z, output[depth.part], depth.channel);
    return output;
}

OIIO::ImageSpec color_spec(const input_picture& input, TypeDesc type, bool with_alpha) {
    OIIO::ImageSpec spec = input.file[input.color.part].spec;
    spec.nchannels = (input.color.is_grey() ? 1 : 3) + (with_alpha ? 1 : 0);
    spec.channelformats.clear();
    spec.set_format(type);
    spec.default_channel_names();
    spec.alpha_channel = with_alpha ? spec.nchannels - 1 : -1;
    spec.z_channel = -1;
    spec.tile_width = spec.tile_height = spec.tile_depth = 0;
    const window shown{0, 0, input.display.width, input.display.height};
    set_windows(spec, shown, shown);
    return spec;
}

picture only_color(const input_picture& input, const Image& result, bool has_alpha,
                   TypeDesc type, const color_encoding& encoding) {
    const bool with_alpha = input.color.alpha && has_alpha;
    const bool whole_numbers = !type.is_floating_point();
    const Owned<Image> image = cropped(result, input.area, input.display);
    encode_image(*image, encoding, whole_numbers && with_alpha);
    if (whole_numbers) clamp_image(*image);

    picture output;
    output.push_back(empty_part(color_spec(input, type, with_alpha)));
    color_channels stored{0, "", 0, 0, 0, std::nullopt};
    if (!input.color.is_grey()) stored = {0, "", 0, 1, 2, std::nullopt};
    if (with_alpha) stored.alpha = *stored.blue + 1;
    store_color(*image, stored, output[0]);
    output[0].spec.attribute("oiio:UnassociatedAlpha", whole_numbers ? 1 : 0);
    return output;
}

// Whole numbers keep the input's curve, or get the usual one; floats are light, unless
// the input's were not.
color_encoding output_encoding(const input_picture& input, TypeDesc type,
                               const output_choices& choices) {
    const bool input_floats = color_type(input, {}).is_floating_point();
    if (type.is_floating_point()) {
        return input_floats ? input.encoding : color_encoding::linear();
    }
    if (choices.encoding) return *choices.encoding;
    return input.encoding.is_linear() ? color_encoding::srgb() : input.encoding;
}

}  // namespace

std::string expected_losses(const input_picture& input, const picture_format& format,
                            const output_choices& choices) {
    if (!format.has_named_channels) {
        std::string others = listed_channels(
            input.file, other_channels(input.file, input.color, input.depth));
        if (input.color.alpha && !format.has_alpha) {
            others = "alpha" + (others.empty() ? "" : ", " + others);
        }
        return others.empty() ? "" : "has no room for " + others;
    }
    std::string text;
    for (const std::string& what : input.lost) {
        text += (text.empty() ? "does not keep " : ", ") + what;
    }
    for (std::size_t i = 0; i < input.file.size() && choices.compression.empty(); ++i) {
        if (!would_alter_others(input, i)) continue;
        return text + (text.empty() ? "" : "; ") + "is compressed by zip, because " +
               std::string(input.file[i].spec.get_string_attribute("compression")) +
               " would alter channels that pass through; --compression overrides";
    }
    return text;
}

bool keeps_pixels(const input_picture& input, const picture_format& format) {
    if (!format.has_named_channels) return false;
    // layers are added to a picture one after the other
    return !input.further.empty() || !untouched_channels(input).empty();
}

std::optional<channel_place> written_depth(const input_picture& input,
                                           const picture& output) {
    if (const auto target = depth_target(input)) return target;
    const auto added =
        find_channel(output[input.color.part].spec, {input.color.layer, "Z"});
    return added ? std::optional(channel_place{input.color.part, *added}) : std::nullopt;
}

picture result_picture(input_picture& input, const Image& result, const window& data,
                       const picture_format& format, const output_choices& choices,
                       const std::string& record) {
    const TypeDesc wanted = color_type(input, choices);
    const bool all_channels = format.has_named_channels;
    const TypeDesc type = all_channels ? float_type(wanted) : format.nearest_type(wanted);
    const color_encoding encoding = output_encoding(input, type, choices);
    picture output = all_channels
                         ? with_all_channels(input, result, data, type, encoding)
                         : only_color(input, result, format.has_alpha, type, encoding);
    for (std::size_t i = 0; i < output.size(); ++i) {
        OIIO::ImageSpec& spec = output[i].spec;
        forget_storage(spec);
        spec.attribute("oiio:ColorSpace", encoding.name());
        // other parts keep theirs: they are as an earlier render made them
        const bool rendered = !all_channels || i == input.color.part;
        if (rendered) spec.attribute("focusfall", record);
        if (!choices.compression.empty()) {
            spec.attribute("compression", choices.compression);
        } else if (all_channels && would_alter_others(input, i)) {
            spec.attribute("compression", "zip");
        }
    }
    return output;
}

}  // namespace focusfall
