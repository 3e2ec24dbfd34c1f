#include "pipeline/shots/render_forecast.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace focusfall {

namespace {

constexpr double TABLE_STEP = 0.01;     // pixels of blur from kernel to kernel
constexpr double WIDEST_KERNEL = 0.25;  // of the picture's width
constexpr std::int64_t SMALLEST_KERNEL = 3;
constexpr std::uint64_t KERNEL_OVERHEAD = 64;  // of a list of weights in the table

// bytes of a pixel
constexpr std::uint64_t IMAGE_PIXEL = 20;
constexpr std::uint64_t SUMS_PIXEL = 40;  // of a blur image, which is resized
constexpr std::uint64_t ACCUMULATOR_PIXEL = 20;
constexpr std::uint64_t SAMPLE_PIXEL = 32;  // of a tool with a table
constexpr std::uint64_t PLANES_PIXEL = 28;  // of one without, as are the next two
constexpr std::uint64_t STAMP_PIXEL = 16;
constexpr std::uint64_t OFFSET_PIXEL = 36;  // of a square as wide as the largest kernel
constexpr std::uint64_t STAMP_BATCH = 1 << 28;  // kernels that it keeps at once
constexpr std::uint64_t MARGIN = 128;           // columns beside the planes

constexpr std::uint64_t ADDED_CHANNELS = 8;  // alpha and depth that a file may get

bool has_lens(const headless::tool& tool) {
    const auto has_control = [&](std::string_view id) {
        return std::ranges::any_of(tool.controls(),
                                   [&](const auto* c) { return c->info().id == id; });
    };
    return has_control("SettingsType") && has_control("MaxBlurSize");
}

// The distance that a value of a depth map, without its sign, stands for: millimetres
// under the advanced settings.
double distance(const headless::tool& tool, TimeStamp time, double value) {
    const auto number = [&](const char* id) { return tool.find(id).number(time); };
    if (number("SettingsType") < 0.5) {
        return (number("InvertDepthMap") > 0.5 ? std::abs(1.0 - value) : value) + 1.0;
    }
    if (number("DepthMapType") > 0.5) {
        const double near = std::abs(number("NearDistance"));
        const double far = std::abs(number("FarDistance"));
        if (number("InvertDepthMap") > 0.5) value = std::abs(1.0 - value);
        value = std::abs(far - near) * value + near;
    }
    constexpr std::array MILLIMETRES{1.0, 1000.0, 25.4, 304.8};
    return value * MILLIMETRES.at(static_cast<std::size_t>(number("DepthMapUnits")));
}

// The component that BlurChannel chooses.
Image::Component depth_component(const headless::tool& tool, TimeStamp time) {
    constexpr std::array CHANNELS{Image::Z, Image::RED, Image::GREEN, Image::BLUE,
                                  Image::ALPHA};
    return CHANNELS.at(static_cast<std::size_t>(tool.find("BlurChannel").number(time)));
}

struct depth_range {
    float lowest = INFINITY;
    float highest = 0.0F;
};

// Of the finite depths without their sign, where there is something to see.
depth_range depths_of(const loaded_frame& frame, Image::Component component) {
    const Image& depth = frame.depth_map ? *frame.depth_map : *frame.image;
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

// Of the picture to write: the parts that the tool changes are as large as its area.
std::uint64_t written_bytes(const input_picture& input) {
    std::uint64_t bytes = stored_bytes(input.file);
    for (std::size_t i = 0; i < input.file.size(); ++i) {
        if (i != input.color.part && (!input.depth || i != input.depth->part)) continue;
        bytes += pixels_of(input.area) *
                 (input.file[i].spec.pixel_bytes(true) + ADDED_CHANNELS);
    }
    return bytes;
}

// What the tool takes beside its images.
std::uint64_t tool_bytes(const planned_frame& frame) {
    const window& area = frame.header.input.area;
    const std::uint64_t pixels = pixels_of(area);
    std::uint64_t bytes = pixels * ACCUMULATOR_PIXEL;
    if (const std::uint64_t shape = pixels_of(frame.header.blur_image_area)) {
        bytes += shape * (IMAGE_PIXEL + SUMS_PIXEL);
        if (!frame.has_table) bytes += STAMP_BATCH;
    }
    if (frame.has_table) {
        return bytes + pixels * SAMPLE_PIXEL + kernel_table_bytes(frame.blur, area.width);
    }
    const double widest = static_cast<double>(area.width) * WIDEST_KERNEL;
    const auto reach =
        static_cast<std::uint64_t>(std::clamp(frame.blur, 0.0, widest)) + MARGIN;
    return bytes + pixels * (STAMP_PIXEL + PLANES_PIXEL) +
           static_cast<std::uint64_t>(area.height) * reach * PLANES_PIXEL +
           reach * reach * OFFSET_PIXEL;
}

}  // namespace

double largest_blur(const headless::tool& tool, TimeStamp time) {
    if (!has_lens(tool)) return 0.0;
    const auto number = [&](const char* id) { return tool.find(id).number(time); };
    if (number("SettingsType") < 0.5) return number("MaxBlurSize") / 100.0;

    const double focal_length = number("FocalLength");
    const double focus = distance(tool, time, std::abs(number("FocusPosition")));
    const double blur =
        focal_length * focal_length /
        ((focus - focal_length) * number("FilmbackWidth") * number("FStop"));
    return std::max(blur, 0.0);
}

std::uint64_t kernel_table_bytes(double blur, std::int64_t width) {
    if (!(blur > 1.0)) return 0;
    const double by_width = static_cast<double>(width) * WIDEST_KERNEL / TABLE_STEP;
    const auto entries =
        static_cast<std::int64_t>(std::min(blur / TABLE_STEP + 1.0, by_width));
    const auto steps = static_cast<std::int64_t>(1.0 / TABLE_STEP);
    std::uint64_t bytes = 0;
    for (std::int64_t i = 1; i <= entries; ++i) {
        const std::int64_t side = (i + steps - 1) / steps;
        const auto odd = static_cast<std::uint64_t>(std::max(side | 1, SMALLEST_KERNEL));
        bytes += odd * odd * sizeof(float) + KERNEL_OVERHEAD;
    }
    return bytes;
}

std::uint64_t render_bytes(const planned_frame& frame) {
    const input_picture& input = frame.header.input;
    const std::uint64_t image = pixels_of(input.area) * IMAGE_PIXEL;
    const std::uint64_t read = stored_bytes(input.file) + image * (frame.has_map ? 2 : 1);
    const std::uint64_t render = read + image + tool_bytes(frame);
    // the result, and a copy of it that is encoded
    const std::uint64_t write = read + 2 * image + written_bytes(input);
    return frame.in_shot ? read + render + write : std::max(render, write);
}

const char* blur_control(const headless::tool& tool, TimeStamp time) {
    const bool advanced = tool.find("SettingsType").number(time) > 0.5;
    return advanced ? "FocalLength, or raise FStop or FocusPosition" : "MaxBlurSize";
}

std::string no_blur_note(const headless::tool& tool, TimeStamp time, double blur) {
    if (blur > 1.0 || !has_lens(tool)) return "";
    const bool advanced = tool.find("SettingsType").number(time) > 0.5;
    const char* cure = !advanced ? "raise MaxBlurSize"
                       : blur > 0.0
                           ? "raise FocalLength, lower FStop, or set DepthMapUnits"
                           : "raise FocusPosition beyond FocalLength, or set "
                             "DepthMapUnits";
    return std::string("nothing is blurred by more than a pixel; ") + cure;
}

std::string no_focus_note(const headless::tool& tool, TimeStamp time,
                          const loaded_frame& frame) {
    const auto width = static_cast<double>(frame.input.display.width);
    const double largest = largest_blur(tool, time) * width;
    if (!(largest > 1.0)) return "";
    const depth_range depths = depths_of(frame, depth_component(tool, time));
    const headless::control& position = tool.find("FocusPosition");
    const double focus = std::abs(position.number(time));
    if (depths.lowest <= focus && focus <= depths.highest) return "";

    const double sharp = distance(tool, time, focus);
    for (const float depth : {depths.lowest, depths.highest}) {
        const double away = distance(tool, time, static_cast<double>(depth));
        // near misses count: up to a pixel of blur does not show
        if (!(largest * std::abs(away - sharp) > away)) return "";
    }
    const auto shown = [&](double value) { return position.info().shown(value); };
    return "no pixel is in focus: the depth goes from " +
           shown(static_cast<double>(depths.lowest)) + " to " +
           shown(static_cast<double>(depths.highest)) + ", FocusPosition is " +
           shown(position.number(time));
}

}  // namespace focusfall
