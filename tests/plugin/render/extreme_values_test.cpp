// Numbers far beyond the sliders, which controls without a highest value take.

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <future>
#include <iostream>
#include <string>

#include "tests/support/frame_fixture.h"

namespace {

frame_model::picture small_scene() {
    frame_model::picture scene = blank(40, 12);
    for (std::size_t i = 0; i < scene.values.size(); ++i) {
        scene.values[i] = static_cast<float>(i % 7) * 0.25F + 0.1F;
    }
    return scene;
}

// A frame that takes for ever ends the program: its thread cannot be stopped.
headless::frame rendered_in_time(headless::tool& tool, const std::string& what) {
    auto frame = std::async(std::launch::async, [&tool] { return tool.render(); });
    if (frame.wait_for(std::chrono::minutes(2)) != std::future_status::ready) {
        std::cerr << what << ": the frame does not end\n";
        std::_Exit(1);
    }
    return frame.get();
}

const frame_model::controls BLURRED = {
    {"SettingsType", 0},     {"MaxBlurSize", 20}, {"BlurStyle", 1},    {"BadBokeh", 0.5},
    {"PolygonSideCount", 5}, {"KernelAngle", 10}, {"FocusPosition", 0}};

TEST(ExtremeValues, LetEveryFrameEnd) {
    plugin_tool known;
    for (const headless::control* control : known.tool().controls()) {
        const headless::control_info& info = control->info();
        if (!info.is_number() || info.steps()) continue;
        for (const double settings_type : {0.0, 1.0}) {
            for (const double value : {-1e300, 1e10, 1e17, 1e300}) {
                plugin_tool tool;
                for (const auto& [id, number] : BLURRED) tool.tool().set(id, number);
                tool.tool().set("SettingsType", settings_type);
                tool.tool().set("DepthMapUnits", "meter");
                tool.tool().set(info.id, value);
                tool.connect("Input", small_scene());
                const std::string what = info.id + "=" + std::to_string(value);
                const headless::frame frame = rendered_in_time(tool.tool(), what);
                EXPECT_EQ(frame.how, headless::frame::end::DONE)
                    << what << ": " << frame.error;
            }
        }
    }
}

// More sides than a kernel has pixels around make the Disk, whatever they are turned by.
TEST(ExtremeValues, MakeAPolygonOfCountlessSidesADisk) {
    plugin_tool tool;
    frame_model::controls values = BLURRED;
    values["PolygonSideCount"] = 1e300;
    values["KernelAngle"] = 1e17;
    const frame_model::picture polygon = tool.render(small_scene(), nullptr, values);
    values["BlurStyle"] = 0;
    const frame_model::picture disk = tool.render(small_scene(), nullptr, values);
    for (std::size_t i = 0; i < disk.values.size(); ++i) {
        ASSERT_NEAR(polygon.values[i], disk.values[i], 1e-5) << i;
    }
}

// A brighter rim than any picture needs would lead out of the range of floats.
TEST(ExtremeValues, MakeARimNoBrighterThanFloatsCanSum) {
    plugin_tool tool;
    frame_model::controls values = BLURRED;
    values["BadBokeh"] = 1e9;
    const frame_model::picture bright = tool.render(small_scene(), nullptr, values);
    for (const float value : bright.values) ASSERT_TRUE(std::isfinite(value));
    values["BadBokeh"] = 1e300;
    EXPECT_EQ(tool.render(small_scene(), nullptr, values).values, bright.values);
}

}  // namespace
