// Where the effects find depth, and what they make of it.

#include <algorithm>

#include "pipeline/preparation/depth_steps.h"
#include "pipeline/regions/outer_depth.h"
#include "tests/programs/openfx/openfx_fixture.h"

using namespace focusfall;

namespace {

using OpenfxDepth = openfx_test;

INSTANTIATE_TEST_SUITE_P(Effects, OpenfxDepth, testing::Values(0, 1),
                         [](const auto& test) {
                             return test.param == 0 ? "Focusfall" : "Layered";
                         });

}  // namespace

// Depth as an artist has it: in red, alone, in a colour that the tool is to read, or in a
// colour of the picture itself; and a picture as the shape of the blur.
TEST_P(OpenfxDepth, TakesDepthAndShapeFromWhereTheyAre) {
    const Owned<Image> scene = tool_scene(FORMAT);
    const Owned<Image> shape = tool_scene({0, 0, 9, 9});
    {
        const auto instance = scene_instance();
        edit(*instance, "MaxBlurSize", 6.0);
        edit(*instance, "FocusPosition", 480.0);
        const Owned<Image> expected = direct({.images = {{"Input", scene.get()}}});
        mini_host::clip& depth = instance->input("Depth");
        const auto in_red = depth.image;
        depth.connect(FORMAT, 1);
        for (int i = 0; i < FORMAT.x2 * FORMAT.y2; ++i) {
            const auto at = static_cast<std::size_t>(i);
            depth.image.pixels[at] = in_red.pixels[4 * at];
        }
        EXPECT_EQ(differing(*instance, *expected, FORMAT), 0);

        edit(*instance, "BlurChannel", 2.0);
        fill_scene(depth, FORMAT);
        edit(*instance, "FocusPosition", 0.4);
        EXPECT_EQ(
            differing(*instance, *direct({.images = {{"Input", scene.get()}}}), FORMAT),
            0);

        fill_scene(instance->input("BlurImage"), {0, 0, 9, 9});
        EXPECT_EQ(
            differing(
                *instance,
                *direct({.images = {{"Input", scene.get()}, {"BlurImage", shape.get()}}}),
                FORMAT),
            0);
        destroy(*instance);
    }
    const auto filter = scene_instance(FILTER);
    edit(*filter, "BlurChannel", 2.0);
    edit(*filter, "MaxBlurSize", 6.0);
    edit(*filter, "FocusPosition", 0.4);
    EXPECT_EQ(differing(*filter, *direct({.images = {{"Input", scene.get()}}}), FORMAT),
              0);
    destroy(*filter);
}

// What lies behind the picture has a depth of its own, and is of no use without.
TEST_P(OpenfxDepth, TakesAPictureOfTheBackgroundWithItsDepth) {
    if (GetParam() == 0) return;  // knows no background
    const auto instance = scene_instance();
    const Owned<Image> scene = tool_scene(FORMAT);
    edit(*instance, "MaxBlurSize", 6.0);
    edit(*instance, "FocusPosition", 600.0);
    const Owned<Image> without = direct({.images = {{"Input", scene.get()}}});
    fill_scene(instance->input("Background"), FORMAT);
    for (float& value : instance->input("Background").image.pixels) value *= 0.5F;
    EXPECT_EQ(differing(*instance, *without, FORMAT), 0);

    instance->input("BackgroundDepth").connect(FORMAT, 1);
    std::ranges::fill(instance->input("BackgroundDepth").image.pixels, 2000.0F);
    const Owned<Image> behind = tool_scene(FORMAT);
    for (int i = 0; i < FORMAT.x2 * FORMAT.y2; ++i) {
        float* pixel = behind->Pixel(i % FORMAT.x2, i / FORMAT.x2);
        for (int c = 0; c <= Image::ALPHA; ++c) pixel[c] *= 0.5F;
        pixel[Image::Z] = 2000.0F;
    }
    const Owned<Image> expected =
        direct({.images = {{"Input", scene.get()}, {"Background", behind.get()}}});
    EXPECT_EQ(differing(*instance, *expected, FORMAT), 0);
    EXPECT_NE(differing(*instance, *without, FORMAT), 0);
    destroy(*instance);
}

