#include "pipeline/pictures/channel_choice.h"

#include "tests/support/tool_fixture.h"

using namespace focusfall;

namespace {

using names = std::vector<std::string>;

picture_part part_with(const names& channels, const std::string& part = {},
                       const std::string& view = {}) {
    OIIO::ImageSpec spec(1, 1, static_cast<int>(channels.size()), OIIO::TypeDesc::HALF);
    spec.channelnames = channels;
    if (!part.empty()) spec.attribute("oiio:subimagename", part);
    if (!view.empty()) spec.attribute("view", view);
    return {spec, nullptr};
}

template <class... Parts>
picture file_of(Parts... parts) {
    picture file;
    (file.push_back(std::move(parts)), ...);
    return file;
}

picture two_views() {
    return file_of(part_with({"R", "G", "B", "A"}, "rgba_right", "right"),
                   part_with({"Z"}, "depth_left", "left"),
                   part_with({"R", "G", "B", "A"}, "rgba_left", "left"),
                   part_with({"Z"}, "depth_right", "right"));
}

}  // namespace

TEST(ChannelChoice, TakesThePlainColourAndTheDepthBesideIt) {
    const picture file = file_of(part_with(
        {"left.B", "left.R", "left.G", "left.Z", "B", "G", "R", "A", "Z", "mask"}));
    const color_channels plain = choose_color(file, "");
    EXPECT_EQ(plain.red, 6U);
    EXPECT_EQ(plain.alpha, 7U);
    EXPECT_EQ(choose_depth(file, plain, ""), (channel_place{0, 8}));
    const color_channels left = choose_color(file, "left");
    EXPECT_EQ(left.red, 1U);
    EXPECT_FALSE(left.alpha);
    EXPECT_EQ(choose_depth(file, left, ""), (channel_place{0, 3}));
    EXPECT_EQ(choose_depth(file, left, "mask"), (channel_place{0, 9}));
}

TEST(ChannelChoice, FindsDepthUnderItsUsualNamesAndTakesGreyForAllColours) {
    for (const char* name : {"Z", "depth.Z", "ViewLayer.Depth.Z"}) {
        const picture file =
            file_of(part_with({"Combined.R", "Combined.G", "Combined.B", name}));
        EXPECT_EQ(choose_depth(file, choose_color(file, ""), ""), (channel_place{0, 3}))
            << name;
    }
    const picture none = file_of(part_with({"R", "G", "B", "depth"}));
    EXPECT_FALSE(choose_depth(none, choose_color(none, ""), ""));
    for (const names& channels : {names{"luma"}, names{"Y", "A"}}) {
        const picture file = file_of(part_with(channels));
        const color_channels grey = choose_color(file, "");
        EXPECT_TRUE(grey.is_grey() && grey.green == grey.blue && grey.red == 0);
        EXPECT_EQ(grey.alpha.has_value(), channels.size() == 2);
    }
}

TEST(ChannelChoice, ChoosesAViewOfAMultiPartFileWithItsDepth) {
    const picture file = two_views();
    for (const char* name : {"left", "rgba_left"}) {
        const color_channels left = choose_color(file, name);
        EXPECT_EQ(left.part, 2U) << name;
        EXPECT_EQ(choose_depth(file, left, ""), (channel_place{1, 0})) << name;
        EXPECT_EQ(choose_depth(file, left, "right.Z"), (channel_place{3, 0}));
        EXPECT_EQ(choose_depth(file, left, "depth_right.Z"), (channel_place{3, 0}));
    }
    const picture plain = file_of(part_with({"Z"}, "depth"), part_with({"mask"}, "mask"),
                                  part_with({"R", "G", "B"}, "colour"));
    EXPECT_EQ(choose_color(plain, "").part, 2U);
    EXPECT_EQ(choose_depth(plain, choose_color(plain, ""), ""), (channel_place{0, 0}));
}

TEST(ChannelChoice, ListsTheChoicesWhenItCanNotChoose) {
    const picture views = two_views();
    const picture depths = file_of(part_with({"R", "G", "B", "far.Z", "near.Z"}));
    const picture colourless = file_of(part_with({"u", "v"}));
    const color_channels color = choose_color(depths, "");
    const std::pair<std::string, std::string> told[] = {
        {error_of([&] { choose_color(views, ""); }), "--layer: rgba_right, rgba_left"},
        {error_of([&] { choose_color(views, "middle"); }), "\"middle\""},
        {error_of([&] { choose_color(views, "middle"); }), "rgba_left"},
        {error_of([&] { choose_depth(depths, color, ""); }),
         "--depth-channel: far.Z, near.Z"},
        {error_of([&] { choose_depth(depths, color, "Zed"); }), "\"Zed\""},
        {error_of([&] { choose_depth(depths, color, "Zed"); }), "far.Z"},
        {error_of([&] { choose_color(colourless, ""); }), "u, v"}};
    for (const auto& [error, part] : told) {
        EXPECT_NE(error.find(part), std::string::npos) << error;
    }
}
