// What is said of depth channels whose meaning the test knows.

#include <cmath>
#include <functional>

#include "pipeline/inspection/picture_report.h"
#include "tests/support/made_pictures.h"

#include <gtest/gtest.h>

using namespace focusfall;

namespace {

using OIIO::TypeDesc;

constexpr int WIDTH = 320;
constexpr int HEIGHT = 180;
constexpr double LENS = 1.2;  // focal length in picture widths
const window FRAME{0, 0, WIDTH, HEIGHT};

// The ray through a pixel, per unit along the camera's axis; y points down.
struct direction {
    double x;
    double y;
    direction(int column, int row)
        : x((column + 0.5 - WIDTH / 2.0) / (LENS * WIDTH)),
          y((row + 0.5 - HEIGHT / 2.0) / (LENS * WIDTH)) {}
    double length() const { return std::sqrt(1.0 + x * x + y * y); }
};

// Metres along the axis: a floor 0.4 m below the camera, a wall at the left, one behind,
// and a ball before them.
double room_at(int column, int row) {
    const direction ray(column, row);
    double z = 9.0;
    if (ray.y > 0.0) z = std::min(z, 0.4 / ray.y);
    if (ray.x < -0.1) z = std::min(z, 0.5 / (-ray.x - 0.1));
    const double dx = ray.x - 0.1;
    const double dy = ray.y - 0.12;
    const double ball = 0.004 - dx * dx - dy * dy;
    return ball > 0.0 ? 3.0 - 10.0 * ball : z;
}

double along_ray(int column, int row) {
    return room_at(column, row) * direction(column, row).length();
}

picture with_depth(const std::string& name, TypeDesc type,
                   const std::function<double(int, int)>& value) {
    const auto grey = [](int, int) { return 0.18; };
    const auto one = [](int, int) { return 1.0; };
    std::vector<made_channel> channels = {{"R", TypeDesc::HALF, grey},
                                          {"G", TypeDesc::HALF, grey},
                                          {"B", TypeDesc::HALF, grey},
                                          {"A", TypeDesc::HALF, one},
                                          {name, type, value}};
    picture file;
    file.push_back(made_part(FRAME, FRAME, channels));
    return file;
}

depth_report reported(const picture& file) {
    const picture_report report = inspected(file, "in.exr", {});
    EXPECT_EQ(report.depths.size(), 1U);
    return report.depths.at(0);
}

bool has_option(const depth_judgement& judgement, const std::string& option) {
    return std::ranges::count(judgement.options, option) == 1;
}

}  // namespace

// The same room in all the ways in which renderers write it, also rounded as halves are.
TEST(DepthJudgement, TellsKindsOfDepthApartByTheFlatThingsInAPicture) {
    for (const TypeDesc type : {TypeDesc::FLOAT, TypeDesc::HALF}) {
        const auto planar = reported(with_depth("Z", type, room_at)).judgement;
        EXPECT_EQ(planar.kind, seeming_depth::DISTANCE) << type;
        EXPECT_EQ(planar.unit, length_unit::METER);
        EXPECT_TRUE(has_option(planar, "--set DepthMapUnits=meter"));
        EXPECT_NE(planar.measure, depth_measure::RAY);
        EXPECT_FALSE(has_option(planar, "--depth-as ray"));

        const auto inverse = reported(with_depth("Z", type, [](int x, int y) {
                                 return 40.0 / room_at(x, y);
                             })).judgement;
        EXPECT_EQ(inverse.kind, seeming_depth::INVERSE) << type;
        EXPECT_EQ(inverse.how_sure, certainty::SURE);
        EXPECT_TRUE(has_option(inverse, "--depth-as inverse"));
    }
    const auto planar = reported(with_depth("Z", TypeDesc::FLOAT, room_at)).judgement;
    EXPECT_EQ(planar.measure, depth_measure::PLANAR);
    const auto ray = reported(with_depth("Z", TypeDesc::FLOAT, along_ray)).judgement;
    EXPECT_EQ(ray.kind, seeming_depth::DISTANCE);
    EXPECT_EQ(ray.measure, depth_measure::RAY);
    EXPECT_TRUE(has_option(ray, "--depth-as ray"));
}

// Where nothing is flat nothing of the sort can be told, and nothing is claimed.
TEST(DepthJudgement, ClaimsNothingThatThePictureDoesNotShow) {
    const auto hills = [](int x, int y) {
        return 700.0 + 200.0 * std::sin(x * 0.11) * std::cos(y * 0.13) +
               150.0 * std::sin(x * 0.041 + y * 0.07);
    };
    const auto judgement = reported(with_depth("Z", TypeDesc::FLOAT, hills)).judgement;
    EXPECT_EQ(judgement.kind, seeming_depth::DISTANCE);
    EXPECT_EQ(judgement.measure, depth_measure::UNTOLD);
    EXPECT_EQ(judgement.how_sure, certainty::GUESS) << "of the unit nothing is known";

    const auto small = [&](int x, int y) { return hills(x, y) / 1100.0; };
    const auto within = reported(with_depth("Z", TypeDesc::FLOAT, small)).judgement;
    EXPECT_EQ(within.kind, seeming_depth::NORMALIZED);
    EXPECT_EQ(within.how_sure, certainty::GUESS);
}

