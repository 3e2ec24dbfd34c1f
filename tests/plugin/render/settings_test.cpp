// The settings of a frame, and frames of a tool that does something of its own.

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "host/headless_host.h"
#include "plugin/tool/focusfall.h"

namespace {

// A tool that can switch depth off, and whose chunks fail on request.
class test_tool : public Focusfall {
  public:
    test_tool(Registry* record, const ScriptVal& table, TagList* tags)
        : Focusfall(record, table, tags) {
        add_depth_controls(*this, /*with_enable_depth=*/true, /*normalize_default=*/1.0F);
    }
    void ProcessChunk(Request* request, std::int32_t chunk) override {
        if (chunk == failing_chunk) throw std::runtime_error("chunk failed");
        Focusfall::ProcessChunk(request, chunk);
    }
    std::int32_t failing_chunk = -1;
};

Operator* new_test_tool(Registry* record, const ScriptVal& table, TagList* tags) {
    return new test_tool(record, table, tags);
}

class Settings : public testing::Test {
  protected:
    // Renders a flat picture of that size.
    headless::frame render(int width, int height) {
        const Owned<Image> image(new Image(width, height, 5));
        std::fill_n(image->Pixel(0, 0), width * height * 5, 0.5F);
        tool_->connect("Input", image.get());
        return tool_->render();
    }
    void set(const std::vector<std::pair<const char*, const char*>>& values) {
        for (const auto& [id, text] : values) tool_->set(id, text);
    }

    // for this test alone: the program's own list would show it to every plug-in test
    ClassRegistry classes_;
    Registry record_{classes_, "test.Tool", 0x60000000, &new_test_tool, 0};
    std::vector<std::pair<int, std::string>> printed_;
    headless::host host_{2, [this](int sub_id, const std::string& text) {
                             printed_.emplace_back(sub_id, text);
                         }};
    std::unique_ptr<headless::tool> tool_ = host_.create_tool(record_);
    test_tool& record_of_tool_ = dynamic_cast<test_tool&>(tool_->instance());
};

// Back in Simple, the map runs from 1 to 2 mm again; without depth nothing is blurred.
TEST_F(Settings, FollowTheModeFromFrameToFrameAndTheSwitchForDepth) {
    set({{"EnableDepth", "on"},
         {"SettingsType", "Advanced"},
         {"DepthMapType", "Normalized"},
         {"FilmbackWidth", "24"},
         {"NearDistance", "1000"}});
    render(480, 2);
    EXPECT_FLOAT_EQ(record_of_tool_.max_coc, 480.0F * 1225.0F / (965.0F * 48.0F));
    EXPECT_FLOAT_EQ(record_of_tool_.focus_depth, 1000.0F);

    set({{"SettingsType", "Simple"}, {"FocusPosition", "-0.25"}});
    render(480, 2);
    EXPECT_FLOAT_EQ(record_of_tool_.max_coc, 4.8F);
    EXPECT_FLOAT_EQ(record_of_tool_.focus_depth, 1.25F) << "the sign does not count";

    set({{"EnableDepth", "off"}});
    const headless::frame sharp = render(480, 2);
    EXPECT_EQ(record_of_tool_.max_coc, 0.01F);
    EXPECT_EQ(record_of_tool_.normalize, 0.0F);
    ASSERT_TRUE(sharp.image) << sharp.error;
    EXPECT_EQ(sharp.image->Pixel(7, 1)[Image::RED], 0.5F);
}

TEST_F(Settings, KeepTheLocksOfTheRowsThatStay) {
    render(8, 4);
    const auto locks = record_of_tool_.row_locks;
    render(8, 6);
    ASSERT_EQ(record_of_tool_.row_locks.size(), 6U);
    EXPECT_EQ(record_of_tool_.row_locks[3], locks[0]) << "rows of one frame share one";
    EXPECT_NE(record_of_tool_.row_locks[4], locks[0]);
    EXPECT_EQ(record_of_tool_.row_locks[4], record_of_tool_.row_locks[5]);
    render(8, 2);
    EXPECT_EQ(record_of_tool_.row_locks.size(), 2U);
}

TEST_F(Settings, AnExceptionInAChunkIsPrintedAndTheNextFrameIsRight) {
    set({{"EnableDepth", "on"}, {"MaxBlurSize", "10"}});
    record_of_tool_.failing_chunk = 1;
    const headless::frame failed = render(60, 40);
    EXPECT_EQ(failed.how, headless::frame::end::FAILED);
    EXPECT_FALSE(failed.image);
    // no time is printed for a splat that failed
    EXPECT_EQ(printed_, (decltype(printed_){{60, "Focusfall error: chunk failed\n"}}));

    record_of_tool_.failing_chunk = -1;
    const headless::frame next = render(60, 40);
    ASSERT_TRUE(next.image) << next.error;
    for (int i = 0; i < 60 * 40; ++i) {
        ASSERT_NEAR(next.image->Pixel(i % 60, i / 60)[Image::GREEN], 0.5F, 1e-6);
    }
    EXPECT_TRUE(record_of_tool_.kernels.empty()) << "tables are kept after a frame";
}

}  // namespace
