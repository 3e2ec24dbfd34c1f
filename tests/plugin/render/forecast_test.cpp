// What tools say of a frame beforehand, against the frame itself.

#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <string>

#include "tests/support/frame_fixture.h"

namespace {

const frame_model::controls LENS = {
    {"SettingsType", 1}, {"DepthMapType", 0},  {"DepthMapUnits", 1}, {"FocalLength", 85},
    {"FStop", 2},        {"FocusPosition", 3}, {"FilmbackWidth", 36}};

TEST(Forecast, TellsTheBlurThatAPixelOfThatDepthThenHas) {
    constexpr int SIDE = 257;
    plugin_tool tool;
    for (const auto& [control, value] : LENS) tool.tool().set(control, value);
    tool.tool().set("BlurStyle", "Disk");
    tool.tool().set("Normalize", "off");
    const FrameForecast forecast =
        tool.tool().forecast({}, {.width = SIDE, .height = SIDE});
    for (const float depth : {2.5F, 3.0F, 3.6F, 9.0F, -40.0F, 1e9F}) {
        frame_model::picture dot = blank(SIDE, SIDE);
        float* middle = &dot.values[(SIDE * (SIDE / 2) + SIDE / 2) * 5];
        middle[RED] = middle[ALPHA] = 1.0F;
        middle[Z] = depth;
        const frame_model::picture blurred = tool.render(dot, nullptr, {});
        int width = 0;
        for (int x = 0; x < SIDE; ++x) {
            width += blurred.at(x, SIDE / 2, RED) > 0 ? 1 : 0;
        }
        const float blur = forecast.blur_of(depth);
        EXPECT_NEAR(width, std::max(blur, 1.0F), 2.0) << depth;
        EXPECT_LE(static_cast<double>(blur), forecast.largest_blur);
    }
}

// An order's own values count, and nothing of the tool changes.
TEST(Forecast, IsThatOfTheOrder) {
    plugin_tool tool;
    tool.tool().set("BlurChannel", "Green");
    const FrameShape shape = {.width = 1000, .height = 10};
    const FrameForecast simple =
        tool.tool().forecast({.instead = {{"MaxBlurSize", 2.0}}}, shape);
    EXPECT_EQ(simple.largest_blur, 20.0);
    EXPECT_EQ(simple.depth, Image::GREEN);
    EXPECT_EQ(simple.less_blur, "lower MaxBlurSize");
    EXPECT_EQ(tool.tool().forecast({}, shape).largest_blur, 10.0);

    const FrameForecast near = tool.tool().forecast(
        {.instead = {{"SettingsType", "Advanced"}, {"FocusPosition", 10.0}}}, shape);
    EXPECT_EQ(near.largest_blur, 0.0) << "nearer than the focal length";
    EXPECT_EQ(near.more_blur,
              "raise FocusPosition beyond FocalLength, or set DepthMapUnits");
}

// Sanitizers keep memory that was let go.
#if defined(__GLIBC__) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

// A line of this process's status, bytes.
double status(const std::string& name) {
    std::ifstream lines("/proc/self/status");
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with(name + ":"))
            return std::stod(line.substr(name.size() + 1)) * 1024;
    }
    return 0.0;
}

// What the largest memory of the process rises by while the tool renders, but for the
// image that comes out.
double measured_bytes(plugin_tool& tool, const frame_model::picture& input) {
    tool.tool().trim();
    tool.connect("Input", input);
    malloc_trim(0);                                 // what earlier frames left
    std::ofstream("/proc/self/clear_refs") << "5";  // forgets the largest so far
    const double before = status("VmRSS");
    const headless::frame frame = tool.tool().render();
    EXPECT_EQ(frame.how, headless::frame::end::DONE) << frame.error;
    return status("VmHWM") - before - static_cast<double>(input.values.size()) * 4.0;
}

TEST(Forecast, IsTheMemoryThatTheFrameTakes) {
    constexpr int WIDTH = 1200;
    constexpr int HEIGHT = 700;
    // every kernel once, and the rest in focus, so that the frames are quick
    constexpr int KERNELS = 6000;
    frame_model::picture input = blank(WIDTH, HEIGHT);
    for (int i = 0; i < WIDTH * HEIGHT; ++i) {
        float* pixel = &input.values[static_cast<std::size_t>(i) * 5];
        std::fill_n(pixel, 4, 0.5F);
        const float part = (static_cast<float>(i) + 0.5F) / KERNELS;
        pixel[Z] = i < KERNELS ? part / (1.0F - part) : 0.0F;
    }
    const frame_model::picture shape = blank(64, 64);
    for (const bool has_blur_image : {false, true}) {
        for (const double blur : {0.0, 12.0, 60.0}) {
            plugin_tool tool;
            tool.tool().set("MaxBlurSize", blur / WIDTH * 100.0);
            tool.tool().set("BlurChannel", "Z");
            if (has_blur_image) tool.connect("BlurImage", shape);
            const FrameForecast forecast = tool.tool().forecast(
                {}, {.width = WIDTH, .height = HEIGHT, .has_blur_image = has_blur_image});
            const double measured = measured_bytes(tool, input);
            const auto foretold = static_cast<double>(forecast.bytes);
            EXPECT_GT(foretold, measured * 0.95) << blur;
            // how far lists have grown and what the threads hold at once differs from
            // frame to frame; a third too much only makes a warning come early
            EXPECT_LT(foretold, measured * 1.4) << blur;
            EXPECT_LE(forecast.blur_bytes, forecast.bytes);
        }
    }
}

#endif

}  // namespace
