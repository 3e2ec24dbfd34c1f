// What the host's user is promised of every tool: pictures wherever they lie, progress,
// and memory given back.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>

// sanitizers allocate by themselves, and tell malloc's statistics nothing
#if defined(__GLIBC__) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
#define HEAP_IS_COUNTED
#include <malloc.h>
#endif

#include "tests/support/frame_fixture.h"

namespace {

using frame_model::controls;
using frame_model::picture;

struct tool_of_one {
    const char* file;
    const char* id;
};
constexpr tool_of_one TOOLS[] = {{PLUGIN_FILE, "kestrelworks.Focusfall"},
                                 {FAST_PLUGIN_FILE, "kestrelworks.FocusfallFast"},
                                 {LAYERED_PLUGIN_FILE, "kestrelworks.FocusfallLayered"}};

// Blurred by a style, the steps of which differ in the fast tool; the last by a picture.
constexpr int STYLES = 5;

#ifdef HEAP_IS_COUNTED
std::size_t heap_in_use() {
    const struct mallinfo2 heap = mallinfo2();
    return heap.uordblks + heap.hblkhd;
}
#endif

// Thin sharp bars far before a wall, the pixel beside each of which holds some of its
// colour.
picture sharp_bars() {
    random_frame random(8);
    picture bars = blank(120, 80);
    for (int y = 0; y < 80; ++y) {
        for (int x = 0; x < 120; ++x) {
            const float bar = x % 12 < 2 ? 1.0F : x % 12 == 2 ? 0.4F : 0.0F;
            const float ends[][2] = {{0.8F, 0.1F}, {0.3F, 0.5F}, {0.1F, 0.9F}};
            for (const component c : {BLUE, GREEN, RED}) {
                const float noise = random.between(0.0, 0.02);
                bars.at(x, y, c) = std::lerp(ends[c][0], ends[c][1], bar) + noise;
            }
            bars.at(x, y, ALPHA) = 1.0F;
            bars.at(x, y, Z) = x % 12 < 2 ? 100.0F : 900.0F;
        }
    }
    return bars;
}

// A picture as other hosts have it: red first, the bottom row first, the depth for
// itself.
struct foreign_picture {
    explicit foreign_picture(const picture& from) : width(from.width) {
        for (int y = from.height - 1; y >= 0; --y) {
            for (int x = 0; x < width; ++x) {
                for (const component c : {RED, GREEN, BLUE, ALPHA})
                    colors.push_back(from.at(x, y, c));
                depths.push_back(from.at(x, y, Z));
            }
        }
    }
    Owned<Image> image(std::vector<float>& values, int components) const {
        const int row = width * components;
        const int height = static_cast<int>(std::ssize(values)) / row;
        return Owned<Image>(new Image(values.data() + (height - 1) * row, width, height,
                                      components, -row));
    }

    int width;
    std::vector<float> colors;
    std::vector<float> depths;
};

}  // namespace

TEST(AllTools, TreatRedAsBlueAndTakeForeignPicturesWhereTheyLie) {
    for (const auto& [file, id] : TOOLS) {
        plugin_tool plugin(1, {}, file);  // the plain one adds in any order
        random_frame random(6);
        for (int style = 0; style <= STYLES; ++style) {
            SCOPED_TRACE(std::string(id) + ", style " + std::to_string(style));
            controls values = random.settings();
            picture input = random.picture(120, 80, values);
            if (style == STYLES) {
                input = sharp_bars();
                values = {{"MaxBlurSize", 8.0}, {"FocusPosition", 100.0}};
            }
            values["BlurStyle"] = style % STYLES;
            values["BlurChannel"] = 0;  // Z
            const picture expected = plugin.render(input, nullptr, values);

            foreign_picture foreign(input);
            const Owned<Image> colors = foreign.image(foreign.colors, 4);
            const Owned<Image> depth = foreign.image(foreign.depths, 1);
            const headless::frame result = plugin.tool().render(
                {.instead = {{"BlurChannel", "Blue"}},  // the first component
                 .images = {{"Input", colors.get()}, {"DepthMap", depth.get()}}});
            ASSERT_EQ(result.how, headless::frame::end::DONE) << result.error;
            ASSERT_EQ(result.image->Components(), 4);
            int differing = 0;
            for (int i = 0; i < 120 * 80; ++i) {
                const float* pixel = result.image->Pixel(i % 120, i / 120);
                for (const component c : {RED, GREEN, BLUE, ALPHA}) {
                    const float wanted = expected.at(i % 120, i / 120, c);
                    const float got = pixel[c == RED ? BLUE : c == BLUE ? RED : c];
                    differing +=
                        got == wanted || (got != got && wanted != wanted) ? 0 : 1;
                }
            }
            EXPECT_EQ(differing, 0);
        }
    }
}

