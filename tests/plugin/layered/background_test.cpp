// A picture of the background in place of the guess.

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

constexpr int WIDTH = 200;
constexpr int HEIGHT = 80;

// A wall that no guess continues: squares of three colours.
pixel wall(int x, int y, double diameter) {
    const int square = (x / 5 * 7 + y / 5 * 3) % 9;
    return {0.1 * square, square % 2 == 0 ? 0.9 : 0.1, 0.05 * (x % 20), diameter};
}

bool is_post(int x) { return x >= 85 && x < 120; }

// A post before the wall.
picture post_before_wall(double post, double behind) {
    return painted(WIDTH, HEIGHT, [=](int x, int y) {
        return is_post(x) ? gray(0.3, post) : wall(x, y, behind);
    });
}
picture wall_alone(double diameter) {
    return painted(WIDTH, HEIGHT, [=](int x, int y) { return wall(x, y, diameter); });
}

class Background : public testing::Test {
  protected:
    picture without(const picture& input, const controls& more = {}) {
        return rendered(input, nullptr, more);
    }
    picture with(const picture& input, const picture& background,
                 const controls& more = {}) {
        return rendered(input, &background, more);
    }

    controls values_ = lens_for(WIDTH);
    layered_tool layered_;
    plain_tool plain_;

  private:
    picture rendered(const picture& input, const picture* background,
                     const controls& more) {
        controls values = values_;
        for (const auto& [id, value] : more) values[id] = value;
        if (background) {
            layered_.connect("Background", *background);
        } else {
            layered_.tool().connect("Background", nullptr);
        }
        return layered_.render(input, nullptr, values);
    }
};

// The picture of the post over that of the wall, as the lens has both: each blurred by
// itself, the post by its coverage.
picture lens_picture(plain_tool& plain, double post, double behind) {
    const picture back = plain.render(wall_alone(behind), nullptr, lens_for(WIDTH));
    const picture front = plain.render(
        painted(WIDTH, HEIGHT,
                [=](int x, int /*y*/) {
                    return is_post(x) ? gray(0.3, post) : pixel{0, 0, 0, post, 0};
                }),
        nullptr, lens_for(WIDTH));
    picture result = back;
    for (int i = 0; i < WIDTH * HEIGHT; ++i) {
        const int x = i % WIDTH;
        const int y = i / WIDTH;
        const float open = 1.0F - front.at(x, y, ALPHA);
        for (const int c : {RED, GREEN, BLUE})
            result.at(x, y, c) = front.at(x, y, c) + open * back.at(x, y, c);
    }
    return result;
}

double mean_error(const picture& a, const picture& b) {
    double sum = 0.0;
    for (int i = 0; i < WIDTH * HEIGHT; ++i) {
        for (const int c : {RED, GREEN, BLUE}) {
            sum += std::abs(double{a.at(i % WIDTH, i / WIDTH, c)} -
                            double{b.at(i % WIDTH, i / WIDTH, c)});
        }
    }
    return sum / (WIDTH * HEIGHT * 3);
}

void expect_same_colours(const picture& a, const picture& b, float slack) {
    for (int i = 0; i < WIDTH * HEIGHT; ++i) {
        for (const int c : {RED, GREEN, BLUE, ALPHA}) {
            ASSERT_NEAR(a.at(i % WIDTH, i / WIDTH, c), b.at(i % WIDTH, i / WIDTH, c),
                        slack)
                << i % WIDTH << ", " << i / WIDTH << ", component " << c;
        }
    }
}

// Behind a blurred front the lens sees the squares, which nobody can guess.
TEST_F(Background, IsSeenBehindWhatIsBlurredInFront) {
    for (const double behind : {0.0, 12.0}) {
        SCOPED_TRACE(behind);
        const picture input = post_before_wall(-20.0, behind);
        const picture expected = lens_picture(plain_, -20.0, behind);
        const picture result = with(input, wall_alone(behind));
        EXPECT_LT(mean_error(result, expected),
                  0.35 * mean_error(without(input), expected));
        expect_same_colours(result, expected, 0.05F);
        // nothing is left to the guess
        expect_same_colours(with(input, wall_alone(behind), {{"HiddenFill", 0}}), result,
                            1e-6F);
    }
}

