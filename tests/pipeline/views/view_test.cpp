// The pictures that show depth and focus, and the channel of diameters.

#include "pipeline/views/view.h"

#include <algorithm>
#include <cmath>
#include <set>

#include "pipeline/shots/shot_files.h"
#include "pipeline/views/palette.h"
#include "tests/pipeline/shots/shot_fixture.h"

using namespace focusfall;

namespace {

using OIIO::TypeDesc;
using Views = shot_test;

constexpr int WIDTH = 400;
constexpr int HEIGHT = 30;
const window FRAME{0, 0, WIDTH, HEIGHT};

// White, with the depth rising from left to right.
Owned<Image> ramp() {
    Owned<Image> image(new Image(WIDTH, HEIGHT, 5));
    for (int y = 0; y < HEIGHT; ++y) {
        for (int x = 0; x < WIDTH; ++x) {
            float* pixel = image->Pixel(x, y);
            std::fill_n(pixel, 4, 1.0F);
            pixel[Image::Z] = 100.0F + static_cast<float>(x);
        }
    }
    return image;
}

Owned<Image> view_of(view_kind kind, const Image& image, const FrameForecast& forecast,
                     bool large_is_near = false) {
    const empty_pixels empty(image, Image::Z, {});
    return made_view(kind, image, {image, image, empty, large_is_near}, forecast);
}

float light(const float* pixel) {
    return 0.2F * pixel[Image::RED] + 0.7F * pixel[Image::GREEN] +
           0.1F * pixel[Image::BLUE];
}

}  // namespace

TEST_F(Views, OfDepthGetDarkerWithTheDistanceAndShowEmptyPixelsGrey) {
    const Owned<Image> image = ramp();
    image->Pixel(17, 3)[Image::Z] = 1e10F;
    const FrameForecast forecast = tool->forecast({}, {.width = WIDTH, .height = HEIGHT});
    const Owned<Image> view = view_of(view_kind::DEPTH, *image, forecast);
    EXPECT_EQ(view->Width(), WIDTH);
    EXPECT_GT(view->Height(), HEIGHT) << "the scale lies below";
    for (int x = 1; x < WIDTH; ++x) {
        ASSERT_LT(light(view->Pixel(x, 5)), light(view->Pixel(x - 1, 5))) << x;
    }
    const Owned<Image> turned = view_of(view_kind::DEPTH, *image, forecast, true);
    for (int x = 1; x < WIDTH; ++x) {
        ASSERT_GT(light(turned->Pixel(x, 5)), light(turned->Pixel(x - 1, 5))) << x;
    }
    const float* empty = view->Pixel(17, 3);
    EXPECT_EQ(empty[Image::RED], empty[Image::BLUE]);
    const float* strip = view->Pixel(0, HEIGHT);
    const float* end =
        strip + static_cast<std::ptrdiff_t>(5) * WIDTH * (view->Height() - HEIGHT);
    EXPECT_TRUE(std::any_of(strip, end, [](float v) { return v == INK.red; }))
        << "numbers";
}

TEST_F(Views, MarkWhatIsSharpInFrontAndBehindByTheToolsOwnDiameters) {
    tool->set("FocusPosition", 250.0);
    tool->set("MaxBlurSize", 5.0);
    const FrameForecast forecast = tool->forecast({}, {.width = WIDTH, .height = HEIGHT});
    const Owned<Image> image = ramp();
    const Owned<Image> focus = view_of(view_kind::FOCUS, *image, forecast);
    const Owned<Image> size = view_of(view_kind::DIAMETER, *image, forecast);
    std::set<float> sharp_greens;
    for (int x = 0; x < WIDTH; ++x) {
        const float* mark = focus->Pixel(x, 0);
        const float* diameter = size->Pixel(x, 0);
        if (forecast.blur_of(100.0F + static_cast<float>(x)) <= SHARP_DIAMETER) {
            EXPECT_GT(mark[Image::GREEN], std::max(mark[Image::RED], mark[Image::BLUE]));
        } else if (x < 150) {
            EXPECT_GT(mark[Image::RED], mark[Image::BLUE]) << x;
            EXPECT_GT(diameter[Image::RED], diameter[Image::BLUE]) << x;
        } else {
            EXPECT_GT(mark[Image::BLUE], mark[Image::RED]) << x;
            EXPECT_GT(diameter[Image::BLUE], diameter[Image::RED]) << x;
        }
    }
    EXPECT_GT(light(size->Pixel(0, 0)), light(size->Pixel(130, 0)));
}

// Nothing of the blurred picture is in a view, and the output is as without it.
TEST_F(Views, ReplaceThePreviewAlone) {
    write_scene("in.exr", FRAME, FRAME);
    shot_options options = shot("in.exr", "plain.exr");
    tool->set("MaxBlurSize", 5.0);
    tool->set("FocusPosition", 300.0);
    const picture plain = rendered(options);
    options.output = path("out.exr");
    options.preview = path("view.png");
    std::set<std::vector<float>> seen;
    for (const auto kind :
         {view_kind::RESULT, view_kind::DEPTH, view_kind::FOCUS, view_kind::DIAMETER}) {
        options.view = kind;
        const picture output = rendered(options);
        EXPECT_EQ(values(output[0], "G"), values(plain[0], "G"));
        seen.insert(values(read_picture(options.preview)[0], "G"));
    }
    EXPECT_EQ(seen.size(), 4U);

    options.preview.clear();
    EXPECT_NE(error_of([&] { check_names(options); }).find("--preview"),
              std::string::npos);
}

// In overscan too, and whatever else the file holds.
TEST_F(Views, HaveTheirNumbersInAChannelOfTheirOwn) {
    const window data{-10, -5, 120, 50};
    const window display{0, 0, 100, 40};
    auto channels = scene_channels();
    channels.push_back(
        {"id", TypeDesc::UINT, [](int x, int y) { return x + 200.0 * y; }});
    write("in.exr", made_part(data, display, channels));
    tool->set("MaxBlurSize", 8.0);
    tool->set("FocusPosition", 300.0);
    const picture plain = rendered("in.exr", "plain.exr");
    shot_options options = shot("in.exr", "out.exr");
    options.output_as.diameter_channel = "blur.diameter";
    const picture output = rendered(options);
    const picture input = read_picture(path("in.exr"));

    const FrameForecast forecast = tool->forecast({}, {.width = 100, .height = 40});
    const std::vector<float> depth = values(input[0], "Z");
    const std::vector<float> diameter = values(output[0], "blur.diameter");
    ASSERT_EQ(diameter.size(), depth.size());
    for (std::size_t i = 0; i < depth.size(); ++i) {
        const float size = forecast.blur_of(depth[i]);
        ASSERT_NEAR(diameter[i], depth[i] < 300.0F ? -size : size, 1e-4) << i;
    }
    for (const char* other : {"R", "G", "B", "A", "Z", "id"}) {
        EXPECT_EQ(stored(output[0], other, data), stored(plain[0], other, data)) << other;
    }

    options.output_as.diameter_channel = "id";
    recorded_shot told;
    EXPECT_NE(error_of([&] { render_shot(options, *tool, told); }).find("\"id\""),
              std::string::npos);
    options.output_as.diameter_channel = "d";
    options.output = path("out.png");
    EXPECT_NE(error_of([&] { check_names(options); }).find("out.png"), std::string::npos);
}
