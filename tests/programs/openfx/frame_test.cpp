// Frames of the effects against those of their tools.

#include <algorithm>
#include <atomic>
#include <cmath>
#include <thread>

#include "pipeline/regions/overscan_scale.h"
#include "tests/programs/openfx/openfx_fixture.h"

using namespace focusfall;
using mini_host::effect;

namespace {

using OpenfxFrame = openfx_test;

INSTANTIATE_TEST_SUITE_P(Effects, OpenfxFrame, testing::Values(0, 1),
                         [](const auto& test) {
                             return test.param == 0 ? "Focusfall" : "Layered";
                         });

void set_premultiplication(effect& instance, const char* name, const char* how) {
    instance.input(name).properties.values["OfxImageEffectPropPreMultiplication"] = {
        std::string(how)};
}

// Swaps the rows in memory, so that the picture is the same with a negative stride.
void turn_upside_down(mini_host::clip& clip) {
    clip.upside_down = !clip.upside_down;
    const ofx::pixel_rect b = clip.image.bounds;
    const int row = width(b) * clip.image.components;
    for (int y = 0; y < height(b) / 2; ++y) {
        float* lower = clip.image.at(b.x1, b.y1 + y);
        std::swap_ranges(lower, lower + row, clip.image.at(b.x1, b.y2 - 1 - y));
    }
}

}  // namespace

TEST_P(OpenfxFrame, IsTheToolsToTheLastBit) {
    const auto instance = scene_instance();
    const Owned<Image> scene = tool_scene(FORMAT);
    edit(*instance, "MaxBlurSize", 6.0);
    edit(*instance, "FocusPosition", 480.0);
    edit(*instance, "BadBokeh", 0.3);
    for (const double type : {0.0, 1.0}) {
        edit(*instance, "SettingsType", type);
        edit(*instance, "FocalLength", 70.0);  // the aperture's diameter follows
        for (const double style : {0.0, 1.0, 2.0, 3.0, 4.0}) {
            for (const double normalize : {0.0, 1.0}) {
                SCOPED_TRACE(testing::Message() << type << style << normalize);
                edit(*instance, "BlurStyle", style);
                edit(*instance, "Normalize", normalize);
                const Owned<Image> expected =
                    direct({.images = {{"Input", scene.get()}}});
                EXPECT_EQ(differing(*instance, *expected, FORMAT), 0);
            }
        }
    }
    destroy(*instance);
}

TEST_P(OpenfxFrame, TakesRowsFromTheTopAndWindowsOfTheOutput) {
    const auto instance = scene_instance();
    const Owned<Image> scene = tool_scene(FORMAT);
    edit(*instance, "MaxBlurSize", 6.0);
    edit(*instance, "FocusPosition", 480.0);
    const Owned<Image> expected = direct({.images = {{"Input", scene.get()}}});
    mini_host::clip& output = instance->input("Output");
    EXPECT_EQ(differing(*instance, *expected, FORMAT), 0);
    const auto whole = output.image.pixels;

    std::ranges::fill(output.image.pixels, -7.0F);
    for (int y = 0; y < FORMAT.y2; y += 15) {
        ASSERT_EQ(effect_.render(*instance, {0, y, FORMAT.x2, y + 15}), ofx::OK);
    }
    EXPECT_EQ(output.image.pixels, whole);

    for (const char* name : {"Source", "Depth", "Output"}) {
        turn_upside_down(instance->input(name));
    }
    std::ranges::fill(output.image.pixels, -7.0F);
    ASSERT_EQ(effect_.render(*instance, FORMAT), ofx::OK);
    turn_upside_down(output);
    EXPECT_EQ(output.image.pixels, whole);
    destroy(*instance);
}