TEST(AllTools, ReportProgressThatNeverFallsAndEndsOnce) {
    for (const auto& [file, id] : TOOLS) {
        plugin_tool plugin(2, {}, file);
        random_frame random(3);
        for (int style = 0; style <= STYLES; ++style) {
            SCOPED_TRACE(std::string(id) + ", style " + std::to_string(style));
            const controls values = {{"MaxBlurSize", style == 3 ? 0.0 : 10.0},
                                     {"BlurStyle", style % STYLES}};
            const picture input = random.picture(200, 100, random.settings());
            if (style == STYLES)
                plugin.connect("BlurImage", random.picture(9, 9, random.settings()));
            plugin.render(input, nullptr, values);  // sets the controls

            std::vector<double> parts;
            const headless::frame result = plugin.tool().render(
                {.progress = [&](double part) { parts.push_back(part); }});
            ASSERT_EQ(result.how, headless::frame::end::DONE) << result.error;
            EXPECT_TRUE(std::ranges::is_sorted(parts));
            EXPECT_EQ(std::ranges::count(parts, 1.0), 1);
            ASSERT_EQ(parts.back(), 1.0);
            if (style == 3) continue;  // nothing is blurred: the end is all
            EXPECT_GE(parts.front(), 0.0);
            EXPECT_LT(parts.front(), 0.5);
        }
    }
}

TEST(AllTools, ReportNoEndOfAnAbortedFrame) {
    for (const auto& [file, id] : TOOLS) {
        plugin_tool plugin(2, {}, file);
        const controls values = {{"MaxBlurSize", 10.0}};
        random_frame random(4);
        plugin.render(random.picture(200, 100, random.settings()), nullptr, values);
        double last = 0.0;
        const headless::frame result =
            plugin.tool().render({.progress = [&](double part) {
                last = part;
                if (part > 0.05) plugin.tool().abort();
            }});
        EXPECT_EQ(result.how, headless::frame::end::ABORTED) << result.error;
        EXPECT_LT(last, 1.0) << id;
    }
}

TEST(AllTools, GiveBackTheirMemoryAndRenderTheSameAfterwards) {
    for (const auto& [file, id] : TOOLS) {
        plugin_tool plugin(1, {}, file);
        random_frame random(5);
        for (const int style : {0, 2}) {
            SCOPED_TRACE(std::string(id) + ", style " + std::to_string(style));
            const controls values = {{"MaxBlurSize", 1.5}, {"BlurStyle", style}};
            // so large that the host keeps its memory, too
            const picture input = random.picture(500, 430, random.settings());
            for (const auto& [control, value] : values) plugin.tool().set(control, value);
            plugin.connect("Input", input);
#ifdef HEAP_IS_COUNTED
            const std::size_t before = heap_in_use();
            EXPECT_EQ(plugin.tool().render().how, headless::frame::end::DONE);
            plugin.tool().trim();
            // a byte a pixel: all that is kept of a pixel is larger
            EXPECT_LT(heap_in_use(), before + 500 * 430);
#endif
            const picture expected = plugin.render(input, nullptr, values);
            plugin.tool().trim();
            EXPECT_EQ(plugin.render(input, nullptr, values).values, expected.values);
            plugin.tool().trim();
            plugin.tool().trim();
        }
    }
}

// Tools that say so read all of the input before they write over it.
TEST(AllTools, MakeTheSameInTheMemoryOfTheInputWhereTheySaySo) {
    int said = 0;
    for (const auto& [file, id] : TOOLS) {
        plugin_tool plugin(2, {}, file);
        if (!plugin.tool().forecast({}, {}).reads_first) continue;
        random_frame random(9);
        for (int i = 0; i < 40; ++i) {
            SCOPED_TRACE(std::string(id) + ", frame " + std::to_string(i));
            const controls values = random.settings();
            picture input = random.picture(random.whole(20, 400), 50, values);
            if (i % 2 == 0) input.at(7, 9, GREEN) = INFINITY;  // is scattered
            const picture expected = plugin.render(input, nullptr, values);

            Owned<Image> image(new Image(input.width, input.height, input.components));
            float* const first = image->Pixel(0, 0);
            std::ranges::copy(input.values, first);
            image->OfferMemory(first, std::ptrdiff_t{input.width} * input.components);
            const headless::frame result =
                plugin.tool().render({.images = {{"Input", image.get()}}});
            ASSERT_EQ(result.how, headless::frame::end::DONE) << result.error;
            ASSERT_EQ(result.image->Pixel(0, 0), first);
            EXPECT_EQ(std::memcmp(first, expected.values.data(),
                                  expected.values.size() * sizeof(float)),
                      0);
            ++said;
        }
    }
    EXPECT_EQ(said, 40);  // the fast one
}
