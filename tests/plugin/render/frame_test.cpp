// Whole frames of the plug-in through the host, against the model.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "tests/support/frame_fixture.h"

namespace {

using frame_model::controls;
using frame_model::picture;

constexpr float INF = std::numeric_limits<float>::infinity();
constexpr float NOT_A_NUMBER = std::numeric_limits<float>::quiet_NaN();

TEST(Frame, AgreesWithTheModelForRandomPicturesAndSettings) {
    plugin_tool tools[] = {plugin_tool(1), plugin_tool(2), plugin_tool(8)};  // threads
    int blurred = 0;
    constexpr int FRAMES = 160;
    for (unsigned seed = 0; seed < FRAMES; ++seed) {
        SCOPED_TRACE(seed);
        random_frame random(seed);
        // every fifth frame is tiny or thin
        const bool thin = seed % 5 == 4;
        const int width = thin ? random.whole(1, 5) : random.whole(20, 60);
        const int height = random.whole(1, thin ? 40 : 30);
        const controls values = random.settings();
        const picture input = random.picture(width, height, values);
        const picture map = random.picture(width, height, values);
        const bool separate = random.chance(0.4);

        const auto model = frame_model::render(input, separate ? map : input, values);
        blurred += model.kernel_count > 0;
        expect_agreement(tools[seed % 3].render(input, separate ? &map : nullptr, values),
                         input, model);
        if (HasFatalFailure()) return;
    }
    EXPECT_GT(blurred, FRAMES / 2) << "too few of the frames are blurred";
}

// Values that are no numbers go where finite ones would, and nowhere else.
TEST(Frame, TakesColoursAndDepthsThatAreNotFinite) {
    plugin_tool plugin;
    for (unsigned seed = 1000; seed < 1020; ++seed) {
        SCOPED_TRACE(seed);
        random_frame random(seed);
        controls values = random.settings();
        values["BlurStyle"] = seed % 5;
        picture input = random.picture(32, 24, values);
        const float odd[] = {NOT_A_NUMBER, INF, -INF, 0.0F, 3e38F, 1e-40F};
        for (int i = 0; i < 12; ++i) {
            const int c = random.chance(0.5) ? Z : random.whole(BLUE, ALPHA);
            // colours that overflow in sums are left out: the order decides there
            const float value = odd[random.whole(0, c == Z ? 5 : 3)];
            input.at(random.whole(0, 31), random.whole(0, 23), c) = value;
        }
        expect_agreement(plugin.render(input, nullptr, values), input,
                         frame_model::render(input, input, values));
        if (HasFatalFailure()) return;
    }
}

// The pole of the lens: a focus at the focal length makes the largest blur infinite, and
// one below it negative.
TEST(Frame, TakesAFocusAtAndBelowTheFocalLength) {
    plugin_tool plugin;
    random_frame random(2000);
    for (const double focus : {50.0, 49.0}) {
        for (const int width : {1, 5, 32}) {
            SCOPED_TRACE(testing::Message() << "focus " << focus << ", width " << width);
            controls values = random.settings();
            values["SettingsType"] = 1;
            values["DepthMapType"] = values["DepthMapUnits"] = 0;
            values["FocalLength"] = 50;
            values["FocusPosition"] = focus;
            const picture input = random.picture(width, 9, values);
            const auto model = frame_model::render(input, input, values);
            EXPECT_EQ(model.kernel_count, focus < 50 ? 0 : 1 + width * 25);
            expect_agreement(plugin.render(input, nullptr, values), input, model);
        }
    }
}

// A picture of lights far enough apart, light n with the depth that gives a diameter of
// (n + 1) / 2 pixels.
TEST(Frame, GivesAPixelBackAsTheKernelOfItsDiameterInEveryStyle) {
    constexpr int SPACING = 33;
    constexpr int SIZE = SPACING * 8;
    constexpr double LARGEST = SIZE * 0.1175;  // 31.02
    picture input = blank(SIZE, SIZE);
    for (int n = 0; n < 60; ++n) {
        // in focus at distance 1; a hair more than the diameter, to be above its step
        const double diameter = (n + 1) * 0.5 + 0.001;
        const double distance = 1.0 / (1.0 - diameter / LARGEST);
        float* pixel =
            &input.at(n % 8 * SPACING + SPACING / 2, n / 8 * SPACING + SPACING / 2, 0);
        pixel[RED] = 3.0F;
        pixel[ALPHA] = 1.0F;
        pixel[Z] = static_cast<float>(distance - 1.0);
    }
    plugin_tool plugin;
    for (int style = 0; style < 5; ++style) {
        SCOPED_TRACE(style);
        const controls values = {{"BlurStyle", style},   {"Normalize", 0},
                                 {"MaxBlurSize", 11.75}, {"FocusPosition", 0},
                                 {"BadBokeh", 0.3},      {"PolygonSideCount", 4}};
        expect_agreement(plugin.render(input, nullptr, values), input,
                         frame_model::render(input, input, values));
    }
}

// None, a whole and a just begun chunk of samples.
TEST(Frame, TakesEveryNumberOfSamples) {
    plugin_tool plugin;
    random_frame random(6000);
    const struct {
        int width, height;
        float alpha;
    } cases[] = {{40, 25, 0.0F}, {40, 25, 1.0F}, {143, 7, 0.5F}};
    for (const auto& c : cases) {
        controls values = random.settings();
        values["SettingsType"] = values["Normalize"] = values["BlurChannel"] = 0;
        values["MaxBlurSize"] = 5;
        picture input = random.picture(c.width, c.height, values);
        for (int i = 0; i < c.width * c.height; ++i) input.at(i, 0, ALPHA) = c.alpha;
        expect_agreement(plugin.render(input, nullptr, values), input,
                         frame_model::render(input, input, values));
    }
}

// Shrunk to the blur's size, where ten by ten pixels become one; a black picture is no
// shape and makes no numbers.
TEST(Frame, StampsTheBlurPicture) {
    constexpr int SIDE = 210;
    picture shape = blank(SIDE, SIDE);
    plugin_tool plugin;
    plugin.connect("BlurImage", shape);
    picture input = blank(84, 84);
    for (int c = BLUE; c <= ALPHA; ++c) input.at(42, 42, c) = 1.0F;
    input.at(42, 42, Z) = 1e6F;
    const controls values = {{"MaxBlurSize", 25}, {"Normalize", 0}};  // 21 pixels
    picture output = plugin.render(input, nullptr, values);
    EXPECT_TRUE(std::isnan(output.at(42, 42, RED)));
    EXPECT_TRUE(std::isnan(output.at(32, 52, BLUE)));
    EXPECT_EQ(output.at(42, 53, RED), 0.0F) << "beyond the stamp";

    // each pixel of the stamp is the mean of the ten by ten that it stands for
    random_frame random(4000);
    double sum = 0.0;
    std::vector<double> means(21 * 21);
    std::fill(shape.values.begin(), shape.values.end(), 100.0F);
    for (int i = 0; i < SIDE * SIDE; ++i) {
        const double value{shape.at(i, 0, RED) = random.between(0, 1)};
        means[static_cast<std::size_t>(i / SIDE / 10 * 21 + i % SIDE / 10)] += value;
        sum += value;
    }
    plugin.connect("BlurImage", shape);
    output = plugin.render(input, nullptr, values);
    for (int i = 0; i < 21 * 21; ++i) {
        EXPECT_NEAR(output.at(32 + i % 21, 32 + i / 21, RED),
                    means[static_cast<std::size_t>(i)] / sum, 1e-6);
    }

    // where all weights are 0, nothing is divided
    for (int i = 0; i < SIDE * SIDE; ++i) {
        shape.at(i, 0, RED) = i / SIDE < 70 || i / SIDE >= 140 ? 1.0F : 0.0F;
    }
    plugin.connect("BlurImage", shape);
    picture row = blank(84, 1);
    for (int x = 0; x < 84; ++x) row.at(x, 0, Z) = 1e6F;
    output = plugin.render(row, nullptr, {{"MaxBlurSize", 25}, {"Normalize", 1}});
    for (int x = 0; x < 84; ++x) EXPECT_EQ(output.at(x, 0, RED), 0.0F);
}

}  // namespace
