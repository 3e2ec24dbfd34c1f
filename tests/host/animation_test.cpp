// Values over time: the curves, and what keys do to a tool's other controls and frames.

#include "host/animation.h"

#include <cmath>
#include <limits>

#include "tests/support/tool_fixture.h"

namespace {

using headless::animation;
using headless::interpolation;
using headless::key;
using Keys = tool_test;

// Uneven distances, repeated values, ups and downs.
std::vector<key> random_keys(std::mt19937& random) {
    std::vector<key> keys;
    double time = -20.0 + static_cast<double>(random() % 20);
    for (int i = 0; i < 8; ++i) {
        time += 0.25 * static_cast<double>(1 + random() % 60);
        keys.push_back({time, static_cast<double>(random() % 5) * 700.1 - 900.0});
    }
    return keys;
}

}  // namespace

// Smooth curves have no corners: the slope from the left is that from the right, and at
// the ends the curve lies flat.
TEST(Animation, PassesItsKeysAndStaysBetweenThemWithoutCorners) {
    std::mt19937 random(11);
    for (int round = 0; round < 150; ++round) {
        const auto keys = random_keys(random);
        const auto between = static_cast<interpolation>(round % 3);
        const animation curve(keys, between);
        EXPECT_EQ(curve.at(keys.front().time - 5), keys.front().value);
        EXPECT_EQ(curve.at(keys.back().time + 5), keys.back().value);
        for (std::size_t i = 0; i + 1 < keys.size(); ++i) {
            const key& from = keys[i];
            const key& to = keys[i + 1];
            EXPECT_EQ(curve.at(from.time), from.value);
            double last = from.value;
            for (int step = 1; step < 50; ++step) {
                const double part = step / 50.0;
                const double value = curve.at(from.time + part * (to.time - from.time));
                // from one key to the next without turning back
                EXPECT_GE(value, std::min(last, to.value));
                EXPECT_LE(value, std::max(last, to.value));
                last = value;
                if (between == interpolation::STEP) {
                    EXPECT_EQ(value, from.value);
                }
                if (between != interpolation::LINEAR) continue;
                EXPECT_NEAR(value, from.value + part * (to.value - from.value), 1e-9);
            }
        }
        const double h = 1e-5;
        for (const key& one : keys) {
            if (between != interpolation::SMOOTH) break;
            const double left = (one.value - curve.at(one.time - h)) / h;
            const double right = (curve.at(one.time + h) - one.value) / h;
            // curvature is bounded by the steepest change over the shortest distance
            EXPECT_NEAR(left, right, 12.0 * 3500.0 / (0.25 * 0.25) * h);
        }
    }
}

TEST(Animation, TakesKeysInOrderOnlyAndJoinsThem) {
    const double inf = std::numeric_limits<double>::infinity();
    const std::vector<std::vector<key>> wrong = {
        {}, {{2, 0}, {1, 0}}, {{1, 0}, {1, 5}}, {{NAN, 0}}, {{1, 0}, {inf, 0}}};
    for (const auto& keys : wrong) {
        EXPECT_THROW(animation(keys, interpolation::LINEAR), std::invalid_argument);
    }

    // evenly spaced keys in a line are joined by it, but for the flat ends
    const animation line({{0, 0}, {1, 1}, {2, 2}, {3, 3}}, interpolation::SMOOTH);
    EXPECT_NEAR(line.at(1.25), 1.25, 1e-9);

    // keys that are set later find their place
    animation curve(5.0);
    for (const double time : {8.0, 2.0, 4.0, 2.0}) curve.set_key(time, 10.0 * time);
    EXPECT_EQ(curve.keys(), (std::vector<key>{{2, 20}, {4, 40}, {8, 80}}));
}

TEST_F(Keys, StepInListsAndCheckboxes) {
    tool->replace("BlurStyle", animation({{1, 0}, {10, 3}}, interpolation::SMOOTH));
    EXPECT_EQ(value("BlurStyle", 9.9), 0);
    EXPECT_EQ(value("BlurStyle", 10), 3);
    tool->replace("InvertDepthMap", animation({{1, 0}, {10, 1}}, interpolation::LINEAR));
    EXPECT_EQ(value("InvertDepthMap", 5), 0);
    tool->set("InvertDepthMap", 1.0, 5);  // on animated controls an edit is a key
    EXPECT_EQ(value("InvertDepthMap", 4), 0);
    EXPECT_EQ(value("InvertDepthMap", 5), 1);
}

TEST_F(Keys, AreKeptInTheRangeOfTheControl) {
    tool->replace("MaxBlurSize", animation({{1, -4}, {10, 90}}, interpolation::LINEAR));
    EXPECT_EQ(value("MaxBlurSize", 1), 0);
    EXPECT_EQ(value("MaxBlurSize", 10), 25);
    EXPECT_THROW(tool->replace("BlurStyle", animation({{1, 7}}, interpolation::STEP)),
                 headless::host_error);
    EXPECT_THROW(tool->replace("FStop", animation({{1, NAN}}, interpolation::LINEAR)),
                 headless::host_error);
    // what the tool sets keeps to the range too
    tool->set("ApertureDiameter", 350.0);
    EXPECT_EQ(value("FStop", 0), 1.0);
}

// Whatever is animated first; no keys are left of values that are gone.
TEST_F(Keys, CarryTheCoupledValuesAlong) {
    const auto aperture = [&] { return tool->find("ApertureDiameter").curve(); };
    tool->replace("FocusPosition",
                  animation({{1, 1200}, {48, 3400}}, interpolation::SMOOTH));
    tool->replace("FocalLength", animation(50.0));
    EXPECT_EQ(aperture(), animation(25.0));

    tool->replace("FocalLength", animation({{1, 35}, {30, 70}}, interpolation::SMOOTH));
    EXPECT_EQ(aperture().between(), interpolation::SMOOTH);
    tool->replace("FStop", animation({{10, 2}, {20, 4}}, interpolation::LINEAR));
    for (const double time : {1.0, 10.0, 20.0, 30.0, 48.0}) {
        const float expected = static_cast<float>(value("FocalLength", time)) /
                               static_cast<float>(value("FStop", time));
        EXPECT_EQ(value("ApertureDiameter", time), expected) << time;
    }

    tool->replace("FocalLength", animation(40.0));
    EXPECT_EQ(value("ApertureDiameter", 10), 20.0);
    EXPECT_EQ(value("ApertureDiameter", 20), 10.0);
    tool->replace("FStop", animation(4.0));
    EXPECT_EQ(aperture(), animation(10.0));
}

// A frame at a time is the frame of constants that have the values of that time.
TEST_F(Keys, ShowInTheFrameOfTheirTime) {
    const auto picture = small_picture();
    const auto still = host.create_tool("kestrelworks.Focusfall");
    tool->connect("Input", picture.get());
    still->connect("Input", picture.get());
    tool->replace("MaxBlurSize", animation({{1, 4}, {48, 20}}, interpolation::SMOOTH));
    tool->replace("BlurStyle", animation({{1, 2}, {24, 0}}, interpolation::STEP));
    for (const double time : {0.0, 12.5, 24.0, 60.0}) {
        still->set("MaxBlurSize", value("MaxBlurSize", time));
        still->set("BlurStyle", time < 24 ? "Gaussian" : "Disk");
        const headless::frame moving = tool->render({.time = time});
        const headless::frame expected = still->render();
        ASSERT_TRUE(moving.image && expected.image) << moving.error << expected.error;
        EXPECT_TRUE(same_pixels(*moving.image, *expected.image)) << time;
    }
}