// Around a picture that is smaller than its format lies nothing, with the depth of the
// border. The depth may be smaller still.
TEST_P(OpenfxDepth, ContinuesTheDepthAroundThePicture) {
    const ofx::pixel_rect part = {30, 20, 120, 70};
    for (const bool in_color : {false, true}) {
        const auto instance = scene_instance();
        fill_scene(instance->input("Source"), part);
        const Owned<Image> scene = tool_scene(FORMAT);
        const auto component = in_color ? Image::RED : Image::Z;
        const Owned<Image> depth = tool_scene(FORMAT);
        extend_depth(*depth, component, window_of(FORMAT), window_of(part));
        for (int i = 0; i < FORMAT.x2 * FORMAT.y2; ++i) {
            const int x = i % FORMAT.x2, y = i / FORMAT.x2;
            const bool inside = x >= 30 && x < 120 && y >= 20 && y < 70;
            if (!inside) std::fill_n(scene->Pixel(x, y), 5, 0.0F);
        }
        if (in_color) {
            instance->input("Depth").properties.values["OfxImageClipPropConnected"] = {0};
            edit(*instance, "BlurChannel", 1.0);
        } else {
            mini_host::clip& clip = instance->input("Depth");
            const mini_host::picture all = clip.image;
            clip.connect(part, 4);
            for (int y = part.y1; y < part.y2; ++y) {
                for (int x = part.x1; x < part.x2; ++x) {
                    std::fill_n(clip.image.at(x, y), 4, scene_at(x, y).values[4]);
                }
            }
            edit(*instance, "BlurChannel", 0.0);
        }
        edit(*instance, "FocusPosition", in_color ? 0.3 : 480.0);
        edit(*instance, "MaxBlurSize", 6.0);
        const Owned<Image> expected =
            direct({.images = {{"Input", scene.get()}, {"DepthMap", depth.get()}}});
        EXPECT_EQ(differing(*instance, *expected, FORMAT), 0);
        destroy(*instance);
    }
}

// Kinds of depth that the tool itself does not know.
TEST_P(OpenfxDepth, ReadsDepthAsTheArtistSays) {
    const auto instance = scene_instance();
    const Owned<Image> scene = tool_scene(FORMAT);
    edit(*instance, "MaxBlurSize", 6.0);
    tool_->set("FocusPosition", 480.0);
    ASSERT_EQ(effect_.edit(*instance, "FocusPosition", 480.0), ofx::OK);
    struct {
        std::vector<std::pair<const char*, double>> parameters;
        depth_choices same;
        std::vector<std::pair<const char*, double>> controls;
    } const cases[] = {
        {{{"DepthAs", 1.0}}, {.meaning = depth_meaning::INVERSE}, {}},
        {{{"DepthAs", 0.0}, {"DepthScale", 10.0}}, {.scale = 10.0}, {}},
        {{{"DepthScale", 1.0}, {"EmptyDepth", 1.0}}, {.empty = empty_depth{}}, {}},
        {{{"EmptyDepth", 3.0}, {"EmptyDepthValue", 350.0}},
         {.empty = empty_depth{.place = empty_depth::end::VALUE, .value = 350.0F}},
         {}},
        {{{"EmptyDepth", 0.0}, {"DepthAs", 2.0}, {"FieldOfView", 60.0}},
         {.meaning = depth_meaning::RAY, .field_of_view = 60.0},
         {}},
        {{{"FieldOfView", 0.0}},
         {.meaning = depth_meaning::RAY},
         {{"SettingsType", 1.0}, {"FStop", 1.0}}},
    };
    for (int i = 0; i < 200; ++i) {  // some pixels show nothing
        const int x = 7 * i % FORMAT.x2, y = 5 * i % FORMAT.y2;
        std::fill_n(instance->input("Source").image.at(x, y), 4, 0.0F);
        std::fill_n(scene->Pixel(x, FORMAT.y2 - 1 - y), 4, 0.0F);
    }
    for (const auto& one : cases) {
        SCOPED_TRACE(one.parameters.front().first);
        for (const auto& [id, value] : one.parameters) {
            ASSERT_EQ(effect_.edit(*instance, id, value), ofx::REPLY_DEFAULT);
        }
        for (const auto& [id, value] : one.controls) edit(*instance, id, value);
        const window area = window_of(FORMAT);
        const depth_reading reading =
            reading_of(one.same, depth_controls_of(*tool_, 0), area, 1.0);
        const Owned<Image> depth =
            mapped_depth(*scene, Image::Z, *scene, area, area, reading);
        const double focus = double{reading.mapping.for_tool(480.0F)};
        const Owned<Image> expected =
            direct({.instead = {{"FocusPosition", focus}},
                    .images = {{"Input", scene.get()}, {"DepthMap", depth.get()}}});
        EXPECT_EQ(differing(*instance, *expected, FORMAT), 0);
    }
    destroy(*instance);
}
