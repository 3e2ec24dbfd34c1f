// The options of a render arrive where pictures are read and written.

#include "tests/programs/command/command_fixture.h"

using namespace focusfall;

namespace {

using OIIO::TypeDesc;
using pictures = command_test;

}  // namespace

TEST_F(pictures, AreReadAndWrittenAsTheOptionsAsk) {
    const window display{0, 0, 60, 40};
    auto channels = scene_channels();
    for (std::size_t i = 0; i < 4; ++i) {
        channels.push_back(channels[i]);
        channels.back().name = "left." + channels[i].name;
        channels[i].value = [](int, int) { return 0.5; };
    }
    channels.push_back({"near", TypeDesc::FLOAT, [](int, int) { return 7.0; }});
    write("in.exr", made_part(display, display, channels));
    write_scene("shape.exr", {0, 0, 9, 9}, {0, 0, 9, 9});
    const run_result ran = run(
        "render in.exr -o out.exr --data-type float --compression rle --preview look.png "
        "--layer left --depth-channel near --blur-image shape.exr "
        "--set MaxBlurSize=5 --set FocusPosition=7 --quiet --threads 2");
    EXPECT_EQ(ran.status, 0);
    EXPECT_EQ(ran.errors, "");
    const picture in = read_picture(path("in.exr"));
    const picture out = read_picture(path("out.exr"));
    const OIIO::ImageSpec& spec = out[0].spec;
    EXPECT_EQ(spec.channelformat(spec.channelindex("left.G")), TypeDesc::FLOAT);
    EXPECT_EQ(spec.get_string_attribute("compression"), "rle");
    EXPECT_EQ(values(out[0], "G"), values(in[0], "G"));
    // all is in focus by that channel
    const auto expected = values(in[0], "left.G");
    const auto stored_green = values(out[0], "left.G");
    for (std::size_t i = 0; i < expected.size(); ++i) {
        ASSERT_NEAR(stored_green[i], expected[i], 1e-4F * (1.0F + expected[i])) << i;
    }
    const picture preview = read_picture(path("look.png"));
    EXPECT_EQ(preview[0].spec.format, TypeDesc::UINT8);
    EXPECT_EQ(data_window(preview[0].spec), display);
}