// The blur is measured by the format, however much more the picture holds.
TEST_P(OpenfxFrame, BlursOverscanAsTheFormatAsks) {
    const ofx::pixel_rect larger = {-20, -10, 190, 100};
    const auto instance = scene_instance();
    fill_scene(instance->input("Source"), larger);
    instance->input("Depth").connect(larger, 4);
    for (int y = larger.y1; y < larger.y2; ++y) {
        for (int x = larger.x1; x < larger.x2; ++x) {
            std::fill_n(instance->input("Depth").image.at(x, y), 4,
                        scene_at(x, y).values[4]);
        }
    }
    instance->input("Output").connect(larger, 4);
    const Owned<Image> scene = tool_scene(larger);
    edit(*instance, "FocusPosition", 480.0);
    edit(*instance, "MaxBlurSize", 6.0);
    for (const double type : {0.0, 1.0}) {
        edit(*instance, "SettingsType", type);
        const auto values =
            overscan_scale(*tool_, 0, window_of(FORMAT), window_of(larger));
        ASSERT_EQ(values.size(), 2U);
        const Owned<Image> expected =
            direct({.instead = values, .images = {{"Input", scene.get()}}});
        EXPECT_EQ(differing(*instance, *expected, larger), 0);
    }
    destroy(*instance);
}

// Proxies and pixels that are not square: the picture is blurred as one of its own size.
TEST_P(OpenfxFrame, CountsInTheWidthOfProxies) {
    struct {
        double scale;
        double aspect;
        double lent_scale;
    } const cases[] = {{0.5, 1.0, 0.0},
                       {1.0 / 3, 1.0, 0.0},
                       {1.0, 1.5, 0.0},
                       {0.5, 2.0, 0.0},
                       {0.25, 1.0, 1.0}};
    for (const auto& one : cases) {
        SCOPED_TRACE(testing::Message() << one.scale << " " << one.aspect);
        const double true_scale = one.lent_scale > 0.0 ? one.lent_scale : one.scale;
        const ofx::pixel_rect small = {0, 0,
                                       static_cast<int>(160 * true_scale / one.aspect),
                                       static_cast<int>(90 * true_scale)};
        const auto instance = effect_.instance(GENERAL, 160, 90);
        auto& source = instance->input("Source");
        fill_scene(source, small);
        source.region = {0, 0, small.x2 * one.aspect / true_scale, small.y2 / true_scale};
        instance->properties.values["OfxImageEffectPropProjectSize"] = {source.region.x2,
                                                                        source.region.y2};
        source.properties.values["OfxImagePropPixelAspectRatio"] = {one.aspect};
        source.lent_scale = one.lent_scale;
        instance->input("Output").connect(small, 4);
        create(*instance);
        const Owned<Image> scene = tool_scene(small);
        edit(*instance, "BlurChannel", 1.0);
        edit(*instance, "FocusPosition", 0.3);
        edit(*instance, "MaxBlurSize", 9.0);
        const Owned<Image> expected = direct({.images = {{"Input", scene.get()}}});
        EXPECT_EQ(differing(*instance, *expected, small, one.scale), 0);
        destroy(*instance);
    }
}

TEST_P(OpenfxFrame, MultipliesAndDividesByAlphaWhereTheHostWantsThat) {
    const auto instance = scene_instance();
    mini_host::clip& source = instance->input("Source");
    const Owned<Image> scene = tool_scene(FORMAT);
    for (int y = 0; y < FORMAT.y2; ++y) {
        for (int x = 0; x < FORMAT.x2; ++x) {
            source.image.at(x, y)[3] = 0.5F;
            float* pixel = scene->Pixel(x, FORMAT.y2 - 1 - y);
            for (int i = 0; i <= Image::ALPHA; ++i) pixel[i] *= 0.5F;
        }
    }
    set_premultiplication(*instance, "Source", "OfxImageAlphaUnPremultiplied");
    set_premultiplication(*instance, "Output", "OfxImageAlphaUnPremultiplied");
    edit(*instance, "FocusPosition", 480.0);
    edit(*instance, "MaxBlurSize", 6.0);
    const Owned<Image> expected = direct({.images = {{"Input", scene.get()}}});
    for (int i = 0; i < FORMAT.x2 * FORMAT.y2; ++i) {
        float* pixel = expected->Pixel(i % FORMAT.x2, i / FORMAT.x2);
        for (int c = 0; c < 3; ++c) pixel[c] /= pixel[Image::ALPHA];
    }
    EXPECT_EQ(differing(*instance, *expected, FORMAT), 0);
    destroy(*instance);
}

