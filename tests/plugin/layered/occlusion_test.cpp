// What hides what: scenes whose picture through a lens is known.

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

#include "tests/plugin/layered/layered_scene.h"

namespace {

using namespace layered_scene;
using frame_model::controls;
using frame_model::picture;

class Occlusion : public testing::Test {
  protected:
    picture layered(const picture& input, const controls& more = {}) {
        controls values = lens_for(input.width);
        for (const auto& [id, value] : more) values[id] = value;
        return layered_.render(input, nullptr, values);
    }
    picture plain(const picture& input, const controls& more = {}) {
        controls values = lens_for(input.width);
        for (const auto& [id, value] : more) values[id] = value;
        return plain_.render(input, nullptr, values);
    }

    layered_tool layered_;
    plain_tool plain_;
};

double sum_of(const picture& p, int component, int from, int to) {
    double sum = 0.0;
    for (int y = 0; y < p.height; ++y) {
        for (int x = from; x < to; ++x) sum += double{p.at(x, y, component)};
    }
    return sum;
}

// A subject in focus, or nearly, before a background with lights, as far as blur goes.
picture subject_before_lights(double brightness, double diameter = 0.3) {
    return painted(160, 90, [=](int x, int y) {
        const bool subject =
            std::hypot(x - 80, y - 50) < 25 || (x > 70 && x < 90 && y > 50);
        if (subject) return pixel{0.2 + 0.004 * x, 0.3, 0.1 + 0.5 * (y % 2), diameter};
        const bool light = x % 13 == 0 && y % 9 == 0;
        return gray(brightness * (light ? 40.0 : 0.05 + 0.001 * y), 22.0);
    });
}

TEST_F(Occlusion, KeepsASharpSubjectWhateverIsBehindIt) {
    const picture input = subject_before_lights(1.0);
    const picture dim = layered(input);
    const picture bright = layered(subject_before_lights(3.0));
    int subject = 0;
    for (int y = 0; y < input.height; ++y) {
        for (int x = 0; x < input.width; ++x) {
            if (input.at(x, y, Z) > depth_of(1.0)) continue;
            ++subject;
            for (const int c : {BLUE, GREEN, RED, ALPHA}) {
                ASSERT_EQ(std::bit_cast<std::uint32_t>(dim.at(x, y, c)),
                          std::bit_cast<std::uint32_t>(bright.at(x, y, c)))
                    << x << ", " << y;
            }
        }
    }
    EXPECT_GT(subject, 1500);
}

// Colours are smoothed at edges where depth is not: the column beside the subject holds
// half of its colour, and has the background's depth.
TEST_F(Occlusion, KeepsTheSmoothedRimOfASharpSubject) {
    const picture input = painted(160, 60, [](int x, int) {
        if (x < 80) return gray(0.8, 0.0);
        return gray(x == 80 ? 0.45 : 0.1, 22.0);
    });
    const picture result = layered(input);
    for (const int c : {BLUE, GREEN, RED}) {
        EXPECT_NEAR(result.at(79, 30, c), 0.8F, 0.001F);
        EXPECT_NEAR(result.at(80, 30, c), 0.45F, 0.001F);
        EXPECT_NEAR(result.at(81, 30, c), 0.1F, 0.001F);
    }
}

// The same beside what is blurred: its part of the column would be a line on the board.
TEST_F(Occlusion, BlursTheSmoothedRimOfWhatIsBlurredInFront) {
    for (const double behind : {0.0, 8.0, 22.0}) {
        SCOPED_TRACE(behind);
        const picture result = layered(painted(160, 60, [behind](int x, int) {
            if (x < 80) return gray(0.8, -20.0);
            return gray(x == 80 ? 0.45 : 0.1, behind);
        }));
        const float beside = (result.at(79, 30, RED) + result.at(81, 30, RED)) / 2;
        EXPECT_NEAR(result.at(80, 30, RED), beside, 0.005F);
    }
}

// Half of a pixel of the subject's rim is a light behind it, which is blurred.
TEST_F(Occlusion, DoesNotKeepALightSharpInTheRimOfASharpSubject) {
    const picture input = painted(160, 60, [](int x, int y) {
        const double behind = x < 82 && y > 28 && y < 32 ? 20.0 : 0.1;
        if (x < 79) return gray(0.1, 0.0);
        return x == 79 ? gray(0.05 + 0.5 * behind, 0.0) : gray(behind, 22.0);
    });
    const picture result = layered(input);
    EXPECT_LT(result.at(79, 30, RED), 3.0F);
    EXPECT_NEAR(result.at(78, 30, RED), 0.1F, 1e-5F);
    EXPECT_NEAR(result.at(79, 10, RED), 0.1F, 1e-5F);
}

// Out of focus before a sharp board, a bar looks like one of the same blur all over: on
// both sides of its edge.
TEST_F(Occlusion, SpreadsWhatIsBlurredInFrontOnBothSidesOfItsEdge) {
    const auto bar = [](double board_diameter) {
        return painted(200, 60, [board_diameter](int x, int /*y*/) {
            const bool is_bar = x >= 80 && x < 120;
            return gray(is_bar ? 0.0 : 1.0, is_bar ? -19.1 : board_diameter);
        });
    };
    const picture result = layered(bar(0.0));
    const picture expected = plain(bar(-19.1));
    for (int x = 60; x < 140; ++x) {
        EXPECT_NEAR(result.at(x, 30, RED), expected.at(x, 30, RED), 0.03) << x;
    }
    // what is behind the bar is seen through its rim only when it is filled in
    const picture hollow = layered(bar(0.0), {{"HiddenFill", 0}});
    EXPECT_GT(std::abs(hollow.at(82, 30, RED) - expected.at(82, 30, RED)), 0.1F);
}

// Something bright ends at the edge of a blurred bar. Not very bright, it may be a
// surface that goes on behind the bar; a light does not.
TEST_F(Occlusion, DoesNotContinueLightsBehindWhatIsInFront) {
    const auto seen_of = [this](double brightness) {
        const picture result = layered(painted(200, 60, [brightness](int x, int y) {
            const bool is_bright = x >= 85 && x < 90 && y > 27 && y < 33;
            const bool is_bar = x >= 90 && x < 110;
            return gray(is_bright ? brightness : 0.0, is_bar ? -20.0 : 16.0);
        }));
        return sum_of(result, RED, 0, 200) / brightness;
    };
    EXPECT_LT(seen_of(500.0), 0.7 * seen_of(0.5));
}

TEST_F(Occlusion, KeepsTheLightOfAPointBesideWhatItIsBehind) {
    // a point at the back; with a board, which is sharp, to the right of column 110
    const auto point = [](bool with_board) {
        return painted(200, 60, [with_board](int x, int y) {
            if (with_board && x >= 110) return gray(0.0, 0.0);
            return gray(x == 100 && y == 30 ? 1000.0 : 0.0, 20.0);
        });
    };
    EXPECT_NEAR(sum_of(layered(point(false)), RED, 0, 200), 1000.0, 0.01);
    const picture lone = plain(point(false));
    const picture beside = layered(point(true));
    EXPECT_EQ(sum_of(beside, RED, 110, 200), 0.0);
    EXPECT_NEAR(sum_of(beside, RED, 0, 110), sum_of(lone, RED, 0, 110), 0.5);
}

TEST_F(Occlusion, FollowsWhichOfTwoSurfacesIsNearer) {
    const auto cards = [](double first, double second) {
        return painted(200, 60, [=](int x, int /*y*/) {
            if (x < 90) return pixel{1.0, 0.0, 0.0, first};
            return pixel{0.0, 0.0, 1.0, second};
        });
    };
    // whichever is in focus and nearer keeps its edge; behind one that is blurred both
    // are seen
    const picture first = layered(cards(0.0, 18.0));
    const picture second = layered(cards(18.0, 0.0));
    for (const int x : {85, 89}) {
        EXPECT_EQ(first.at(x, 30, BLUE), 0.0F) << x;
        EXPECT_GT(second.at(x, 30, RED), 0.99F) << x;
    }
    for (const int x : {90, 94}) {
        EXPECT_GT(first.at(x, 30, BLUE), 0.99F) << x;
        EXPECT_EQ(second.at(x, 30, RED), 0.0F) << x;
    }
    const picture in_front = layered(cards(-18.0, 0.0));
    EXPECT_NEAR(in_front.at(85, 30, BLUE), 0.25, 0.15);
    EXPECT_NEAR(in_front.at(94, 30, RED), 0.25, 0.15);
}

// Each program writes another depth where there is nothing.
TEST_F(Occlusion, TakesCutOutsByTheirCoverageWhateverTheirDepth) {
    const auto card = [](double opaque_until) {
        return painted(160, 40, [opaque_until](int x, int /*y*/) {
            const bool inside = x < opaque_until;
            return pixel{inside ? 0.5 : 0.0, 0.0, 0.0, -12.0, inside ? 1.0 : 0.0};
        });
    };
    const picture expected = plain(card(80));
    picture first;
    for (const float depth : {0.0F, 1e10F, std::numeric_limits<float>::infinity()}) {
        picture input = card(80);
        for (int i = 0; i < 160 * 40; ++i) {
            if (input.at(i % 160, i / 160, ALPHA) == 0.0F)
                input.at(i % 160, i / 160, Z) = depth;
        }
        picture result = layered(input);
        for (int x = 65; x < 95; ++x) {
            EXPECT_NEAR(result.at(x, 20, ALPHA), expected.at(x, 20, ALPHA), 0.03) << x;
            EXPECT_NEAR(result.at(x, 20, RED), 0.5F * result.at(x, 20, ALPHA), 1e-5) << x;
        }
        for (int i = 0; i < 160 * 40; ++i) result.at(i % 160, i / 160, Z) = 0.0F;
        if (first.values.empty()) first = result;
        EXPECT_EQ(result.values, first.values) << depth;
    }
}

// They make what they touch not-a-number, but do not show through what is before them.
TEST_F(Occlusion, HidesColoursThatAreNotFinite) {
    for (const bool picture_as_shape : {false, true}) {
        picture shape = blank(7, 7);
        std::ranges::fill(shape.values, 1.0F);
        if (picture_as_shape) layered_.connect("BlurImage", shape);
        // in focus: a picture makes the least blur 3 pixels wide
        picture input = subject_before_lights(1.0, 0.0);
        input.at(52, 50, RED) = std::numeric_limits<float>::quiet_NaN();
        const picture result = layered(input);
        int touched = 0;
        for (int y = 0; y < input.height; ++y) {
            for (int x = 0; x < input.width; ++x) {
                if (input.at(x, y, Z) <= depth_of(1.0)) {
                    EXPECT_TRUE(std::isfinite(result.at(x, y, RED))) << x << ", " << y;
                } else if (std::isnan(result.at(x, y, RED))) {
                    ++touched;
                }
            }
        }
        EXPECT_GT(touched, 200);
        EXPECT_LT(touched, 600);
    }
}

// A picture as the blur's shape hides and is hidden as a style is.
TEST_F(Occlusion, HoldsForAPictureAsTheBlursShape) {
    picture disc = blank(61, 61);
    for (int i = 0; i < 61 * 61; ++i) {
        const bool inside = std::hypot(i % 61 - 30, i / 61 - 30) <= 30.0;
        std::fill_n(&disc.at(i % 61, i / 61, 0), 5, inside ? 1.0F : 0.0F);
    }
    const picture input = subject_before_lights(1.0);
    const picture by_style = layered(input);
    layered_.connect("BlurImage", disc);
    const picture by_picture = layered(input);
    double difference = 0.0;
    for (std::size_t i = 0; i < by_style.values.size(); ++i) {
        if (static_cast<int>(i % 5) == RED)
            difference += std::abs(by_style.values[i] - by_picture.values[i]);
    }
    EXPECT_LT(difference / (160 * 90), 0.02);
    for (int y = 40; y < 60; ++y) EXPECT_NEAR(by_picture.at(80, y, GREEN), 0.3, 1e-6);
}

}  // namespace
