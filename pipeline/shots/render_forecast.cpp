#include "pipeline/shots/render_forecast.h"

#include <algorithm>
#include <cmath>

#include "pipeline/shots/frame_preparation.h"

namespace focusfall {

namespace {

// Bytes of a pixel: of an image for the tool, and of the alpha and the depth that a file
// may get besides what it had.
constexpr std::uint64_t IMAGE_BYTES = 5 * sizeof(float);
constexpr std::uint64_t ADDED_BYTES = 2 * sizeof(float);

struct depth_range {
    float lowest = INFINITY;
    float highest = 0.0F;
};

// The finite depths without their sign, where there is something to see.
depth_range depths_of(const loaded_frame& frame, Image::Component component) {
    const Image& depth = tool_depth(frame);
    depth_range range;
    for (std::int32_t y = 0; y < depth.Height(); ++y) {
        for (std::int32_t x = 0; x < depth.Width(); ++x) {
            const float value = std::abs(depth.Pixel(x, y)[component]);
            const bool seen = frame.image->Pixel(x, y)[Image::ALPHA] > 0.0F;
            if (!seen || !std::isfinite(value)) continue;
            range.lowest = std::min(range.lowest, value);
            range.highest = std::max(range.highest, value);
        }
    }
    return range;
}

std::uint64_t pixels_of(const window& w) {
    return static_cast<std::uint64_t>(w.width) * static_cast<std::uint64_t>(w.height);
}

std::uint64_t stored_bytes(const picture& file) {
    std::uint64_t bytes = 0;
    for (const picture_part& part : file) bytes += part.spec.image_bytes(true);
    return bytes;
}

// Bytes of the picture to write besides the input's: the parts that the tool changes are
// as large as its area, others are those of the input. With several layers, which may be
// in all parts, it is made in steps, of which two exist at a time.
std::uint64_t written_bytes(const input_picture& input) {
    std::uint64_t bytes = 0;
    for (std::size_t i = 0; i < input.file.size(); ++i) {
        const bool is_changed =
            i == input.color.part || (input.depth && i == input.depth->part);
        if (!is_changed && input.further.empty()) continue;
        bytes +=
            pixels_of(input.area) * (input.file[i].spec.pixel_bytes(true) + ADDED_BYTES);
    }
    return input.further.empty() ? bytes : 2 * bytes;
}

}  // namespace

FrameForecast forecast_of(const headless::tool& tool, TimeStamp time,
                          const opened_frame& opened, const depth_reading& reading) {
    return forecast_of(tool, time, opened.input, reading,
                       pixels_of(opened.blur_image_area) > 0);
}

FrameForecast forecast_of(const headless::tool& tool, TimeStamp time,
                          const input_picture& input, const depth_reading& reading,
                          bool has_blur_image) {
    const window& area = input.area;
    return tool.forecast(
        {.time = time, .instead = order_values(tool, time, input, reading)},
        {.width = static_cast<std::int32_t>(area.width),
         .height = static_cast<std::int32_t>(area.height),
         .has_blur_image = has_blur_image});
}

std::uint64_t render_bytes(const opened_frame& opened, const shot_options& options,
                           const FrameForecast& forecast, bool in_shot) {
    const input_picture& input = opened.input;
    // a page renders the same input again and again, and writes nothing
    const bool writes = !options.output.empty();
    const picture_format format = writes ? format_of(options.output) : picture_format{};
    const std::uint64_t layers = 1 + input.further.size();
    const std::uint64_t image = pixels_of(input.area) * IMAGE_BYTES * layers;
    std::uint64_t read = stored_bytes(input.file) + image;
    if (!opened.files.depth_map.empty()) read += image;
    if (opened.scales_map) read += pixels_of(opened.map_area) * IMAGE_BYTES;
    if (options.load.depth.changes_values()) read += image + image / 5;
    // the images, and what the tool makes of them, which is as large
    if (!opened.files.background.empty() || opened.splits_deep) read += 2 * image;
    if (opened.splits_deep) read += 2 * stored_bytes(input.file);
    const std::uint64_t blur_image =
        pixels_of(opened.blur_image_area) * (IMAGE_BYTES + Image::RESIZE_BYTES);
    const std::uint64_t kept =
        writes && !keeps_pixels(input, format) ? read - stored_bytes(input.file) : read;
    const std::uint64_t result = overwrites_image(input, options, forecast) ? 0 : image;
    const std::uint64_t render = kept + result + blur_image + forecast.bytes;
    const bool is_copied = !format.has_named_channels || !input.encoding.is_linear() ||
                           result_window(input, forecast) != input.area;
    const std::uint64_t write =
        kept + result + (is_copied ? image : 0) + written_bytes(input);
    return in_shot ? read + render + write : std::max({read, render, write});
}

bool overwrites_image(const input_picture& input, const shot_options& options,
                      const FrameForecast& forecast) {
    return forecast.reads_first && input.further.empty() && !options.output.empty() &&
           options.preview.empty() && options.output_as.diameter_channel.empty();
}

window result_window(const input_picture& input, const FrameForecast& forecast) {
    window data = data_window(input.file[input.color.part].spec);
    const auto add = [&](const std::optional<channel_place>& depth) {
        if (depth) data = united(data, data_window(input.file[depth->part].spec));
    };
    add(input.depth);
    for (const auto& [color, depth] : input.further) {
        add(channel_place{color.part, color.red});
        add(depth);
    }
    if (forecast.largest_blur > 1.0) {
        // no kernel is wider than a quarter of the picture
        const double diameter =
            std::min(forecast.largest_blur, static_cast<double>(input.area.width) / 4.0);
        const auto reach = static_cast<std::int64_t>(std::ceil(diameter / 2.0)) + 1;
        data = {data.x - reach, data.y - reach, data.width + 2 * reach,
                data.height + 2 * reach};
    }
    return common(data, input.area);
}

std::uint64_t diameter_bytes(const input_picture& input) {
    // the values, and a copy of the part that has room for them
    return pixels_of(input.area) * (2 * sizeof(float) + ADDED_BYTES +
                                    input.file[input.color.part].spec.pixel_bytes(true));
}

std::string no_blur_note(const FrameForecast& forecast) {
    if (forecast.largest_blur > 1.0 || !forecast.blur_of) return "";
    return "nothing is blurred by more than a pixel; " + forecast.more_blur;
}

std::string no_focus_note(const headless::tool& tool, TimeStamp time,
                          const FrameForecast& forecast, const loaded_frame& frame) {
    if (!(forecast.largest_blur > 1.0) || !forecast.blur_of) return "";
    const depth_range depths = depths_of(frame, forecast.depth);
    const headless::control& position = tool.find("FocusPosition");
    const depth_mapping& mapping = frame.reading.mapping;
    const auto in_map = static_cast<float>(std::abs(position.number(time)));
    const double focus = !frame.prepared.empty() ? double{mapping.for_tool(in_map)}
                                                 : std::abs(position.number(time));
    if (depths.lowest <= focus && focus <= depths.highest) return "";
    // near misses count: up to a pixel of blur does not show
    for (const float depth : {depths.lowest, depths.highest}) {
        if (!(forecast.blur_of(depth) > 1.0F)) return "";
    }
    const auto shown = [&](double value) { return position.info().shown(value); };
    const auto [from, to] =
        std::minmax({mapping.in_map(depths.lowest), mapping.in_map(depths.highest)});
    return "no pixel is in focus: the depth goes from " +
           shown(static_cast<double>(from)) + " to " + shown(static_cast<double>(to)) +
           ", FocusPosition is " + shown(position.number(time)) +
           "; --focus-at X,Y takes the depth of a pixel";
}

}  // namespace focusfall
