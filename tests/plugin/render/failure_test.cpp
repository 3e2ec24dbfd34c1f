// Frames that fail or are aborted, and the frame of the same tool after them.

#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "host/faults.h"
#include "tests/support/failing_allocations.h"
#include "tests/support/frame_fixture.h"

namespace {

using end = headless::frame::end;
using console_line = std::pair<int, std::string>;  // part of the console, text

class FailingFrame : public testing::Test {
  protected:
    static constexpr int WIDTH = 60;
    static constexpr int HEIGHT = 40;

    FailingFrame() {
        watch_allocations_of_libraries();
        values_["SettingsType"] = values_["BlurChannel"] = 0;
        values_["MaxBlurSize"] = 10;  // 6 pixels: 602 kernels
        input_ = random_.picture(WIDTH, HEIGHT, values_);
        plugin_.render(input_, nullptr, values_);  // sets the controls
        printed_.clear();
    }
    ~FailingFrame() override { headless::set_image_hook({}); }

    // Renders with `fault` called whenever an image is made, with its number: 1 is the
    // result, then follow the kernels.
    headless::frame render_with(std::function<void(int)> fault,
                                const headless::frame_progress& progress = {}) {
        images_ = 0;
        printed_.clear();
        headless::set_image_hook([this, fault = std::move(fault)] { fault(++images_); });
        headless::frame result = plugin_.tool().render({.progress = progress});
        headless::set_image_hook({});
        return result;
    }

    void expect_next_frame_to_be_right() {
        plugin_.tool().clear_abort();
        on_print_ = {};
        printed_.clear();
        expect_agreement(plugin_.render(input_, nullptr, values_), input_,
                         frame_model::render(input_, input_, values_));
        expect_timing_line();
    }

    void expect_timing_line() {
        ASSERT_EQ(printed_.size(), 1U);
        EXPECT_EQ(printed_[0].first, 40);
        int milliseconds = -1;
        char line_end = 0;
        std::sscanf(printed_[0].second.c_str(),
                    "Lucent Focusfall processing time: %d ms%c", &milliseconds,
                    &line_end);
        EXPECT_TRUE(milliseconds >= 0 && line_end == '\n') << printed_[0].second;
    }

    random_frame random_{7000};
    frame_model::controls values_ = random_.settings();
    frame_model::picture input_;
    int images_ = 0;
    std::vector<console_line> printed_;
    std::function<void()> on_print_;
    plugin_tool plugin_{2, [this](int sub_id, const std::string& text) {
                            printed_.emplace_back(sub_id, text);
                            if (on_print_) on_print_();
                        }};
};

TEST_F(FailingFrame, IsThrownToTheHostWhenTheDepthMapHasAnotherSize) {
    for (const auto& [width, height] :
         {std::pair{WIDTH - 1, HEIGHT}, {WIDTH, HEIGHT + 1}}) {
        plugin_.connect("DepthMap", blank(width, height));
        const headless::frame result = render_with([](int) {});
        EXPECT_EQ(result.how, end::FAILED);
        EXPECT_EQ(result.error, "Input and depth image dimensions are not the same.");
        EXPECT_TRUE(printed_.empty()) << "the host reports it, not the tool";
        EXPECT_FALSE(result.image);
        expect_next_frame_to_be_right();
    }
}

TEST_F(FailingFrame, StopsInEveryPhaseWhenAborted) {
    enum phase { BEFORE, PIXELS, KERNELS, CHUNKS, WRITE_BACK };
    constexpr double KERNELS_END = 0.1;  // part of the progress that the kernels take
    for (const phase when : {BEFORE, PIXELS, KERNELS, CHUNKS, WRITE_BACK}) {
        SCOPED_TRACE(when);
        headless::tool& tool = plugin_.tool();
        double progress = 0.0;
        if (when == BEFORE) tool.abort();
        if (when == WRITE_BACK) on_print_ = [&] { tool.abort(); };
        const headless::frame result = render_with(
            [&](int image) {
                if (image == (when == PIXELS ? 1 : 100) && when <= KERNELS) tool.abort();
            },
            [&](double part) {
                progress = part;
                if (when == CHUNKS && part > KERNELS_END) tool.abort();
            });

        EXPECT_EQ(result.how, end::ABORTED) << result.error;
        EXPECT_FALSE(result.image);
        const int expected = when < KERNELS ? 1 : when == KERNELS ? 100 : 602;
        EXPECT_EQ(images_, expected) << "stopped in another phase";
        EXPECT_EQ(progress > KERNELS_END, when >= CHUNKS) << "stopped in another phase";
        EXPECT_EQ(printed_.empty(), when < CHUNKS);
        if (when >= CHUNKS) expect_timing_line();
        expect_next_frame_to_be_right();
    }
}

// Faults up to the settings are the host's, those of the blur are told on the console.
TEST_F(FailingFrame, ReportsMissingMemory) {
    const auto no_memory_for = [](int number) {
        return [number](int image) {
            if (image == number) throw std::bad_alloc();
        };
    };
    const auto expect_failure = [&](const headless::frame& result, const char* error) {
        EXPECT_EQ(result.how, end::FAILED);
        EXPECT_FALSE(result.image);
        if (error) {
            EXPECT_EQ(result.error, error);
            EXPECT_TRUE(printed_.empty());
        } else {
            const console_line told(60, "Focusfall error: std::bad_alloc\n");
            EXPECT_EQ(printed_, std::vector{told});
        }
        expect_next_frame_to_be_right();
    };
    expect_failure(render_with(no_memory_for(1)), "std::bad_alloc");
    expect_failure(render_with(no_memory_for(100)), nullptr);
    aligned_allocations_fail = true;
    const headless::frame result = render_with([](int) {});
    aligned_allocations_fail = false;
    expect_failure(result, "Image: Failed to allocate memory for channel OutRGBA");

    // the next frame's end is its own
    render_with(no_memory_for(100));
    plugin_.tool().abort();
    EXPECT_EQ(render_with([](int) {}).how, end::ABORTED);
}

}  // namespace