TEST_F(Background, ChangesNothingWhereNothingIsHidden) {
    // the background is the picture itself: nothing lies behind it
    for (const double diameter : {-15.0, 0.0, 9.0}) {
        const picture input = wall_alone(diameter);
        expect_same_colours(with(input, input), without(input), 0.0F);
    }
    // a sharp post hides its part of it, whatever is there
    const picture input = post_before_wall(0.0, 12.0);
    const picture result = with(input, wall_alone(12.0));
    picture garbled = wall_alone(12.0);
    for (int i = 0; i < WIDTH * HEIGHT; ++i) {
        if (i % WIDTH > 101 && i % WIDTH < 104) garbled.at(i % WIDTH, i / WIDTH, RED) = 9;
    }
    expect_same_colours(with(input, garbled), result, 0.0F);
    for (int x = 86; x < 119; ++x) EXPECT_NEAR(result.at(x, 40, RED), 0.3, 1e-6) << x;
}

// An empty background, one that is nearer than the picture and colours that are none: the
// guess goes on.
TEST_F(Background, LeavesToTheGuessWhatItDoesNotShow) {
    const picture input = post_before_wall(-20.0, 0.0);
    const picture expected = without(input);
    expect_same_colours(with(input, blank(WIDTH, HEIGHT)), expected, 0.0F);
    expect_same_colours(with(input, wall_alone(-23.0)), expected, 0.0F);
    picture odd = wall_alone(0.0);
    for (int i = 0; i < WIDTH * HEIGHT; ++i)
        odd.at(i % WIDTH, i / WIDTH, GREEN) = std::numeric_limits<float>::infinity();
    expect_same_colours(with(input, odd), expected, 0.0F);
}

// A veil: what is seen through it has its own blur, not the veil's.
TEST_F(Background, ShowsThroughWhatIsTransparent) {
    const auto veil = [](double alpha) {
        return painted(WIDTH, HEIGHT, [=](int, int) {
            return pixel{0.2 * alpha, 0.0, 0.0, -18.0, alpha};
        });
    };
    const picture behind = wall_alone(0.0);
    for (const double alpha : {0.0, 0.4, 1.0}) {
        SCOPED_TRACE(alpha);
        const picture result = with(veil(alpha), behind);
        for (int i = 0; i < WIDTH * HEIGHT; ++i) {
            const int x = i % WIDTH;
            const int y = i / WIDTH;
            const double expected =
                0.2 * alpha + (1.0 - alpha) * double{behind.at(x, y, RED)};
            ASSERT_NEAR(result.at(x, y, RED), expected, 1e-4) << x << ", " << y;
            ASSERT_NEAR(result.at(x, y, ALPHA), 1.0, 1e-5);
        }
    }
}

// Without layers the picture over the background is blurred as one.
TEST_F(Background, LiesBehindThePictureAlsoWhereThereAreNoLayers) {
    const picture input = painted(WIDTH, HEIGHT, [](int x, int /*y*/) {
        return x < 90 ? pixel{0.1, 0.2, 0.3, 0.0, 0.5} : pixel{0, 0, 0, 0.0, 0.0};
    });
    const picture behind = wall_alone(0.0);
    controls unblurred = {{"MaxBlurSize", 0.2}};
    const picture result = with(input, behind, unblurred);
    for (int i = 0; i < WIDTH * HEIGHT; ++i) {
        const int x = i % WIDTH;
        const int y = i / WIDTH;
        const float open = 1.0F - input.at(x, y, ALPHA);
        for (const int c : {RED, GREEN, BLUE, ALPHA}) {
            ASSERT_FLOAT_EQ(result.at(x, y, c),
                            input.at(x, y, c) + open * behind.at(x, y, c));
        }
        ASSERT_EQ(result.at(x, y, Z), input.at(x, y, Z));
    }
    const controls laplacian = {{"BlurStyle", 4}, {"Normalize", 0}};
    const picture expected = without(result, laplacian);
    expect_same_colours(with(input, behind, laplacian), expected, 1e-5F);
}

TEST_F(Background, MustBeAsLargeAsThePictureAndHaveADepth) {
    layered_.connect("Input", wall_alone(3.0));
    for (const auto& [id, value] : values_) layered_.tool().set(id, value);
    const auto error_with = [this](Image* background) {
        const headless::frame frame =
            layered_.tool().render({.images = {{"Background", background}}});
        EXPECT_EQ(frame.how, headless::frame::end::FAILED);
        return frame.error;
    };
    const Owned<Image> larger(new Image(WIDTH, HEIGHT + 1, Image::Z + 1));
    const Owned<Image> flat(new Image(WIDTH, HEIGHT, Image::Z));
    EXPECT_NE(error_with(larger.get()).find("background image dimensions"),
              std::string::npos);
    EXPECT_NE(error_with(flat.get()).find("background image has no depth"),
              std::string::npos);
}

}  // namespace
