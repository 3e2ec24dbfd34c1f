// The layered tool against the plain one where nothing is hidden, against itself, and its
// controls.

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <vector>

#include <hwy/targets.h>

#include "tests/plugin/layered/layered_scene.h"

namespace {

using namespace layered_scene;
using frame_model::controls;
using frame_model::picture;

enum { DISK, POLYGON, GAUSSIAN, AIRY_DISK, LAPLACIAN, STYLES };

class FocusfallLayered : public testing::Test {
  protected:
    random_frame random_{1};
    layered_tool layered_;
    plain_tool plain_;
};

float relative_difference(float a, float b) {
    return std::abs(a - b) / std::max(1.0F, std::abs(b));
}

// The plane fills all but a strip on the right, which makes the frame one of layers; with
// a picture as the blur's shape at the end.
TEST_F(FocusfallLayered, MakesThePlainPictureOfOnePlane) {
    constexpr int WIDTH = 150;
    constexpr int STRIP = 20;
    for (int style = 0; style <= STYLES; ++style) {
        for (const double diameter : {-21.0, -3.1, 0.4, 8.7, 24.0}) {
            for (const double strip : {diameter, diameter < 0.0 ? 5.0 : -5.0}) {
                SCOPED_TRACE(testing::Message() << "style " << style << ", diameter "
                                                << diameter << ", strip " << strip);
                const picture input = painted(WIDTH, 40, [&](int x, int /*y*/) {
                    const auto value = [&] { return double{random_.between(0, 1)}; };
                    return pixel{value(), value(), value(),
                                 x < WIDTH - STRIP ? diameter : strip};
                });
                controls values = lens_for(WIDTH, style % STYLES);
                // divided by their sums, which are near 0, its weights mean nothing
                values["Normalize"] = style == LAPLACIAN ? 0 : 1;
                values["BadBokeh"] = style == POLYGON ? 0.5 : 0.0;
                if (style == STYLES) {
                    const picture shape = painted(
                        9, 9, [&](int x, int y) { return gray(0.1 + x + 2.0 * y, 0.0); });
                    layered_.connect("BlurImage", shape);
                    plain_.connect("BlurImage", shape);
                }
                const picture expected = plain_.render(input, nullptr, values);
                const picture result = layered_.render(input, nullptr, values);
                for (int i = 0; i < WIDTH * 40; ++i) {
                    if (i % WIDTH > WIDTH - STRIP - 28) continue;
                    for (const int c : {BLUE, GREEN, RED, ALPHA}) {
                        const float a = result.at(i % WIDTH, i / WIDTH, c);
                        const float b = expected.at(i % WIDTH, i / WIDTH, c);
                        ASSERT_LE(relative_difference(a, b), 1e-5F)
                            << a << " and " << b << " at " << i % WIDTH << ", "
                            << i / WIDTH << ", component " << c;
                    }
                }
            }
        }
    }
}

// Nothing is lost and nothing is doubled, at the picture's edges either.
TEST_F(FocusfallLayered, KeepsOneColourOverAnyDepth) {
    for (int style = 0; style < LAPLACIAN; ++style) {
        const picture input = painted(200, 90, [&](int x, int y) {
            const int card = (x / 23 * 7 + y / 17 * 5) % 11;
            return gray(0.7, card * 4.0 - 20.0 + 0.02 * x);
        });
        const picture result = layered_.render(input, nullptr, lens_for(200, style));
        for (int i = 0; i < 200 * 90; ++i) {
            ASSERT_NEAR(result.at(i % 200, i / 200, RED), 0.7, 5e-6)
                << i % 200 << ", " << i / 200 << " in style " << style;
            ASSERT_NEAR(result.at(i % 200, i / 200, ALPHA), 1.0, 5e-6);
        }
    }
}

// A slope has no edges, though it goes through many layers.
TEST_F(FocusfallLayered, MakesNearlyThePlainPictureOfASlope) {
    const picture input = painted(200, 120, [&](int x, int y) {
        return gray(0.5 + 0.15 * std::sin(x * 0.4) * std::cos(y * 0.3), 0.2 * (y - 60));
    });
    const picture expected = plain_.render(input, nullptr, lens_for(200));
    const picture result = layered_.render(input, nullptr, lens_for(200));
    for (int i = 0; i < 200 * 120; ++i) {
        const int x = i % 200;
        const int y = i / 200;
        // near the picture's edges the blur that leaves it is known for a layer only
        const bool inside = std::min({x, y, 199 - x, 119 - y}) >= 12;
        const float b = expected.at(x, y, RED);
        ASSERT_NEAR(result.at(x, y, RED), b, (inside ? 0.01F : 0.02F) * b)
            << x << ", " << y;
    }
}

// Random cards with transparent parts, glows, lights and a few values that are no
// colours.
picture random_cards(random_frame& random, int width, int height, double odd) {
    struct card {
        int x, y, size;
        double diameter, alpha;
    };
    std::vector<card> cards;
    for (int i = 0; i < 30; ++i) {
        cards.push_back({random.whole(0, width), random.whole(0, height),
                         random.whole(5, 60), double{random.between(-23, 20)},
                         random.chance(0.3) ? double{random.between(0, 1)} : 1.0});
    }
    std::ranges::sort(cards, {}, [](const card& c) { return -c.diameter; });
    return painted(width, height, [&](int x, int y) {
        const auto value = [&] {
            if (random.chance(odd)) return double{NAN};
            return double{random.between(0, random.chance(0.01) ? 50 : 1)};
        };
        pixel result = {value(), value(), value(), 22.0, random.chance(0.1) ? 0.0 : 1.0};
        for (const card& c : cards) {
            if (x >= c.x && x < c.x + c.size && y >= c.y && y < c.y + c.size) {
                result.diameter = c.diameter;
                result.alpha = c.alpha;
            }
        }
        return result;
    });
}

void expect_identical(const picture& a, const picture& b) {
    for (std::size_t i = 0; i < a.values.size(); ++i) {
        ASSERT_EQ(std::bit_cast<std::uint32_t>(a.values[i]),
                  std::bit_cast<std::uint32_t>(b.values[i]))
            << a.values[i] << " and " << b.values[i] << " at component " << i % 5
            << " of pixel " << i / 5;
    }
}

// With a picture as the blur's shape last.
TEST_F(FocusfallLayered, MakesOnePictureWithAnyNumberOfThreadsAndAnyVectors) {
    layered_tool one(1), five(5);
    const std::int64_t fused = hwy::SupportedTargets() & (HWY_AVX2 | HWY_AVX3);
    for (int i = 0; i < 7 && !HasFatalFailure(); ++i) {
        SCOPED_TRACE(i);
        const picture input = random_cards(random_, 290, 130, i == 1 ? 0.001 : 0.0);
        controls values = lens_for(290, i % LAPLACIAN);
        values["Normalize"] = i == 4 ? 0 : 1;
        values["NearLimit"] = i == 5 ? 0 : 1;
        if (i == 6) {
            const picture shape = random_cards(random_, 9, 9, 0.0);
            for (plugin_tool* tool :
                 {static_cast<plugin_tool*>(&one), static_cast<plugin_tool*>(&five),
                  static_cast<plugin_tool*>(&layered_)}) {
                tool->connect("BlurImage", shape);
            }
        }
        const picture expected = one.render(input, nullptr, values);
        for (plugin_tool* tool :
             {static_cast<plugin_tool*>(&five), static_cast<plugin_tool*>(&layered_)}) {
            expect_identical(expected, tool->render(input, nullptr, values));
        }
        for (const std::int64_t target :
             {std::int64_t{HWY_AVX3}, std::int64_t{HWY_AVX2}}) {
            if ((target & fused) == 0) continue;
            hwy::GetChosenTarget().Update(target);
            expect_identical(expected, layered_.render(input, nullptr, values));
        }
        hwy::GetChosenTarget().DeInit();
    }
}

// The largest second difference of the tone-mapped pictures while the focus moves.
double largest_jump(plugin_tool& tool, const picture& input, double from, double to) {
    constexpr int FRAMES = 25;
    std::vector<picture> shot;
    double largest = 0.0;
    for (int i = 0; i < FRAMES; ++i) {
        controls values = lens_for(input.width);
        values["FocusPosition"] = from + (to - from) * i / (FRAMES - 1);
        shot.push_back(tool.render(input, nullptr, values));
        if (i < 2) continue;
        for (std::size_t v = 0; v < input.values.size(); ++v) {
            if (static_cast<int>(v % 5) == Z || static_cast<int>(v % 5) == ALPHA)
                continue;
            const auto tone = [v](const picture& p) {
                const double value = std::max(0.0, double{p.values[v]});
                return std::pow(value / (1.0 + value), 1.0 / 2.2);
            };
            const auto end = shot.end();
            largest = std::max(
                largest, std::abs(tone(end[-1]) - 2.0 * tone(end[-2]) + tone(end[-3])));
        }
    }
    return largest;
}

TEST_F(FocusfallLayered, PullsFocusAsSmoothlyAsThePlainTool) {
    const picture cards = painted(160, 90, [](int x, int y) {
        const int card = (x / 31 * 7 + y / 29 * 5) % 11;
        return gray(0.1 + 0.08 * card + 0.05 * ((x + y) % 3), card * 3.0 - 12.0);
    });
    EXPECT_LE(largest_jump(layered_, cards, 99.0, 104.0),
              1.5 * largest_jump(plain_, cards, 99.0, 104.0));
}

// Blurred by little more than a pixel, a hair no longer covers its pixels, nor the one
// beside it whose colour alone was smoothed.
TEST_F(FocusfallLayered, LightsUpBehindHairByDegrees) {
    const picture hair = painted(160, 90, [](int x, int y) {
        const bool light = std::hypot(x % 40 - 20, y % 30 - 15) < 6.0;
        const double behind = light ? 8.0 : 0.02;
        const int column = (x + y / 2) % 9;
        if (column == 4) return gray(0.03, 0.0);
        return gray(column == 5 ? 0.6 * 0.03 + 0.4 * behind : behind, 22.0);
    });
    EXPECT_LE(largest_jump(layered_, hair, 100.0, 112.0), 0.15);
}

TEST_F(FocusfallLayered, AddsAPageOfControlsToThoseOfThePlainTool) {
    const auto ids = [](plugin_tool& tool) {
        std::vector<std::string> result;
        for (const auto& control : tool.tool().controls())
            result.push_back(control->info().id);
        return result;
    };
    std::vector<std::string> expected = ids(plain_);
    const std::vector<std::string> all = ids(layered_);
    for (const char* id :
         {"HiddenFill", "DepthTolerance", "NearLimit", "FlipInFront", "Background"}) {
        EXPECT_EQ(layered_.tool().find(id).info().page, "Occlusion");
        EXPECT_FALSE(layered_.tool().find(id).info().help.empty()) << id;
        expected.push_back(id);
    }
    EXPECT_EQ(all, expected);
    layered_.tool().set("FStop", 0.5);
    EXPECT_EQ(layered_.tool().find("FStop").number(0), 0.5);
}

// Diameter of what a point becomes, pixels.
int width_of_point(plugin_tool& tool, double depth, const controls& more) {
    picture input = painted(400, 121, [](int x, int y) {
        return gray(x == 200 && y == 60 ? 1.0 : 0.0, 0.0);
    });
    for (int i = 0; i < 400 * 121; ++i) {
        input.at(i % 400, i / 400, Z) = static_cast<float>(depth);
    }
    controls values = lens_for(400);
    for (const auto& [id, value] : more) values[id] = value;
    const picture result = tool.render(input, nullptr, values);
    int width = 0;
    for (int x = 0; x < 400; ++x) width += result.at(x, 60, RED) > 0.0F ? 1 : 0;
    return width;
}

// Focused at a distance of 101, blur of at most 24 pixels; a quarter of the width is 100.
TEST_F(FocusfallLayered, BlursOnTowardsTheLensWithoutALimit) {
    EXPECT_NEAR(width_of_point(layered_, 24.0, {{"NearLimit", 1}}), 24, 2);
    EXPECT_NEAR(width_of_point(layered_, 24.0, {{"NearLimit", 0}}), 24 * 76 / 25.0, 2);
    EXPECT_NEAR(width_of_point(layered_, 4.0, {{"NearLimit", 0}}), 100, 2);
    const FrameShape shape = {.width = 400, .height = 121};
    layered_.tool().set("NearLimit", 0.0);
    const FrameForecast free = layered_.tool().forecast({}, shape);
    EXPECT_NEAR(free.largest_blur, 100.0, 1e-3);
    EXPECT_NEAR(free.blur_of(24.0F), 24.0 * 76 / 25, 0.1);
    EXPECT_NEAR(free.blur_of(4.0F), 100.0, 0.1);
    layered_.tool().set("NearLimit", 1.0);
    const FrameForecast limited = layered_.tool().forecast({}, shape);
    EXPECT_NEAR(limited.largest_blur, 24.0, 1e-3);
    EXPECT_NEAR(limited.blur_of(4.0F), 24.0, 1e-3);
    EXPECT_LT(limited.bytes, free.bytes);
}

// Not even the sky is blurred by more than a pixel, but a card near the lens.
TEST_F(FocusfallLayered, BlursNearThingsAloneWithoutALimit) {
    constexpr int WIDTH = 400;
    constexpr int CARD = 200;
    picture input =
        painted(WIDTH, 60, [](int x, int /*y*/) { return gray(x < CARD ? 1 : 0, 0.0); });
    for (int i = 0; i < WIDTH * 60; ++i)
        input.at(i % WIDTH, i / WIDTH, Z) = i % WIDTH < CARD ? 4.0F : 1e6F;
    controls values = lens_for(WIDTH);
    for (const double largest : {0.3, 1.0}) {
        SCOPED_TRACE(largest);
        values["MaxBlurSize"] = largest / WIDTH * 100.0;
        values["NearLimit"] = 1;
        expect_identical(layered_.render(input, nullptr, values), input);
        values["NearLimit"] = 0;
        const picture result = layered_.render(input, nullptr, values);
        // the card lies at a distance of 5, the focus at 101
        const double diameter = largest * 96.0 / 5.0;
        for (const double side : {-1.0, 1.0}) {
            const int inside = static_cast<int>(CARD + side * diameter * 0.3);
            const int outside = static_cast<int>(CARD + side * (diameter / 2.0 + 2.5));
            const float reached = side < 0.0 ? 1.0F : 0.0F;
            EXPECT_GT(std::abs(result.at(inside, 30, RED) - reached), 1e-3F) << side;
            EXPECT_NEAR(result.at(outside, 30, RED), reached, 1e-5F) << side;
        }
        const FrameForecast forecast =
            layered_.tool().forecast({}, {.width = WIDTH, .height = 60});
        EXPECT_NEAR(forecast.blur_of(4.0F), diameter, 0.1);
        EXPECT_GE(forecast.largest_blur, diameter);
    }
}

// A triangle points to the other side there; behind the focus it does not change.
TEST_F(FocusfallLayered, TurnsShapesAroundInFrontOfTheFocus) {
    for (const double diameter : {-20.0, 20.0}) {
        const picture input = painted(81, 81, [diameter](int x, int y) {
            return gray(x == 40 && y == 40 ? 100.0 : 0.0, diameter);
        });
        controls values = lens_for(81, POLYGON);
        values["PolygonSideCount"] = 3;
        const picture upright = layered_.render(input, nullptr, values);
        values["FlipInFront"] = 1;
        const picture flipped = layered_.render(input, nullptr, values);
        values["FlipInFront"] = 0;
        const bool turned = diameter < 0.0;
        for (int i = 0; i < 81 * 81; ++i) {
            const int x = i % 81;
            const int y = i / 81;
            ASSERT_NEAR(flipped.at(x, y, RED),
                        turned ? upright.at(80 - x, 80 - y, RED) : upright.at(x, y, RED),
                        1e-4);
        }
        EXPECT_GT(std::abs(upright.at(33, 40, RED) - upright.at(47, 40, RED)), 0.1F);
    }
}

}  // namespace