TEST_P(OpenfxFrame, StopsAtOnceWhenTheHostWantsThat) {
    const auto instance = scene_instance();
    edit(*instance, "FocusPosition", 480.0);
    edit(*instance, "MaxBlurSize", 6.0);
    auto& output = instance->input("Output");
    EXPECT_EQ(effect_.render(*instance, FORMAT), ofx::OK);
    const auto whole = output.image.pixels;
    // until the frame is done before the host has said so
    for (int after = 0; instance->asked >= after; ++after) {
        instance->wants_abort = [&] { return instance->asked > after; };
        std::ranges::fill(output.image.pixels, -7.0F);
        EXPECT_EQ(effect_.render(*instance, FORMAT), ofx::OK);
        EXPECT_EQ(instance->lent_images(), 0);
        // of a frame that is given up the host has nothing or finished pixels
        const bool aborted = instance->asked > after;
        EXPECT_TRUE(std::ranges::equal(output.image.pixels, whole,
                                       [aborted](float pixel, float finished) {
                                           return pixel == finished ||
                                                  (aborted && pixel == -7.0F);
                                       }))
            << after;
        EXPECT_LE(instance->asked, after + 3);  // it stops soon
    }
    instance->wants_abort = {};
    const Owned<Image> scene = tool_scene(FORMAT);
    EXPECT_EQ(differing(*instance, *direct({.images = {{"Input", scene.get()}}}), FORMAT),
              0);
    destroy(*instance);
}

// So that a frame ends soon after the host's wish: a thread can ask only between two
// pieces of work.
TEST_P(OpenfxFrame, AsksTheHostForEachSmallPieceOfWork) {
    mini_host::processors = 1;
    const ofx::pixel_rect format = {0, 0, 640, 360};
    const auto instance = scene_instance(GENERAL, format);
    edit(*instance, "FocusPosition", 480.0);
    edit(*instance, "MaxBlurSize", 6.0);
    EXPECT_EQ(effect_.render(*instance, format), ofx::OK);
    EXPECT_GE(instance->asked, width(format) * height(format) / (128 * 64));
    destroy(*instance);
    mini_host::processors = 2;
}

// Two instances and, though that is not promised to hosts, one of them for two parts of
// its output; an artist edits meanwhile, and the host wants memory back.
TEST_P(OpenfxFrame, MayBeMadeWhileOthersAreAndArtistsEdit) {
    const auto first = scene_instance();
    const auto second = scene_instance();
    for (effect* one : {first.get(), second.get()}) {
        ASSERT_EQ(effect_.edit(*one, "FocusPosition", 480.0), ofx::OK);
        edit(*one, "MaxBlurSize", 6.0);
    }
    tool_->set("FocusPosition", 480.0);
    const Owned<Image> scene = tool_scene(FORMAT);
    const Owned<Image> expected = direct({.images = {{"Input", scene.get()}}});

    std::atomic<int> failed = 0;
    std::atomic<int> running = 3;
    const auto renders = [&](effect* one, const ofx::pixel_rect& window) {
        for (int i = 0; i < 8; ++i) failed += effect_.render(*one, window) != ofx::OK;
        --running;
    };
    const int middle = FORMAT.y2 / 2;
    const ofx::pixel_rect lower = {0, 0, FORMAT.x2, middle};
    const ofx::pixel_rect upper = {0, middle, FORMAT.x2, FORMAT.y2};
    std::thread threads[] = {std::thread(renders, first.get(), lower),
                             std::thread(renders, second.get(), FORMAT),
                             std::thread(renders, first.get(), upper)};
    for (int i = 0; running > 0; ++i) {
        failed += effect_.edit(*second, "KernelAngle", i % 90) != ofx::OK;
        failed += effect_.edit(*second, "FStop", 1 + i % 7) != ofx::OK;
        failed += effect_.act("OfxActionPurgeCaches", nullptr) != ofx::OK;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(failed, 0);
    EXPECT_EQ(differing(*first, *expected, FORMAT), 0);
    EXPECT_EQ(differing(*second, *expected, FORMAT), 0);
    destroy(*first);
    destroy(*second);
}
