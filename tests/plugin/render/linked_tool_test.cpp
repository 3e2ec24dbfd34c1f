// The tool from inside, through a class derived from it: what it leaves undone once the
// host asks to stop, and what such a class may set.

#include <gtest/gtest.h>

#include <functional>

#include "host/faults.h"
#include "plugin/tool/focusfall.h"
#include "tests/support/frame_fixture.h"

namespace {

using frame_model::controls;
using frame_model::picture;

struct watched_tool : Focusfall {
    using Focusfall::Focusfall;
    using Focusfall::output_image;
    using Focusfall::samples;
};

class LinkedTool : public testing::Test {
  protected:
    static constexpr int WIDTH = 60;
    static constexpr int HEIGHT = 40;

    LinkedTool() {
        input_ = random_.picture(WIDTH, HEIGHT, random_.settings());
        plugin_.render(input_, nullptr, values_);  // sets the controls
    }
    ~LinkedTool() override { headless::set_image_hook({}); }

    void expect_abort(const headless::frame_progress& progress = {}) {
        const headless::frame result = plugin_.tool().render({.progress = progress});
        EXPECT_EQ(result.how, headless::frame::end::ABORTED) << result.error;
        EXPECT_FALSE(result.image);
    }

    random_frame random_{7000};
    controls values_{{"MaxBlurSize", 10}, {"FocusPosition", 0}};
    picture input_;
    linked_class<watched_tool> class_;
    std::function<void()> on_print_;
    // on one thread, work is done in its order
    plugin_tool plugin_{class_.record(), 1, [this](int /*sub_id*/, const std::string&) {
                            if (on_print_) on_print_();
                        }};
    watched_tool& inside_ = dynamic_cast<watched_tool&>(plugin_.tool().instance());
};

TEST_F(LinkedTool, TakesNoFurtherRowOfPixelsAfterAnAbort) {
    headless::set_image_hook([this] { plugin_.tool().abort(); });
    expect_abort();
    EXPECT_LE(inside_.samples.size(), std::size_t{WIDTH});
}

// In focus every sample stays where it is, with a weight of 1.
TEST_F(LinkedTool, ScattersNoFurtherSampleAfterAnAbort) {
    for (int i = 0; i < WIDTH * HEIGHT; ++i) input_.at(i, 0, Z) = 0.0F;
    plugin_.connect("Input", input_);
    double scattered = 0.0;
    const auto sum_up = [&] {
        scattered = 0.0;
        for (std::uint32_t y = 0; y < HEIGHT; ++y) {
            const float* row = inside_.weight_accumulator.get_channel_data("Norm", y);
            for (int x = 0; x < WIDTH; ++x) scattered += double{row[x]};
        }
    };
    expect_abort([&](double part) {
        if (part < 0.2) return;  // kernels are made first
        ASSERT_LT(part, 1.0);
        if (!plugin_.tool().instance().IsAborted()) sum_up();
        plugin_.tool().abort();
    });
    const double before = scattered;
    sum_up();
    EXPECT_GT(before, 0.0);
    EXPECT_EQ(scattered, before);
}

TEST_F(LinkedTool, WritesNoFurtherRowAfterAnAbort) {
    Owned<Image> output;
    on_print_ = [&] {  // the time of the splat
        output = Shared(inside_.output_image);
        plugin_.tool().abort();
    };
    expect_abort();
    ASSERT_TRUE(output);
    for (int y = 1; y < HEIGHT; ++y) {
        for (int x = 0; x < WIDTH; ++x) {
            ASSERT_EQ(output->Pixel(x, y)[Image::RED], input_.at(x, y, RED))
                << "row " << y;
        }
    }
}

TEST_F(LinkedTool, TakesWhatIsFartherThanItsLargestDepthToLieThere) {
    expect_depth_cap(plugin_, inside_.max_depth);
}

}  // namespace
