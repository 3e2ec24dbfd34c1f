#include "pipeline/inspection/report_text.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "host/text.h"

namespace focusfall {

namespace {

// A measured value in a few digits; large ones whole, as 65504.
std::string brief(double value) {
    const bool is_large = std::abs(value) >= 1000.0 && std::abs(value) < 1e7;
    char text[32];
    std::snprintf(text, sizeof text, is_large ? "%.0f" : "%.4g", value);
    return text;
}
std::string brief(float value) { return brief(static_cast<double>(value)); }

std::string percent_of(std::uint64_t part, std::uint64_t all) {
    const double share = 100.0 * static_cast<double>(part) / static_cast<double>(all);
    if (part > 0 && share < 0.1) return "less than 0.1 %";
    return brief(std::round(share * 10.0) / 10.0) + " %";
}

// The names of a layer's channels, grouped by type: "R, G, B, A half; Z float".
std::string channels_of(const layer_report& layer) {
    std::string text;
    std::string type;
    for (const channel_report& channel : layer.channels) {
        if (!text.empty()) text += channel.type == type ? ", " : " " + type + "; ";
        text += channel.name;
        type = channel.type;
    }
    return text + " " + type;
}

std::string shown_part(const part_report& part) {
    std::string text = part.name.empty() ? "" : "part " + part.name + ", ";
    if (!part.view.empty()) text += "view " + part.view + ", ";
    text += shown(part.display);
    if (part.data != part.display) text += "; pixels: " + shown(part.data);
    if (!part.compression.empty()) text += "; " + part.compression;
    text += "\n";
    for (const layer_report& layer : part.layers) {
        text += "    " + (layer.name.empty() ? "" : layer.name + ": ") +
                channels_of(layer) + "\n";
    }
    return text;
}

// Bars from left to right, in rows of eighths from top to bottom.
std::string drawn(const std::vector<std::uint64_t>& bins) {
    constexpr int ROWS = 4;
    constexpr int EIGHTHS = 8;
    static const char* const BLOCKS[] = {" ", "▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
    const auto highest = static_cast<double>(std::ranges::max(bins));
    std::string text;
    for (int row = ROWS - 1; row >= 0; --row) {
        text += "    ";
        for (const std::uint64_t bin : bins) {
            const double height = static_cast<double>(bin) / highest * ROWS * EIGHTHS;
            // what is there shows, however little it is
            const int full = std::max(static_cast<int>(std::lround(height)), bin ? 1 : 0);
            text += BLOCKS[std::clamp(full - row * EIGHTHS, 0, EIGHTHS)];
        }
        text += "\n";
    }
    return text;
}

// Lowest and highest below the ends of the histogram.
std::string axis_of(const depth_statistics& s) {
    const std::string low = brief(s.lowest);
    const std::string high = brief(s.highest);
    const std::string middle = s.is_logarithmic ? "(logarithmic)" : "";
    const std::size_t width = s.histogram.size();
    const std::size_t used = low.size() + middle.size() + high.size();
    const std::size_t gap = width > used ? width - used : 2;
    return "    " + low + std::string(gap / 2, ' ') + middle +
           std::string(gap - gap / 2, ' ') + high + "\n";
}

const char* adverb(certainty how_sure) {
    switch (how_sure) {
        case certainty::SURE: return "quite surely";
        case certainty::LIKELY: return "probably";
        case certainty::GUESS: break;
    }
    return "perhaps";
}

std::string shown_depth(const depth_report& depth) {
    const depth_statistics& s = depth.statistics;
    std::string text = "depth " + depth.name + " (" + depth.type + ")" +
                       (depth.is_chosen ? ", which a render takes" : "") + "\n";
    if (s.has_depth()) {
        text += "    from " + brief(s.lowest) + " to " + brief(s.highest) +
                ", half of it up to " + brief(s.median) +
                (s.is_negative ? " (without their minus signs)" : "") + "\n";
    }
    if (s.empty > 0) {
        text += "    " + percent_of(s.empty, s.pixels) +
                " of the pixels are empty, with " +
                (s.empty_value ? brief(*s.empty_value) : "") + "\n";
    }
    if (s.has_depth()) text += drawn(s.histogram) + axis_of(s);
    text += "    " + std::string(adverb(depth.judgement.how_sure)) + " " +
            depth.judgement.summary + "\n";
    for (const std::string& reason : depth.judgement.reasons) {
        text += "      because " + reason + "\n";
    }
    if (!depth.judgement.options.empty()) {
        text += "    fits: " + headless::joined(depth.judgement.options, " ") + "\n";
    }
    return text;
}

// JSON has no infinity.
nlohmann::ordered_json number(float value) {
    if (std::isfinite(value)) return value;
    return std::isnan(value) ? "not a number" : value > 0.0F ? "infinity" : "-infinity";
}

nlohmann::ordered_json json_window(const window& w) {
    return {{"x", w.x}, {"y", w.y}, {"width", w.width}, {"height", w.height}};
}

// The values of a header's camera: their names for people, for programs, and their unit.
template <class Work>
void for_each_value(const camera_attributes& camera, Work work) {
    const auto visit = [&](const char* name, const char* key, const char* unit,
                           const std::optional<camera_value>& found) {
        if (found) work(name, key, unit, *found);
    };
    visit("focal length", "focal_length_mm", " mm", camera.focal_length);
    visit("f-stop", "f_stop", "", camera.f_stop);
    visit("filmback", "filmback_width_mm", " mm", camera.filmback_width);
    visit("focus at", "focus_distance_mm", " mm", camera.focus_distance);
    visit("focus at a depth of", "focus_depth", "", camera.focus_depth);
}

std::string shown_camera(const camera_attributes& camera) {
    std::vector<std::string> values;
    for_each_value(camera, [&](const char* name, const char*, const char* unit,
                               const camera_value& found) {
        values.push_back(std::string(name) + " " + brief(found.value) + unit + " (" +
                         found.attribute + ")");
    });
    if (values.empty()) return "";
    return "camera " + headless::joined(values) + "; --lens-from-header takes it\n";
}

nlohmann::ordered_json json_camera(const camera_attributes& camera) {
    auto json = nlohmann::ordered_json::object();
    for_each_value(camera, [&](const char*, const char* key, const char*,
                               const camera_value& found) {
        json[key] = {{"value", found.value}, {"attribute", found.attribute}};
    });
    return json;
}

nlohmann::ordered_json json_part(const part_report& part) {
    auto layers = nlohmann::ordered_json::array();
    for (const layer_report& layer : part.layers) {
        auto channels = nlohmann::ordered_json::array();
        for (const auto& [name, type] : layer.channels) {
            channels.push_back({{"name", name}, {"type", type}});
        }
        layers.push_back({{"name", layer.name}, {"channels", channels}});
    }
    return {{"name", part.name},
            {"view", part.view},
            {"compression", part.compression},
            {"data_window", json_window(part.data)},
            {"display_window", json_window(part.display)},
            {"layers", layers}};
}

const char* kind_name(seeming_depth kind) {
    switch (kind) {
        case seeming_depth::DISTANCE: return "distance";
        case seeming_depth::NORMALIZED: return "normalized";
        case seeming_depth::INVERSE: return "inverse";
        case seeming_depth::UNKNOWN: break;
    }
    return "unknown";
}

const char* unit_name(length_unit unit) {
    switch (unit) {
        case length_unit::MILLIMETER: return "mm";
        case length_unit::CENTIMETER: return "cm";
        case length_unit::METER: return "meter";
        case length_unit::UNTOLD: break;
    }
    return "unknown";
}

const char* measure_name(depth_measure measure) {
    switch (measure) {
        case depth_measure::PLANAR: return "planar";
        case depth_measure::RAY: return "ray";
        case depth_measure::UNTOLD: break;
    }
    return "unknown";
}

const char* certainty_name(certainty how_sure) {
    switch (how_sure) {
        case certainty::SURE: return "sure";
        case certainty::LIKELY: return "likely";
        case certainty::GUESS: break;
    }
    return "guess";
}

nlohmann::ordered_json json_depth(const depth_report& depth) {
    const depth_statistics& s = depth.statistics;
    const depth_judgement& j = depth.judgement;
    nlohmann::ordered_json json{{"channel", depth.name},
                                {"type", depth.type},
                                {"is_chosen", depth.is_chosen},
                                {"pixels", s.pixels},
                                {"empty_pixels", s.empty}};
    if (s.empty_value) json["empty_value"] = number(*s.empty_value);
    if (s.has_depth()) {
        json.update({{"lowest", s.lowest},
                     {"tenth", s.tenth},
                     {"median", s.median},
                     {"highest", s.highest},
                     {"is_negative", s.is_negative},
                     {"histogram", s.histogram},
                     {"is_logarithmic", s.is_logarithmic}});
    }
    json["flat_pieces"] = {{"tried", depth.planes.pieces},
                           {"planar", depth.planes.planar},
                           {"ray", depth.planes.ray},
                           {"inverse", depth.planes.inverse}};
    json["judgement"] = {{"kind", kind_name(j.kind)},
                         {"unit", unit_name(j.unit)},
                         {"measure", measure_name(j.measure)},
                         {"near_is_large", j.near_is_large},
                         {"how_sure", certainty_name(j.how_sure)},
                         {"summary", j.summary},
                         {"reasons", j.reasons},
                         {"options", j.options}};
    return json;
}

}  // namespace

std::string shown(const picture_report& report) {
    std::string text = report.file + "\n";
    for (const part_report& part : report.parts) text += shown_part(part);
    if (!report.color.empty()) {
        text += "colour " + headless::joined(report.color) +
                (report.encoding.empty() ? "" : "; " + report.encoding) + "\n";
    }
    text += shown_camera(report.camera);
    for (const depth_report& depth : report.depths) text += shown_depth(depth);
    for (const std::string& hint : report.hints) text += "note: " + hint + "\n";
    return text;
}

std::string shown(const pixel_report& pixel) {
    std::string text = "pixel " + std::to_string(pixel.x) + "," +
                       std::to_string(pixel.y) + ": colour " + brief(pixel.red) + " " +
                       brief(pixel.green) + " " + brief(pixel.blue) + ", alpha " +
                       brief(pixel.alpha);
    if (pixel.depth) {
        text += "; depth " + headless::shortest(*pixel.depth) +
                (pixel.is_empty ? " (empty)" : "");
    }
    if (pixel.distance_mm) text += "; " + brief(*pixel.distance_mm) + " mm away";
    if (pixel.diameter) {
        const float size = std::abs(*pixel.diameter);
        text += "; blurred by " + brief(size) + " pixels";
        if (size > 0.0F) {
            text +=
                *pixel.diameter < 0.0F ? ", in front of the focus" : ", behind the focus";
        }
    }
    return text;
}

nlohmann::ordered_json json_of(const picture_report& report) {
    auto parts = nlohmann::ordered_json::array();
    for (const part_report& part : report.parts) parts.push_back(json_part(part));
    auto depths = nlohmann::ordered_json::array();
    for (const depth_report& depth : report.depths) depths.push_back(json_depth(depth));
    return {{"file", report.file},
            {"parts", parts},
            {"color", report.color},
            {"encoding", report.encoding},
            {"camera", json_camera(report.camera)},
            {"depths", depths},
            {"hints", report.hints}};
}

nlohmann::ordered_json json_of(const pixel_report& pixel) {
    nlohmann::ordered_json json{
        {"x", pixel.x},
        {"y", pixel.y},
        {"color", {number(pixel.red), number(pixel.green), number(pixel.blue)}},
        {"alpha", number(pixel.alpha)}};
    if (pixel.depth) {
        json["depth"] = number(*pixel.depth);
        json["is_empty"] = pixel.is_empty;
    }
    if (pixel.distance_mm) json["distance_mm"] = number(*pixel.distance_mm);
    if (pixel.diameter) json["diameter"] = number(*pixel.diameter);
    return json;
}

}  // namespace focusfall
