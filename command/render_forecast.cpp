#include "command/render_forecast.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace {

constexpr double TABLE_STEP = 0.01;     // pixels of blur from kernel to kernel
constexpr double WIDEST_KERNEL = 0.25;  // of the picture's width
constexpr std::int64_t SMALLEST_KERNEL = 3;
constexpr std::uint64_t KERNEL_OVERHEAD = 64;  // of a list of weights in the table
constexpr std::uint64_t IMAGE_PIXEL = 20;
constexpr std::uint64_t SAMPLE_PIXEL = 32;
constexpr std::uint64_t SUMS_PIXEL = 40;  // kept of a picture that is resized
constexpr std::uint64_t ACCUMULATOR_PIXEL = 20;

bool has_lens(const headless::tool& tool) {
    const auto has_control = [&](std::string_view id) {
        return std::ranges::any_of(tool.controls(),
                                   [&](const auto* c) { return c->info().id == id; });
    };
    return has_control("SettingsType") && has_control("MaxBlurSize");
}

// Millimetres for a value of a depth map under the advanced settings.
double distance(const headless::tool& tool, TimeStamp time, double value) {
    const auto number = [&](const char* id) { return tool.find(id).number(time); };
    if (number("DepthMapType") > 0.5) {
        const double near = std::abs(number("NearDistance"));
        const double far = std::abs(number("FarDistance"));
        if (number("InvertDepthMap") > 0.5) value = std::abs(1.0 - value);
        value = std::abs(far - near) * value + near;
    }
    constexpr std::array MILLIMETRES{1.0, 1000.0, 25.4, 304.8};
    return value * MILLIMETRES.at(static_cast<std::size_t>(number("DepthMapUnits")));
}

std::uint64_t stored_bytes(const picture& file) {
    std::uint64_t bytes = 0;
    for (const picture_part& part : file) bytes += part.spec.image_bytes(true);
    return bytes;
}

}  // namespace

double largest_blur(const headless::tool& tool, TimeStamp time, std::int64_t width) {
    if (!has_lens(tool)) return 0.0;
    const auto number = [&](const char* id) { return tool.find(id).number(time); };
    const auto pixels = static_cast<double>(width);
    if (number("SettingsType") < 0.5) return pixels * number("MaxBlurSize") / 100.0;

    const double focal_length = number("FocalLength");
    const double focus = distance(tool, time, std::abs(number("FocusPosition")));
    const double blur =
        pixels * focal_length * focal_length /
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

std::uint64_t render_bytes(const loaded_frame& frame, double blur, bool in_shot) {
    const window& area = frame.input.area;
    const auto pixels = static_cast<std::uint64_t>(area.width * area.height);
    std::uint64_t table = kernel_table_bytes(blur, area.width);
    if (frame.blur_image) {
        const Image& shape = *frame.blur_image;
        table += static_cast<std::uint64_t>(shape.Width()) *
                 static_cast<std::uint64_t>(shape.Height()) * SUMS_PIXEL;
    }
    const std::uint64_t map = frame.depth_map ? pixels * IMAGE_PIXEL : 0;
    const std::uint64_t render =
        map + pixels * (IMAGE_PIXEL + SAMPLE_PIXEL + ACCUMULATOR_PIXEL) + table;
    const std::uint64_t loaded = stored_bytes(frame.input.file) + pixels * IMAGE_PIXEL;
    const std::uint64_t write = loaded + pixels * IMAGE_PIXEL;
    return loaded + (in_shot ? render + loaded + write : std::max(render, write));
}

const char* blur_control(const headless::tool& tool, TimeStamp time) {
    const bool advanced = tool.find("SettingsType").number(time) > 0.5;
    return advanced ? "FocalLength, or raise FStop or FocusPosition" : "MaxBlurSize";
}

std::string no_blur_note(const headless::tool& tool, TimeStamp time, double blur) {
    if (blur > 1.0 || !has_lens(tool)) return "";
    const bool advanced = tool.find("SettingsType").number(time) > 0.5;
    const char* cure = !advanced    ? "raise MaxBlurSize"
                       : blur > 0.0 ? "raise FocalLength, or lower FStop"
                                    : "raise FocusPosition beyond FocalLength";
    return std::string("nothing is blurred by more than a pixel; ") + cure;
}
