// The host and a tool in one binary, without any library of ours.

#include <gtest/gtest.h>

#include <algorithm>

#include "host/headless_host.h"

namespace headless {
namespace {

TEST(StaticHost, RendersWithAToolThatIsLinkedIn) {
    const auto classes = ClassRegistry::Global().Records();
    const auto probe = std::ranges::find(classes, FuID("probe.Probe"), &Registry::ID);
    ASSERT_NE(probe, classes.end());
    host host(2);
    const auto tool = host.create_tool(**probe);
    const Owned<Image> picture(new Image(4, 3, 5));
    std::fill_n(picture->Pixel(0, 0), 60, 1.0F);
    const frame result = tool->render(
        {.instead = {{"Factor", 3.0}}, .images = {{"Input", picture.get()}}});
    ASSERT_EQ(result.how, frame::end::DONE) << result.error;
    EXPECT_EQ(result.image->Pixel(3, 2)[Image::Z], 3.0F);
    EXPECT_THROW(tool->set("Facto", 1.0), host_error);
}

}  // namespace
}  // namespace headless