// A painted ramp is as even as the disparities of a floor; and the lines through the
// middle of a round one are straight, though nothing is flat.
TEST(DepthJudgement, TakesNoRampForInverseDepth) {
    const std::function<double(int, int)> ramps[] = {
        [](int x, int) { return (x + 1.0) / WIDTH; },
        [](int x, int) { return 100.0 + 5.0 * x; },
        [](int, int y) { return y < 60 ? 1.0 : 1.0 - (y - 60.0) / HEIGHT; },
        [](int x, int y) { return std::hypot(x - WIDTH / 2, y - HEIGHT / 2) / WIDTH; }};
    for (std::size_t i = 0; i < std::size(ramps); ++i) {
        for (const TypeDesc type : {TypeDesc::FLOAT, TypeDesc::HALF}) {
            const auto judgement = reported(with_depth("Z", type, ramps[i])).judgement;
            EXPECT_NE(judgement.kind, seeming_depth::INVERSE) << i;
            EXPECT_EQ(judgement.how_sure, certainty::GUESS) << i;
        }
        picture map;
        map.push_back(made_part(FRAME, FRAME, {{"Y", TypeDesc::UINT8, ramps[i]}}));
        EXPECT_EQ(reported(map).judgement.how_sure, certainty::GUESS) << i;
    }
}

TEST(DepthJudgement, TakesWhatIsLargeBelowForInverseDepthWithoutBeingSure) {
    const auto bumps = [](int x, int y) {
        return 6.0 + 0.3 * y + 5.0 * std::sin(x * 0.11) * std::cos(y * 0.13);
    };
    const auto judgement = reported(with_depth("Z", TypeDesc::FLOAT, bumps)).judgement;
    EXPECT_EQ(judgement.kind, seeming_depth::INVERSE);
    EXPECT_EQ(judgement.how_sure, certainty::GUESS);
    const auto far_bumps = [&](int x, int y) { return 100.0 + bumps(x, y); };
    EXPECT_EQ(reported(with_depth("Z", TypeDesc::FLOAT, far_bumps)).judgement.kind,
              seeming_depth::DISTANCE);
}

TEST(DepthJudgement, FindsTheUnitOfAKnownProgramAndAnEmptySky) {
    const auto with_sky = [](double empty) {
        return with_depth("Z", TypeDesc::FLOAT, [empty](int x, int y) {
            return y < 30 ? empty : room_at(x, y) * 100.0;
        });
    };
    for (const double empty : {0.0, 65504.0, 1e10, 1e30, HUGE_VAL}) {
        picture file = with_sky(empty);
        file[0].spec.attribute("Software", "Maya 2024");
        const depth_report report = reported(file);
        EXPECT_EQ(report.judgement.unit, length_unit::CENTIMETER);
        EXPECT_TRUE(has_option(report.judgement, "--depth-scale 10"));
        EXPECT_EQ(report.statistics.empty, 30U * WIDTH) << empty;
        ASSERT_TRUE(report.statistics.empty_value);
        EXPECT_EQ(*report.statistics.empty_value, static_cast<float>(empty));
        EXPECT_LE(report.statistics.highest, 900.1F);
        const bool needs_help = empty == 0.0 || std::isinf(empty);
        EXPECT_EQ(has_option(report.judgement, "--empty-depth far"), needs_help);
    }
}

TEST(DepthStatistics, LeaveOutWhatIsTransparentAndCountTheRest) {
    picture file;
    file.push_back(made_part(
        FRAME, FRAME,
        {{"R", TypeDesc::HALF, room_at},
         {"G", TypeDesc::HALF, room_at},
         {"B", TypeDesc::HALF, room_at},
         {"A", TypeDesc::HALF, [](int x, int) { return x < 80 ? 0.0 : 1.0; }},
         {"Z", TypeDesc::FLOAT, [](int x, int) { return x < 80 ? -77.0 : -x / 2.0; }}}));
    const depth_statistics s = reported(file).statistics;
    EXPECT_EQ(s.pixels, static_cast<std::uint64_t>(WIDTH * HEIGHT));
    EXPECT_EQ(s.empty, 80U * HEIGHT);
    EXPECT_EQ(s.empty_value, -77.0F);
    EXPECT_TRUE(s.is_negative);
    EXPECT_EQ(s.lowest, 40.0F);
    EXPECT_EQ(s.highest, 159.5F);
    EXPECT_EQ(s.median, 100.0F);
    std::uint64_t counted = 0;
    for (const std::uint64_t bin : s.histogram) counted += bin;
    EXPECT_EQ(counted, s.pixels - s.empty);
}

// A depth counts where its own view shows something.
TEST(DepthStatistics, GoByTheAlphaBesideTheDepth) {
    const auto left_half = [](int x, int) { return x < WIDTH / 2 ? 1.0 : 0.0; };
    const auto right_half = [](int x, int) { return x < WIDTH / 2 ? 0.0 : 1.0; };
    const auto depth = [](int x, int) { return 2.0 + x; };
    picture file;
    file.push_back(made_part(FRAME, FRAME,
                             {{"R", TypeDesc::HALF, left_half},
                              {"G", TypeDesc::HALF, left_half},
                              {"B", TypeDesc::HALF, left_half},
                              {"A", TypeDesc::HALF, left_half},
                              {"Z", TypeDesc::FLOAT, depth},
                              {"left.R", TypeDesc::HALF, right_half},
                              {"left.G", TypeDesc::HALF, right_half},
                              {"left.B", TypeDesc::HALF, right_half},
                              {"left.A", TypeDesc::HALF, right_half},
                              {"left.Z", TypeDesc::FLOAT, depth}}));
    const picture_report report = inspected(file, "in.exr", {});
    ASSERT_EQ(report.depths.size(), 2U);
    constexpr int MIDDLE = WIDTH / 2;
    EXPECT_EQ(report.depths[0].statistics.highest, 2.0F + MIDDLE - 1);
    EXPECT_EQ(report.depths[1].statistics.lowest, 2.0F + MIDDLE);
}
