// Several layers or views of a file, rendered in one run.

#include <cmath>

#include "pipeline/shots/shot_files.h"
#include "tests/pipeline/shots/shot_fixture.h"

using namespace focusfall;

namespace {

using OIIO::TypeDesc;

const window DISPLAY{0, 0, 60, 40};

class Layers : public shot_test {
  protected:
    Layers() {
        tool->set("MaxBlurSize", 8.0);
        tool->set("FocusPosition", 2.0);
    }

    picture rendered_layers(const std::string& input,
                            const std::vector<std::string>& layers,
                            const std::string& depth = {}) {
        shot_options options = shot(input, "out.exr");
        options.load.layers = layers;
        options.load.depth_channel = depth;
        return rendered(options);
    }
};

// The scene of a seed with a name before that of each channel.
std::vector<made_channel> named_scene(const std::string& layer, int seed) {
    std::vector<made_channel> channels = scene_channels(seed);
    for (made_channel& channel : channels) channel.name = layer + channel.name;
    return channels;
}

std::vector<made_channel> joined(std::vector<made_channel> a,
                                 const std::vector<made_channel>& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

picture_part view_part(const std::string& view, int seed, const window& data) {
    picture_part part = made_part(data, DISPLAY, scene_channels(seed));
    part.spec.attribute("oiio:subimagename", "picture_" + view);
    part.spec.attribute("view", view);
    return part;
}

std::vector<picture_part> both_parts(picture_part a, picture_part b) {
    std::vector<picture_part> parts;
    parts.push_back(std::move(a));
    parts.push_back(std::move(b));
    return parts;
}

}  // namespace

TEST_F(Layers, ShareOneDepthAndAreAllReplaced) {
    auto channels = joined(named_scene("", 1), named_scene("light.", 2));
    channels.push_back({"id", TypeDesc::UINT, [](int x, int y) { return x + 1e-3 * y; }});
    write("in.exr", made_part(DISPLAY, DISPLAY, channels));
    const picture in = read_picture(path("in.exr"));
    const picture plain = rendered_layers("in.exr", {});
    const picture light = rendered_layers("in.exr", {"light"}, "Z");
    const picture both = rendered_layers("in.exr", {"rgba", "light", "light"});

    for (const char* name : {"R", "B", "A", "Z"}) {
        EXPECT_EQ(values(both[0], name), values(plain[0], name)) << name;
    }
    for (const char* name : {"light.R", "light.B", "light.A"}) {
        EXPECT_EQ(values(both[0], name), values(light[0], name)) << name;
    }
    EXPECT_NE(values(both[0], "light.R"), values(in[0], "light.R"));
    for (const char* name : {"light.Z", "id"}) {
        EXPECT_EQ(stored(both[0], name, DISPLAY), stored(in[0], name, DISPLAY)) << name;
    }
    EXPECT_EQ(both[0].spec.channelnames, in[0].spec.channelnames);
}

TEST_F(Layers, GetOneZWhereTheDepthHasAnotherName) {
    auto channels = joined(named_scene("", 1), named_scene("light.", 2));
    channels[4].name = "VRayZDepth.R";
    channels.erase(channels.end() - 1);
    write("in.exr", made_part(DISPLAY, DISPLAY, channels));
    const picture out = rendered_layers("in.exr", {"rgba", "light"});
    EXPECT_EQ(out[0].spec.nchannels, static_cast<int>(channels.size()) + 1);
    EXPECT_EQ(values(out[0], "Z"), values(out[0], "VRayZDepth.R"));
}

TEST_F(Layers, OfAllViewsHaveTheirOwnDepths) {
    // the right view brings a wider data window, which both are rendered in
    const window wide{-4, 0, 64, 40};
    write("in.exr",
          both_parts(view_part("left", 1, DISPLAY), view_part("right", 2, wide)));
    const picture left = rendered_layers("in.exr", {"left"});
    const picture both = rendered_layers("in.exr", {"all-views"});
    const picture right = rendered_layers("in.exr", {"right"});
    for (const char* name : {"R", "A", "Z"}) {
        EXPECT_EQ(values(both[1], name), values(right[1], name)) << name;
        EXPECT_EQ(stored(both[1], name, wide), stored(right[1], name, wide)) << name;
    }
    EXPECT_EQ(data_window(both[0].spec), wide);
    EXPECT_EQ(values(left[0], "Z"), values(read_picture(path("in.exr"))[0], "Z"));

    shot_options options = shot("in.exr", "out.exr");
    options.output_as.diameter_channel = "blur";
    options.load.layers = {"right"};
    const picture alone = rendered(options);
    options.load.layers = {ALL_VIEWS};
    options.preview = path("look.png");
    EXPECT_EQ(values(rendered(options)[1], "blur"), values(alone[1], "blur"));
    const std::string told = "look.png: shows the first of 2 layers";
    EXPECT_TRUE(std::ranges::any_of(
        noted, [&](const std::string& note) { return note.starts_with(told); }));
}

TEST_F(Layers, AreAllFreedOfWhatIsNotFinite) {
    auto broken = named_scene("b.", 2);
    broken[0].value = [](int x, int y) { return x == 9 && y == 9 ? NAN : 0.5; };
    write("in.exr", made_part(DISPLAY, DISPLAY, joined(named_scene("a.", 1), broken)));
    shot_options options = shot("in.exr", "out.exr");
    options.load.layers = {"a", "b"};
    options.load.depth_channel = "a.Z";
    options.load.light.drop_non_finite = true;
    for (const float red : values(rendered(options)[0], "b.R")) {
        ASSERT_TRUE(std::isfinite(red));
    }
}

// A compression that loses a little may alter what is new, not what passes through.
TEST_F(Layers, KeepALossyCompressionWhereAllAreReplaced) {
    const auto compression_of = [&](const std::vector<made_channel>& channels,
                                    const std::vector<std::string>& layers) {
        picture_part part = made_part(DISPLAY, DISPLAY, channels);
        part.spec.attribute("compression", "dwaa");
        write("in.exr", std::move(part));
        const picture out = rendered_layers("in.exr", layers);
        return std::string(out[0].spec.get_string_attribute("compression"));
    };
    auto channels = joined(named_scene("", 1), named_scene("light.", 2));
    channels.pop_back();  // a depth of its own
    tool->set("FocusPosition", 300.0);
    EXPECT_EQ(compression_of(channels, {"rgba", "light"}), "dwaa");
    EXPECT_TRUE(noted.empty()) << noted[0];
    EXPECT_EQ(compression_of(channels, {"light"}), "zip");
    EXPECT_EQ(noted.size(), 1U);
    channels.push_back({"id.R", TypeDesc::HALF, [](int x, int) { return x; }});
    EXPECT_EQ(compression_of(channels, {"rgba", "light"}), "zip");
}

// The first view of a single part needs no name, and would be taken for the whole
// picture.
TEST_F(Layers, TellsOfTheViewsThatAreNotTaken) {
    picture_part part =
        made_part(DISPLAY, DISPLAY, joined(named_scene("", 1), named_scene("left.", 2)));
    const char* const names[] = {"right", "left"};
    part.spec.attribute("multiView", TypeDesc(TypeDesc::STRING, 2), names);
    write("in.exr", std::move(part));
    tool->set("FocusPosition", 300.0);
    rendered_layers("in.exr", {});
    ASSERT_EQ(noted.size(), 1U);
    EXPECT_EQ(noted[0],
              "in.exr: has the views right, left, of which right is taken; --layer "
              "all-views takes each with its own depth");
    for (const char* layer : {"rgba", "left", "all-views"}) {
        rendered_layers("in.exr", {layer});
        EXPECT_TRUE(noted.empty()) << noted[0];
    }
}

TEST_F(Layers, AreRefusedWhereTheyCannotBe) {
    write("in.exr",
          both_parts(view_part("left", 1, DISPLAY), view_part("right", 2, DISPLAY)));
    shot_options options = shot("in.exr", "out.png");
    for (const bool all : {false, true}) {
        options.load.layers = {"left", "right"};
        if (all) options.load.layers = {"all-views"};
        EXPECT_NE(error_of([&] { check_names(options); }).find("out.png: holds one"),
                  std::string::npos);
    }
    write_scene("plain.exr", DISPLAY, DISPLAY);
    const auto error = [&](const std::string& input, std::vector<std::string> layers) {
        return error_of([&] { rendered_layers(input, layers); });
    };
    EXPECT_NE(error("plain.exr", {"all-views"}).find("has no views"), std::string::npos);
    EXPECT_NE(error("in.exr", {"all-views", "left"}).find("stands alone"),
              std::string::npos);
    EXPECT_NE(error("in.exr", {}).find("left, picture_right, or all-views"),
              std::string::npos);
    // a view without a depth must not be blurred by another's
    auto depthless = scene_channels();
    depthless.pop_back();
    picture_part right = made_part(DISPLAY, DISPLAY, depthless);
    right.spec.attribute("oiio:subimagename", "picture_right");
    right.spec.attribute("view", "right");
    write("one.exr", both_parts(view_part("left", 1, DISPLAY), std::move(right)));
    EXPECT_NE(error("one.exr", {"all-views"}).find("has no depth of the view right"),
              std::string::npos);
}
