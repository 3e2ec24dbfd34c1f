// Depth that a renderer smoothed at edges.

#include "plugin/layered/smoothed_edges.h"

#include <gtest/gtest.h>

#include <cmath>

#include "plugin/layered/depth_layers.h"
#include "tests/plugin/layered/layered_scene.h"

namespace {

using namespace layered_scene;
using frame_model::picture;

constexpr int WIDTH = 160;
constexpr int HEIGHT = 100;

// How much of a pixel a disc covers, from 8 x 8 places in it.
double covered_by_disc(int x, int y) {
    int count = 0;
    for (int i = 0; i < 64; ++i) {
        const int column = i % 8;
        const int row = i / 8;
        const double sx = x + (column + 0.5) / 8.0;
        const double sy = y + (row + 0.5) / 8.0;
        count += std::hypot(sx - 80.3, sy - 50.7) < 30.0 ? 1 : 0;
    }
    return count / 64.0;
}

// A disc before a wall whose colours are smoothed at its edge, and its depths too or not.
picture disc_before_wall(double disc, double wall, bool is_smoothed) {
    picture result = painted(WIDTH, HEIGHT, [](int x, int y) {
        const double part = covered_by_disc(x, y);
        const double behind = (x / 4 + y / 4) % 2 == 0 ? 0.2 : 0.8;
        return gray(part * 0.5 + (1.0 - part) * behind, 0.0);
    });
    for (int i = 0; i < WIDTH * HEIGHT; ++i) {
        const double part = covered_by_disc(i % WIDTH, i / WIDTH);
        const double kept = is_smoothed ? part : std::round(part);
        result.at(i % WIDTH, i / WIDTH, Z) = static_cast<float>(
            kept * double{depth_of(disc)} + (1.0 - kept) * double{depth_of(wall)});
    }
    return result;
}

// The mean error in the pixels that the disc's edge has a part in.
double mean_difference(const picture& a, const picture& b) {
    double sum = 0.0;
    for (int i = 0; i < a.width * a.height; ++i) {
        const int x = i % a.width;
        const int y = i / a.width;
        const bool at_edge = std::abs(std::hypot(x - 80, y - 50) - 30.0) < 12.0;
        if (at_edge) sum += std::abs(double{a.at(x, y, RED)} - double{b.at(x, y, RED)});
    }
    return sum / (2.0 * 24.0 * 3.1416 * 30.0 / 2.0);
}

TEST(SmoothedEdges, BlurAsThoseWithTheDepthOfTheirSurfaces) {
    layered_tool layered;
    for (const auto& [disc, wall] :
         {std::pair{-15.0, 0.0}, {-15.0, 12.0}, {0.0, 20.0}, {4.0, 22.0}}) {
        for (const bool as_picture : {false, true}) {
            SCOPED_TRACE(testing::Message() << disc << ", " << wall << as_picture);
            picture shape = blank(7, 7);
            std::ranges::fill(shape.values, 1.0F);
            layered.tool().connect("BlurImage", nullptr);
            if (as_picture) layered.connect("BlurImage", shape);
            const picture smoothed = layered.render(disc_before_wall(disc, wall, true),
                                                    nullptr, lens_for(WIDTH));
            const picture sharp = layered.render(disc_before_wall(disc, wall, false),
                                                 nullptr, lens_for(WIDTH));
            EXPECT_LT(mean_difference(smoothed, sharp), 0.002);
        }
    }
}

// Diameters and colours of a picture, and what is found in it.
struct made_picture {
    made_picture(const std::function<float(int, int)>& diameter,
                 const std::function<float(int, int)>& value)
        : colors(new Image(WIDTH, HEIGHT, 5)) {
        diameters.resize(WIDTH, HEIGHT);
        for (int y = 0; y < HEIGHT; ++y) {
            for (int x = 0; x < WIDTH; ++x) {
                diameters.row(y)[x] = diameter(x, y);
                std::fill_n(colors->Pixel(x, y), 5, value(x, y));
            }
            diameters.fill_margins(y);
        }
    }
    std::vector<layered::smoothed_pixel> found() const {
        std::vector<layered::smoothed_pixel> all;
        for (int y = 0; y < HEIGHT; ++y) {
            layered::find_smoothed({colors.get(), &diameters, 40.0F, 1.0F}, 40.0F, y,
                                   all);
        }
        return all;
    }

    layered::diameter_map diameters;
    Owned<Image> colors;
};

float mid_gray(int /*x*/, int /*y*/) { return 0.5F; }

// Diameters of planes are linear.
TEST(SmoothedEdges, AreNotSeenInSlopesNorWhereSurfacesMeet) {
    const std::function<float(int, int)> surfaces[] = {
        [](int x, int) { return 0.2F * static_cast<float>(x - 60); },
        [](int x, int y) {
            return 0.3F * static_cast<float>(y) - 0.1F * static_cast<float>(x);
        },
        [](int x, int) {
            return static_cast<float>(x % 40) * 1.9F - 38.0F;
        },  // edges too
        [](int x, int y) {
            return static_cast<float>(std::abs(x - 80) + std::abs(y - 50)) * 0.4F;
        },
        [](int x, int y) { return x < 50 || y > 70 ? -12.0F : 9.0F; }};
    for (const auto& surface : surfaces) {
        EXPECT_EQ(made_picture(surface, mid_gray).found().size(), 0U)
            << &surface - surfaces;
    }
}

// A ball bends away at its limb, more and more steeply: what is found there lies near to
// the depth that it gets, within a tenth of the step to the wall.
TEST(SmoothedEdges, LeaveRoundThingsRound) {
    const made_picture ball(
        [](int x, int y) {
            const double r = std::hypot(x - 80, y - 50) / 40.0;
            if (r >= 1.0) return 20.0F;
            return static_cast<float>(-5.0 - 8.0 * std::sqrt(1.0 - r * r));
        },
        mid_gray);
    for (const auto& pixel : ball.found()) {
        EXPECT_NEAR(ball.diameters.row(pixel.y)[pixel.x],
                    ball.diameters.row(pixel.from_y)[pixel.from_x], 2.8F)
            << pixel.x << ", " << pixel.y;
    }
}

TEST(SmoothedEdges, AreTakenForWhatCoversMoreOfThePixelButLightsAreNot) {
    // in front of column 80, one pixel of a mean depth: three quarters of the front's
    constexpr float FRONT = -20.0F;
    constexpr float BACK = 24.0F;
    const auto distance = [](float diameter) { return 40.0F / (40.0F - diameter); };
    for (const float part : {0.75F, 0.3F}) {
        const float mean = part * distance(FRONT) + (1.0F - part) * distance(BACK);
        const float between = 40.0F - 40.0F / mean;
        const auto edge = [=](int x, int /*y*/) {
            return x < 80 ? FRONT : x == 80 ? between : BACK;
        };
        const auto found = made_picture(edge, mid_gray).found();
        ASSERT_EQ(found.size(), static_cast<std::size_t>(HEIGHT)) << part;
        for (const auto& pixel : found) {
            EXPECT_EQ(pixel.x, 80);
            EXPECT_EQ(pixel.from_x<80, part> 0.5F);
        }
        const auto light = [](int x, int /*y*/) { return x == 80 ? 3.0F : 0.5F; };
        EXPECT_EQ(made_picture(edge, light).found().size(), 0U);
    }
}

}  // namespace
