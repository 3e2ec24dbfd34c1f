// Whole frames of the plug-in through the host, against the model.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>

#include "tests/frame_fixture.h"

namespace {

using frame_model::controls;
using frame_model::picture;

constexpr float INF = std::numeric_limits<float>::infinity();
constexpr float NOT_A_NUMBER = std::numeric_limits<float>::quiet_NaN();

TEST(Frame, AgreesWithTheModelForRandomPicturesAndSettings) {
    plugin_tool plugin;
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
        expect_agreement(plugin.render(input, separate ? &map : nullptr, values), input,
                         model);
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
    constexpr int IN_A_ROW = 8;
    constexpr int SIZE = SPACING * IN_A_ROW;
    constexpr double LARGEST = SIZE * 0.1175;  // 31.02
    plugin_tool plugin;
    for (int style = 0; style < 5; ++style) {
        const controls values = {{"BlurStyle", style},   {"Normalize", 0},
                                 {"MaxBlurSize", 11.75}, {"FocusPosition", 0},
                                 {"BadBokeh", 0.3},      {"PolygonSideCount", 4}};
        picture input = blank(SIZE, SIZE);
        const auto middle = [](int light) { return light * SPACING + SPACING / 2; };
        for (int n = 0; n < 60; ++n) {
            // in focus at distance 1; a hair more than the diameter, to be above its step
            const double diameter = (n + 1) * 0.5 + 0.001;
            const double distance = 1.0 / (1.0 - diameter / LARGEST);
            float* pixel = &input.at(middle(n % IN_A_ROW), middle(n / IN_A_ROW), 0);
            pixel[RED] = 3.0F;
            pixel[ALPHA] = 1.0F;
            pixel[Z] = static_cast<float>(distance - 1.0);
        }
        const picture output = plugin.render(input, nullptr, values);
        for (int n = 0; n < 60; ++n) {
            SCOPED_TRACE(testing::Message() << "style " << style << ", light " << n);
            const auto kernel = frame_model::kernel(values, (n + 1) * 50);
            const int side = static_cast<int>(std::lround(std::sqrt(kernel.size())));
            double sum = 0.0;
            for (int i = 0; i < SPACING * SPACING; ++i) {
                const int dx = i % SPACING - SPACING / 2;
                const int dy = i / SPACING - SPACING / 2;
                const int x = middle(n % IN_A_ROW) + dx;
                const int y = middle(n / IN_A_ROW) + dy;
                const bool covered = std::max(std::abs(dx), std::abs(dy)) <= side / 2;
                const int at = (dy + side / 2) * side + dx + side / 2;
                const double weight =
                    covered ? kernel[static_cast<std::size_t>(at)] : 0.0;
                ASSERT_NEAR(output.at(x, y, RED), 3.0 * weight,
                            1e-7 + 2e-4 * std::fabs(weight))
                    << dx << ", " << dy;
                sum += std::fabs(double{output.at(x, y, ALPHA)});
            }
            EXPECT_NEAR(sum, 1.0, 1e-5) << "the light's sum is not kept";
        }
    }
}

TEST(Frame, LeavesAConstantPictureConstant) {
    plugin_tool plugin;
    for (int style = 0; style < 5; ++style) {
        const controls values = {{"BlurStyle", style},
                                 {"Normalize", 1},
                                 {"MaxBlurSize", 20},
                                 {"FocusPosition", 0.4}};
        random_frame random(3000);
        picture input = blank(48, 31);
        for (int i = 0; i < 48 * 31; ++i) {
            const int x = i % 48;
            const int y = i / 48;
            for (int c = BLUE; c <= ALPHA; ++c) {
                input.at(x, y, c) = 0.25F + 0.25F * static_cast<float>(c);
            }
            input.at(x, y, Z) = random.between(0, 1.5);
        }
        const picture output = plugin.render(input, nullptr, values);
        int undivided = 0;
        for (int i = 0; i < 48 * 31; ++i) {
            const float constant = input.at(i % 48, i / 48, RED);
            const float value = output.at(i % 48, i / 48, RED);
            // where negative rings outweigh the rest there is nothing to divide by
            undivided += style == 4 && value <= 0.0F;
            if (style == 4 && value <= 0.0F) continue;
            ASSERT_NEAR(value, constant, style == 4 ? 1e-3 : 1e-5)
                << "style " << style << ", pixel " << i;
        }
        EXPECT_LT(undivided, 48 * 31 / 2);
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
        for (int i = 0; i < c.width * c.height; ++i) {
            input.at(i % c.width, i / c.width, ALPHA) = c.alpha;
        }
        const picture output = plugin.render(input, nullptr, values);
        expect_agreement(output, input, frame_model::render(input, input, values));
        if (c.alpha == 0.0F) {
            EXPECT_EQ(output.at(20, 12, RED), 0.0F);
        }
    }
}

// A sample of a blur picture's own size takes it as it is.
TEST(Frame, StampsTheBlurPicture) {
    plugin_tool plugin;
    random_frame random(4000);
    for (const int side : {3, 5, 9}) {
        SCOPED_TRACE(side);
        const int size = 4 * side;
        picture input = blank(size, size);
        const int middle = size / 2;
        input.at(middle, middle, GREEN) = 2.0F;
        input.at(middle, middle, ALPHA) = 1.0F;
        input.at(middle, middle, Z) = 1e6F;  // far: the largest blur, a quarter of `size`
        picture shape = blank(side, side, 6);
        double sum = 0.0;
        for (int i = 0; i < side * side; ++i) {
            for (int c = 0; c < 6; ++c) shape.at(i % side, i / side, c) = 100.0F;
            shape.at(i % side, i / side, RED) = random.between(0, 1);
            sum += double{shape.at(i % side, i / side, RED)};
        }
        plugin.connect("BlurImage", shape);
        const picture output =
            plugin.render(input, nullptr, {{"MaxBlurSize", 25}, {"Normalize", 0}});
        for (int i = 0; i < side * side; ++i) {
            const double weight = double{shape.at(i % side, i / side, RED)} / sum;
            EXPECT_NEAR(output.at(middle + i % side - side / 2,
                                  middle + i / side - side / 2, GREEN),
                        2.0 * weight, 1e-6);
        }
    }
}

// A large picture of a ring, shrunk to the blur's size, is still that ring; a black one
// is no shape and says so.
TEST(Frame, KeepsTheShapeOfALargeBlurPictureAndRefusesABlackOne) {
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

    const auto in_ring = [](double x, double y, double side) {
        const double d = std::hypot(x - side / 2, y - side / 2) / side;
        return d > 0.2 && d < 0.4;
    };
    for (int i = 0; i < SIDE * SIDE; ++i) {
        shape.at(i % SIDE, i / SIDE, RED) =
            in_ring(i % SIDE + 0.5, i / SIDE + 0.5, SIDE) ? 1.0F : 0.0F;
    }
    plugin.connect("BlurImage", shape);
    output = plugin.render(input, nullptr, values);
    // each pixel of the stamp is the mean of the ten by ten that it stands for
    const double ring_area = 3.14159265 * (0.4 * 0.4 - 0.2 * 0.2) * 21 * 21;
    for (int i = 0; i < 21 * 21; ++i) {
        double covered = 0.0;
        for (int j = 0; j < 100; ++j) {
            covered +=
                in_ring(i % 21 + (j % 10 + 0.5) / 10, i / 21 + (j / 10 + 0.5) / 10, 21);
        }
        EXPECT_NEAR(output.at(32 + i % 21, 32 + i / 21, RED) * ring_area, covered / 100,
                    0.01);
    }
}

TEST(Frame, IsTheSameWithOneTwoAndEightThreads) {
    random_frame random(5000);
    controls values = random.settings();
    values["SettingsType"] = 0;
    values["MaxBlurSize"] = 10;
    const picture input = random.picture(150, 100, values);
    plugin_tool alone(1);
    const picture expected = alone.render(input, nullptr, values);
    for (const int threads : {2, 8}) {
        plugin_tool several(threads);
        const picture output = several.render(input, nullptr, values);
        for (std::size_t i = 0; i < input.values.size(); ++i) {
            ASSERT_NEAR(output.values[i], expected.values[i],
                        1e-4 + 1e-4 * std::fabs(expected.values[i]))
                << threads << " threads, value " << i;
        }
    }
}

}  // namespace
