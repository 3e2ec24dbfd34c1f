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

// The name by which a person would choose what the program took by itself.
std::string chosen_layer(const picture& file, const std::string& name = {}) {
    return layer_name(file, choose_color(file, name));
}

std::string chosen_depth(const picture& file, const std::string& layer = {},
                         const std::string& name = {}) {
    const auto depth = choose_depth(file, choose_color(file, layer), name);
    return depth ? full_name(file, *depth) : "none";
}

// As Blender writes several view layers, without some that matter less.
picture blender_file() {
    names channels;
    for (const std::string layer : {"ViewLayer", "Lights"}) {
        for (const char* pass : {"Combined", "DiffCol"}) {
            for (const char* last : {".R", ".G", ".B", ".A"}) {
                channels.push_back(layer + "." + pass + last);
            }
        }
        for (const char* last :
             {"Depth.Z", "Mist.Z", "Normal.X", "Normal.Y", "Normal.Z", "CryptoObject00.r",
              "CryptoObject00.g", "CryptoObject00.b", "CryptoObject00.a"}) {
            channels.push_back(layer + "." + last);
        }
    }
    return file_of(part_with(channels));
}

picture stereo_in_one_part() {
    picture_part part = part_with({"R", "G", "B", "Z", "right.R", "right.G", "right.B",
                                   "right.Z", "spec.R", "spec.G", "spec.B",
                                   "spec.right.R", "spec.right.G", "spec.right.B"});
    const char* const views[] = {"left", "right"};
    part.spec.attribute("multiView", OIIO::TypeDesc(OIIO::TypeDesc::STRING, 2), views);
    return file_of(std::move(part));
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

TEST(ChannelChoice, TakesColoursInEverySpelling) {
    const struct {
        names channels;
        std::string layer;
        bool has_blue, has_alpha, is_grey;
    } files[] = {{{"r", "g", "b", "a"}, "rgba", true, true, false},
                 {{"Ci.r", "Ci.g", "Ci.b", "a", "z"}, "Ci", true, true, false},
                 {{"beauty.red", "beauty.green", "beauty.blue", "beauty.alpha"},
                  "beauty",
                  true,
                  true,
                  false},
                 {{"R", "G"}, "rgba", false, false, false},
                 {{"R", "A"}, "rgba", true, true, true},
                 {{"mask", "rgba.R", "rgba.G", "rgba.B"}, "rgba", true, false, false}};
    for (const auto& [channels, layer, has_blue, has_alpha, is_grey] : files) {
        const picture file = file_of(part_with(channels));
        const color_channels color = choose_color(file, "");
        SCOPED_TRACE(channels.front());
        EXPECT_EQ(layer_name(file, color), layer);
        EXPECT_EQ(chosen_layer(file, layer), layer) << "an offered name is accepted";
        EXPECT_EQ(color.blue.has_value(), has_blue);
        EXPECT_EQ(color.alpha.has_value(), has_alpha);
        EXPECT_EQ(color.is_grey(), is_grey);
    }
}

TEST(ChannelChoice, PrefersThePictureItselfToItsPassesAndData) {
    const picture one = file_of(part_with(
        {"FinalImage.R", "FinalImage.G", "FinalImage.B", "FinalImageDepth.R",
         "FinalImageDepth.G", "FinalImageDepth.B", "spec.R", "spec.G", "spec.B"}));
    EXPECT_EQ(chosen_layer(one), "FinalImage");
    EXPECT_EQ(chosen_depth(one), "FinalImageDepth.R");
    const picture lone = file_of(part_with(
        {"N.R", "N.G", "N.B", "character.red", "character.green", "character.blue"}));
    EXPECT_EQ(chosen_layer(lone), "character");
    const picture parts = file_of(part_with({"R", "G", "B"}, "diffuse"),
                                  part_with({"R", "G", "B"}, "beauty"));
    EXPECT_EQ(chosen_layer(parts), "beauty");
}

TEST(ChannelChoice, FindsTheLayersOfBlenderByTheEndsAndBeginningsOfTheirNames) {
    const picture file = blender_file();
    const std::string several = error_of([&] { choose_color(file, ""); });
    EXPECT_NE(
        several.find("--layer: ViewLayer.Combined, Lights.Combined, ViewLayer.Diff"),
        std::string::npos)
        << several;
    for (const char* name : {"ViewLayer", "ViewLayer.Combined"}) {
        EXPECT_EQ(chosen_layer(file, name), "ViewLayer.Combined");
        EXPECT_EQ(chosen_depth(file, name), "ViewLayer.Depth.Z");
    }
    EXPECT_EQ(chosen_depth(file, "Lights"), "Lights.Depth.Z");
    for (const char* name : {"Depth.Z", "Depth", "Lights.Depth"}) {
        EXPECT_EQ(chosen_depth(file, "Lights.DiffCol", name), "Lights.Depth.Z") << name;
    }
    EXPECT_EQ(chosen_depth(file, "Lights", "Mist.Z"), "Lights.Mist.Z");
    EXPECT_EQ(chosen_depth(file, "Lights", "ViewLayer.Normal.Z"), "ViewLayer.Normal.Z");
}

TEST(ChannelChoice, TakesTheDepthNamesOfRenderersAndNoZOfAVector) {
    const std::pair<names, std::string> files[] = {
        {{"VRayZDepth.R", "VRayZDepth.G", "VRayZDepth.B"}, "VRayZDepth.R"},
        {{"Zdepth.R"}, "Zdepth.R"},
        {{"depth"}, "depth"},
        {{"Depth.V"}, "Depth.V"},
        {{"z"}, "z"},
        {{"VRayZDepth", "Z"}, "Z"},
        {{"depth.red", "depth.Z"}, "depth.Z"},
        {{"Mist.Z", "Z Depth.X"}, "Z Depth.X"},
        {{"Mist.Z"}, "Mist.Z"},
        {{"N.Z", "P.Z", "VRayVelocity.Z", "VRayNormals.Z"}, "none"},
        {{"ref.X", "ref.Y", "ref.Z", "far.Z"}, "far.Z"},
        {{"X", "Y", "Z"}, "none"}};
    for (auto [channels, depth] : files) {
        for (const char* last : {"R", "G", "B"}) channels.push_back(last);
        const picture file = file_of(part_with(channels));
        EXPECT_EQ(chosen_depth(file), depth) << channels.front();
        if (depth == "none") continue;
        EXPECT_EQ(chosen_depth(file, "", depth), depth);
    }
}

TEST(ChannelChoice, TakesEveryViewWithItsDepthHoweverTheFileHoldsViews) {
    const picture one_part = stereo_in_one_part();
    EXPECT_EQ(views(one_part), (names{"left", "right"}));
    EXPECT_EQ(chosen_layer(one_part, "left"), "rgba");
    EXPECT_EQ(chosen_layer(one_part, "right"), "right");
    EXPECT_EQ(chosen_depth(one_part, "spec"), "Z");
    EXPECT_EQ(chosen_depth(one_part, "spec.right"), "right.Z");

    const picture part_per_view =
        file_of(part_with({"R", "G", "B", "spec.red", "spec.green", "spec.blue", "Z"},
                          "left", "left"),
                part_with({"R", "G", "B", "spec.red", "spec.green", "spec.blue", "Z"},
                          "right", "right"));
    EXPECT_EQ(views(part_per_view), (names{"left", "right"}));
    for (const char* name : {"left", "right", "left.spec", "right.spec"}) {
        EXPECT_EQ(chosen_layer(part_per_view, name), name);
    }
    EXPECT_EQ(chosen_depth(part_per_view, "right"), "right.Z");
    EXPECT_EQ(chosen_depth(part_per_view, "right", "Z"), "right.Z");

    // a doubtful depth of the same view is better than another view's
    const picture poor = file_of(part_with({"R", "G", "B", "Z"}, "left", "left"),
                                 part_with({"R", "G", "B", "Mist.Z"}, "right", "right"));
    EXPECT_EQ(chosen_depth(poor, "right"), "right.Mist.Z");
}

TEST(ChannelChoice, OffersNamesThatItTakes) {
    // a luminance beside red is no picture of its own, which would have the same name
    EXPECT_EQ(choose_color(file_of(part_with({"Y", "R", ".Y"})), "").red, 1U);
    EXPECT_EQ(choose_color(file_of(part_with({"Y", ".Y"})), "").red, 0U);

    const picture files[] = {
        blender_file(), stereo_in_one_part(), two_views(),
        file_of(part_with({"R", "G", "B"}, "a"), part_with({"b.R", "b.G", "b.B"}, "b"),
                part_with({"a.R", "a.G", "a.B"}, "c")),
        file_of(part_with({"R", "G", "B", "rgba.R", "rgba.G", "rgba.B"}))};
    for (const picture& file : files) {
        for (const color_channels& color : color_candidates(file)) {
            const std::string name = layer_name(file, color);
            const color_channels chosen = choose_color(file, name);
            EXPECT_EQ(chosen.part, color.part) << name;
            EXPECT_EQ(chosen.red, color.red) << name;
            for (const channel_place& depth : depth_candidates(file, color)) {
                EXPECT_EQ(choose_depth(file, color, full_name(file, depth)), depth);
            }
        }
    }
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
        {error_of([&] { choose_depth(depths, color, "Zed"); }), "are: far.Z, near.Z, "},
        {error_of([&] { choose_depth(depths, color, "neer.Z"); }), "mean \"near.Z\"?"},
        {error_of([&] { choose_color(blender_file(), "diffcol"); }), "mean \"ViewLayer."},
        {error_of([&] { choose_color(colourless, ""); }), "u, v"}};
    for (const auto& [error, part] : told) {
        EXPECT_NE(error.find(part), std::string::npos) << error;
    }
}
