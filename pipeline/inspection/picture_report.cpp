#include "pipeline/inspection/picture_report.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

#include "host/error.h"
#include "pipeline/pictures/host_image.h"
#include "pipeline/pictures/lower_case.h"

namespace focusfall {

namespace {

std::string type_name(OIIO::TypeDesc type) { return type.c_str(); }

part_report report_of(const OIIO::ImageSpec& spec) {
    part_report part;
    part.name = spec.get_string_attribute("oiio:subimagename");
    part.view = spec.get_string_attribute("view");
    part.compression = spec.get_string_attribute("compression");
    part.data = data_window(spec);
    part.display = display_window(spec);
    for (std::size_t i = 0; i < spec.channelnames.size(); ++i) {
        const auto [layer, last] = split_name(spec.channelnames[i]);
        auto found = std::ranges::find(part.layers, layer, &layer_report::name);
        if (found == part.layers.end()) {
            part.layers.push_back({layer, {}});
            found = part.layers.end() - 1;
        }
        found->channels.push_back(
            {last, type_name(spec.channelformat(static_cast<int>(i)))});
    }
    return part;
}

// What the header says of the programs that made the file, names of attributes too: some
// write only their own kinds of them.
std::string writer_of(const picture& file) {
    std::string text;
    for (const OIIO::ParamValue& attribute : file[0].spec.extra_attribs) {
        const std::string name = attribute.name().string();
        text += name + " ";
        const std::string lower = lowered(name);
        for (const char* word : {"software", "renderer", "creator", "writer"}) {
            if (lower.find(word) != lower.npos) text += attribute.get_string(200) + " ";
        }
    }
    return text;
}

// A value may be off by so much of itself. Whole numbers are off by a part of the range.
double rounding_of(OIIO::TypeDesc type, const depth_statistics& s) {
    if (type == OIIO::TypeDesc::HALF) return 1.0 / 4096.0;
    if (type.is_floating_point()) return 0.0;
    const double steps = type.size() == 1 ? 255.0 : 65535.0;
    return 0.5 / (steps * std::max(static_cast<double>(s.median), 1e-3));
}

depth_grid grid_of(const Image& image, const empty_pixels& empty, double rounding) {
    depth_grid grid{image.Width(), image.Height(), {}, rounding};
    for (std::int32_t y = 0; y < image.Height(); ++y) {
        for (std::int32_t x = 0; x < image.Width(); ++x) {
            const float* pixel = image.Pixel(x, y);
            const bool is_empty = empty.holds(pixel[Image::Z], pixel[Image::ALPHA]);
            grid.values.push_back(is_empty ? std::numeric_limits<float>::quiet_NaN()
                                           : std::abs(pixel[Image::Z]));
        }
    }
    return grid;
}

// The colour whose alpha tells which pixels of a depth show something: the one beside it,
// else the chosen one.
std::optional<color_channels> color_beside(const picture& file,
                                           const std::optional<color_channels>& chosen,
                                           const channel_place& place) {
    const std::string& name = file[place.part].spec.channelnames[place.channel];
    for (const color_channels& color : color_candidates(file)) {
        if (color.part == place.part && color.layer == split_name(name).layer) {
            return color;
        }
    }
    return chosen;
}

// The whole of a channel as depth, with an alpha.
Owned<Image> depth_image(const picture& file, const std::optional<color_channels>& chosen,
                         const channel_place& place) {
    const auto color = color_beside(file, chosen, place);
    Owned<Image> image = host_image(
        file, color, place, data_window(file[place.part].spec), color_encoding::linear());
    const std::int64_t pixels =
        color ? 0 : std::int64_t{image->Width()} * image->Height();
    for (std::int64_t i = 0; i < pixels; ++i) {
        image->Pixel(0, 0)[i * image->Components() + Image::ALPHA] = 1.0F;
    }
    return image;
}

depth_report report_of(const picture& file, const std::optional<color_channels>& color,
                       const channel_place& place, const depth_choices& choices) {
    const OIIO::ImageSpec& spec = file[place.part].spec;
    const OIIO::TypeDesc type = spec.channelformat(static_cast<int>(place.channel));
    depth_report report;
    report.name = full_name(file, place);
    report.place = place;
    report.type = type_name(type);

    const Owned<Image> image = depth_image(file, color, place);
    const empty_pixels empty(*image, Image::Z, {.choices = choices});
    report.statistics = statistics_of(*image, Image::Z, *image, empty);
    report.planes =
        tested_for_planes(grid_of(*image, empty, rounding_of(type, report.statistics)));
    report.judgement =
        judged({report.name, type, report.statistics, report.planes, writer_of(file),
                rise_to_bottom(*image, Image::Z, *image, empty)});
    return report;
}

// What a render would take; what it would refuse becomes a hint.
template <class Choose>
auto chosen(picture_report& report, Choose choose) -> decltype(choose()) {
    try {
        return choose();
    } catch (const headless::host_error& error) {
        report.hints.emplace_back(error.what());
        return std::nullopt;
    }
}

// The names of a picture's channels, each once.
std::vector<std::string> names_of(const picture& file, const color_channels& color) {
    std::vector<std::size_t> channels{color.red};
    if (!color.is_grey()) channels.push_back(color.green);
    if (!color.is_grey() && color.blue) channels.push_back(*color.blue);
    if (color.alpha) channels.push_back(*color.alpha);
    std::vector<std::string> names;
    for (const std::size_t channel : channels) {
        names.push_back(full_name(file, {color.part, channel}));
    }
    return names;
}

// The colour's channels, curve and views, as far as a render can tell them.
std::optional<color_channels> report_color(picture_report& report, const picture& file,
                                           const report_choices& choices) {
    const auto color = chosen(report, [&]() -> std::optional<color_channels> {
        return choose_colors(file, choices.layers).front();
    });
    // a depth map needs none
    if (choices.role == picture_role::DEPTH_MAP) report.hints.clear();
    if (!color) return color;
    report.color = names_of(file, *color);
    const auto encoding = chosen(report, [&]() -> std::optional<color_encoding> {
        if (choices.encoding) return choices.encoding;
        return stored_encoding(file[color->part].spec);
    });
    if (encoding) report.encoding = encoding->name();
    if (choices.layers.empty() && choices.role != picture_role::DEPTH_MAP) {
        const std::string note = other_views_note(file, *color);
        if (!note.empty()) report.hints.push_back(note);
    }
    return color;
}

}  // namespace

picture_report inspected(const picture& file, const std::string& name,
                         const report_choices& choices) {
    picture_report report;
    report.file = name;
    for (const picture_part& part : file) report.parts.push_back(report_of(part.spec));
    report.camera = camera_attributes_of(file);

    const auto color = report_color(report, file, choices);
    const color_channels beside = color.value_or(color_channels{});
    std::vector<channel_place> candidates = depth_candidates(file, beside);
    const bool is_map = choices.role == picture_role::DEPTH_MAP;
    const bool needs_depth = choices.role != picture_role::INPUT_WITH_MAP;
    std::optional<channel_place> depth;
    if (needs_depth && (color || is_map)) {
        depth = chosen(report,
                       [&] { return choose_depth(file, beside, choices.depth_channel); });
    }
    // the only channel of a grey picture may be a depth map
    if (needs_depth && candidates.empty() && color && color->is_grey()) {
        candidates.push_back({color->part, color->red});
        if (is_map && !depth) depth = candidates.front();
    }
    if (depth && std::ranges::count(candidates, *depth) == 0) {
        candidates.insert(candidates.begin(), *depth);
    }
    for (const channel_place& place : candidates) {
        report.depths.push_back(report_of(file, color, place, choices.depth));
        report.depths.back().is_chosen = place == depth;
    }
    if (report.depths.empty() && needs_depth) {
        report.hints.push_back(
            std::string("no channel looks like depth; ") +
            (is_map ? "" : "give a depth map by --depth-map, ") +
            "name a channel by --depth-channel, or use a colour by --set "
            "BlurChannel=Red");
    }
    return report;
}

}  // namespace focusfall
