// The fast tool from inside, through a class derived from it, and where it scatters.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "host/faults.h"
#include "plugin/fast/focusfall_fast.h"
#include "tests/support/frame_fixture.h"

namespace {

using frame_model::controls;
using frame_model::picture;

struct watched_tool : FocusfallFast {
    using FocusfallFast::FocusfallFast;
    using FocusfallFast::output_image;
};

class LinkedFastTool : public testing::Test {
  protected:
    ~LinkedFastTool() override { headless::set_image_hook({}); }

    linked_class<watched_tool> class_;
    plugin_tool plugin_{class_.record(), 1};  // on one thread, work is done in its order
    watched_tool& inside_ = dynamic_cast<watched_tool&>(plugin_.tool().instance());
};

// Wherever the host asks: while sources are loaded, while stamps are made and added for a
// picture as the blur's shape, and while tiles are written.
TEST_F(LinkedFastTool, MakesAndWritesNothingMoreAfterAnAbort) {
    constexpr float UNTOUCHED = -77.0F;
    random_frame random(1);
    const controls values = {{"MaxBlurSize", 10}, {"FocusPosition", 1}};
    picture input = random.picture(150, 100, random.settings());
    for (int i = 0; i < 150 * 100; ++i) input.at(i, 0, Z) = static_cast<float>(i % 3) / 4;
    for (const bool stamps : {false, true}) {
        if (stamps) plugin_.connect("BlurImage", random.picture(9, 9, random.settings()));
        plugin_.render(input, nullptr, values);
        headless::frame::end how = headless::frame::end::ABORTED;
        for (int until = 1; how == headless::frame::end::ABORTED; ++until) {
            SCOPED_TRACE(testing::Message()
                         << "stamps " << stamps << ", after " << until);
            Owned<Image> output;
            std::size_t size = 0;
            int calls = 0;
            int images = 0;
            headless::set_image_hook([&] { ++images; });
            const auto result = plugin_.tool().render({.progress = [&](double /*part*/) {
                if (++calls != until) return;
                plugin_.tool().abort();
                output = Shared(inside_.output_image);
                size = static_cast<std::size_t>(output->Width() * output->Height() *
                                                output->Components());
                std::fill_n(output->Pixel(0, 0), size, UNTOUCHED);
                images = 0;
            }});
            headless::set_image_hook({});  // it counts into this scope
            how = calls < until ? headless::frame::end::DONE
                                : headless::frame::end::ABORTED;
            ASSERT_EQ(result.how, how) << result.error;
            ASSERT_EQ(!result.image, calls >= until);
            plugin_.tool().clear_abort();
            if (!output) continue;
            ASSERT_EQ(images, 0);
            ASSERT_EQ(
                std::count(output->Pixel(0, 0), output->Pixel(0, 0) + size, UNTOUCHED),
                static_cast<std::ptrdiff_t>(size));
        }
    }
}

TEST_F(LinkedFastTool, TakesWhatIsFartherThanItsLargestDepthToLieThere) {
    expect_depth_cap(plugin_, inside_.max_depth);
}

TEST_F(LinkedFastTool, ShrinksTheDiskAsThePlainToolDoes) {
    linked_class<Focusfall> plain_class;
    plugin_tool plain{plain_class.record(), 1};
    dynamic_cast<Focusfall&>(plain.tool().instance()).shrink_disk = true;
    inside_.shrink_disk = true;
    random_frame random(1);
    const picture input = random.picture(60, 40, random.settings());
    const controls values = {{"MaxBlurSize", 20}, {"Normalize", 0}};
    const picture expected = plain.render(input, nullptr, values);
    const picture output = plugin_.render(input, nullptr, values);
    for (std::size_t i = 0; i < output.values.size(); ++i) {
        ASSERT_NEAR(output.values[i], expected.values[i],
                    1e-5 * std::max(1.0F, std::abs(expected.values[i])));
    }
}

// A white picture as the shape, so that a stamp of n by n pixels adds 1 / n^2 wherever it
// lies. All stamps together are larger than what is kept at once, and the middle of the
// row lies in all of them.
TEST_F(LinkedFastTool, ScattersStampsThatTakeMoreMemoryThanOneBatch) {
    constexpr int WIDTH = 4000;
    constexpr int STAMPS = 85;
    picture shape = blank(1010, 1010);
    std::ranges::fill(shape.values, 1.0F);
    plugin_.connect("BlurImage", shape);
    picture input = blank(WIDTH, 1);
    double expected = 0.0;
    double bytes = 0.0;
    for (int i = 0; i < STAMPS; ++i) {
        float* pixel = &input.at(WIDTH / 2 + 2 * (i - STAMPS / 2), 0, 0);
        pixel[RED] = pixel[ALPHA] = 1.0F;
        pixel[Z] = static_cast<float>(i) / 2000.0F;
        const double side = 1000.0 * (1.0 - double{pixel[Z]}) / (1.0 + double{pixel[Z]});
        expected += 1.0 / (side * side);
        bytes += side * side * sizeof(float);
    }
    ASSERT_GT(bytes, 1.1 * stamp_list::BATCH_BYTES);
    const picture output = plugin_.render(
        input, nullptr, {{"MaxBlurSize", 25}, {"FocusPosition", 1}, {"Normalize", 0}});
    EXPECT_NEAR(output.at(WIDTH / 2, 0, RED), expected, expected / 100);
}

}  // namespace
