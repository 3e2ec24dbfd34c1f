#include "pipeline/inspection/picture_report.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <limits>

#include "host/error.h"
#include "pipeline/pictures/host_image.h"

namespace focusfall {

namespace {

std::string in_lower_case(std::string text) {
    std::ranges::transform(text, text.begin(), [](unsigned char c) {
        return static_cast<char>(std::tolower(c));
    });
    return text;
}

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

// Attributes whose names tell of a camera, each once.
std::vector<attribute_report> camera_of(const picture& file) {
    std::vector<attribute_report> camera;
    for (const picture_part& part : file) {
        for (const OIIO::ParamValue& attribute : part.spec.extra_attribs) {
            const std::string name = attribute.name().string();
            const std::string lower = in_lower_case(name);
            bool tells = false;
            for (const char* word :
                 {"focal", "fstop", "f-stop", "fnumber", "aperture", "focus", "filmback",
                  "sensor", "lens", "camera", "fieldofview", "fov"}) {
                tells = tells || lower.find(word) != lower.npos;
            }
            if (!tells || lower == "focusfall") continue;
            if (std::ranges::count(camera, name, &attribute_report::name) > 0) continue;
            camera.push_back({name, attribute.get_string(100)});
        }
    }
    return camera;
}

// What the header says of the programs that made the file, names of attributes too: some
// write only their own kinds of them.
std::string writer_of(const picture& file) {
    std::string text;
    for (const OIIO::ParamValue& attribute : file[0].spec.extra_attribs) {
        const std::string name = attribute.name().string();
        text += name + " ";
        const std::string lower = in_lower_case(name);
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

depth_grid grid_of(const Image& image, const depth_statistics& s, double rounding) {
    depth_grid grid{image.Width(), image.Height(), {}, rounding};
    for (std::int32_t y = 0; y < image.Height(); ++y) {
        for (std::int32_t x = 0; x < image.Width(); ++x) {
            const float* pixel = image.Pixel(x, y);
            const bool empty = s.is_empty(pixel[Image::Z], pixel[Image::ALPHA]);
            grid.values.push_back(empty ? std::numeric_limits<float>::quiet_NaN()
                                        : std::abs(pixel[Image::Z]));
        }
    }
    return grid;
}

double mean_of_rows(const depth_grid& grid, std::int32_t first, std::int32_t end) {
    double sum = 0.0;
    std::uint64_t count = 0;
    const auto width = static_cast<std::ptrdiff_t>(grid.width);
    for (auto v = grid.values.begin() + first * width;
         v != grid.values.begin() + end * width; ++v) {
        if (std::isnan(*v)) continue;
        sum += static_cast<double>(*v);
        ++count;
    }
    return count > 0 ? sum / static_cast<double>(count) : 0.0;
}

// In parts of the range, how much larger values are at the bottom than at the top.
double rise_to_bottom(const depth_grid& grid, const depth_statistics& s) {
    const std::int32_t third = grid.height / 3;
    const double range = static_cast<double>(s.highest) - static_cast<double>(s.lowest);
    if (third < 1 || !(range > 0.0)) return 0.0;
    return (mean_of_rows(grid, grid.height - third, grid.height) -
            mean_of_rows(grid, 0, third)) /
           range;
}

depth_report report_of(const picture& file, const std::optional<color_channels>& color,
                       const channel_place& place) {
    const OIIO::ImageSpec& spec = file[place.part].spec;
    const OIIO::TypeDesc type = spec.channelformat(static_cast<int>(place.channel));
    depth_report report;
    report.name = full_name(file, place);
    report.place = place;
    report.type = type_name(type);

    const Owned<Image> image =
        host_image(file, color, place, data_window(spec), color_encoding::linear());
    report.statistics = statistics_of(*image, Image::Z, *image);
    const depth_grid grid =
        grid_of(*image, report.statistics, rounding_of(type, report.statistics));
    report.planes = tested_for_planes(grid);
    report.judgement = judged({report.name, type, report.statistics, report.planes,
                               writer_of(file), rise_to_bottom(grid, report.statistics)});
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

}  // namespace

picture_report inspected(const picture& file, const std::string& name,
                         const report_choices& choices) {
    picture_report report;
    report.file = name;
    for (const picture_part& part : file) report.parts.push_back(report_of(part.spec));
    report.camera = camera_of(file);

    const auto color = chosen(report, [&]() -> std::optional<color_channels> {
        return choose_color(file, choices.layer);
    });
    std::vector<channel_place> candidates =
        depth_candidates(file, color.value_or(color_channels{}));
    std::optional<channel_place> depth;
    if (color) {
        report.color = names_of(file, *color);
        const auto encoding = chosen(report, [&]() -> std::optional<color_encoding> {
            if (choices.encoding) return choices.encoding;
            return stored_encoding(file[color->part].spec);
        });
        if (encoding) report.encoding = encoding->name();
        depth = chosen(report,
                       [&] { return choose_depth(file, *color, choices.depth_channel); });
        // the only channel of a grey picture may be a depth map
        if (candidates.empty() && color->is_grey()) {
            candidates.push_back({color->part, color->red});
        }
    }
    if (depth && std::ranges::count(candidates, *depth) == 0) {
        candidates.insert(candidates.begin(), *depth);
    }
    for (const channel_place& place : candidates) {
        const bool is_color = color && color->is_grey() && place.part == color->part &&
                              place.channel == color->red;
        report.depths.push_back(report_of(file, is_color ? std::nullopt : color, place));
        report.depths.back().is_chosen = place == depth;
    }
    if (report.depths.empty()) {
        report.hints.emplace_back(
            "no channel looks like depth; give a depth map by --depth-map, name a "
            "channel "
            "by --depth-channel, or use a colour by --set BlurChannel=Red");
    }
    return report;
}

}  // namespace focusfall
