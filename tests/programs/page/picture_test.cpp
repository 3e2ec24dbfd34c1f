// What a page gets to see, and that it is what the command would render.

#include <cmath>
#include <filesystem>
#include <thread>

#include <OpenImageIO/filesystem.h>

#include "pipeline/settings/setting_value.h"
#include "tests/programs/page/page_fixture.h"

namespace focusfall {
namespace {

class pages : public page_test {
  protected:
    // The pixels of a JPEG file, three numbers each.
    static std::vector<float> pixels(const got_answer& answer) {
        OIIO::Filesystem::IOMemReader stream(answer.body.data(), answer.body.size());
        const auto input = OIIO::ImageInput::open("view.jpg", nullptr, &stream);
        EXPECT_TRUE(input) << answer.body;
        if (!input) return {};
        std::vector<float> values(static_cast<std::size_t>(input->spec().image_pixels()) *
                                  3);
        input->read_image(0, 0, 0, 3, OIIO::TypeDesc::FLOAT, values.data());
        return values;
    }
    static double mean(const std::vector<float>& values) {
        double sum = 0.0;
        for (const float value : values) sum += static_cast<double>(value);
        return sum / static_cast<double>(values.size());
    }
    // How much neighbours differ: less where it is blurred.
    static double roughness(const std::vector<float>& values) {
        double sum = 0.0;
        for (std::size_t i = 3; i < values.size(); ++i) {
            sum += static_cast<double>(std::abs(values[i] - values[i - 3]));
        }
        return sum;
    }
    std::string version() const { return get("api/state").json().at("version").dump(); }
    // The newest picture in full.
    got_answer newest(const std::string& query = "") const {
        return get("api/picture?" + query);
    }
};

TEST_F(pages, ShowTheNewestValuesOnly) {
    serve();
    const got_answer first = newest();
    EXPECT_EQ(first.status, 200);
    EXPECT_EQ(first.header("X-Version"), "1");
    EXPECT_EQ(first.header("X-Detail"), "full");  // so few pixels need no smaller picture
    EXPECT_EQ(first.header("X-Rows"), "64");

    // waits for something newer
    raw_client waiting(port());
    waiting.send(request("GET", "api/picture?version=1&detail=full"));
    EXPECT_FALSE(waiting.is_closed_within(200));
    post("api/set", {{"id", "MaxBlurSize"}, {"value", 15}});
    const std::string answer = waiting.read_answer();
    EXPECT_NE(answer.find("X-Version: 2"), answer.npos) << answer.substr(0, 400);
    EXPECT_LT(roughness(pixels(newest())), 0.8 * roughness(pixels(first)));
}

TEST_F(pages, GoOnWithAnotherToolAndBack) {
    serve();
    post("api/focus", {{"x", 60}, {"y", 20}});
    post("api/set", {{"id", "MaxBlurSize"}, {"value", 9}});
    const page_json with_fast = get("api/state").json();
    const auto of_fast = pixels(newest());
    EXPECT_EQ(with_fast.at("tool"), "fast");
    EXPECT_EQ(with_fast.at("tools"), page_json({"fast", "layered"}));

    const page_json with_layered = post("api/tool", {{"tool", "layered"}}).json();
    EXPECT_EQ(with_layered.at("tool"), "layered");
    EXPECT_EQ(value(with_layered, "MaxBlurSize"), 9);
    EXPECT_EQ(with_layered.at("mark"), with_fast.at("mark"));
    EXPECT_TRUE(with_layered.at("values").contains("HiddenFill"));
    EXPECT_EQ(get("api/controls").json().size(), with_layered.at("values").size());
    EXPECT_NE(pixels(newest()), of_fast);
    EXPECT_NE(get("api/line").body.find(" --tool layered "), std::string::npos);
    EXPECT_EQ(get("api/pixel?x=60&y=20").json().at("diameter"), 0);

    post("api/set", {{"id", "HiddenFill"}, {"value", false}});
    post("api/undo");
    const page_json again = post("api/undo").json();  // the choice of the tool
    EXPECT_EQ(again.at("tool"), "fast");
    EXPECT_EQ(again.at("values"), with_fast.at("values"));
    EXPECT_EQ(pixels(newest()), of_fast);
    EXPECT_EQ(post("api/redo").json().at("tool"), "layered");

    EXPECT_EQ(post("api/tool", {{"tool", "layred"}}).status, 400);
    EXPECT_EQ(get("api/state").json().at("tool"), "layered");
}

TEST_F(pages, ReplaceAnEarlierWishForTheSamePlace) {
    serve();
    raw_client earlier(port());
    earlier.send(request("GET", "api/picture?version=1&detail=full&place=a"));
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    raw_client later(port());
    later.send(request("GET", "api/picture?version=1&detail=full&place=a"));
    EXPECT_NE(earlier.read_answer().find("204"), std::string::npos);
    post("api/set", {{"id", "MaxBlurSize"}, {"value", 5}});
    EXPECT_NE(later.read_answer().find("200"), std::string::npos);
}

TEST_F(pages, RenderNothingThatNobodyWaitsFor) {
    serve();
    { raw_client(port()).send(request("GET", "api/picture?version=1&detail=full")); }
    for (int i = 0; i < 300; ++i) {
        post("api/set", {{"id", "MaxBlurSize"}, {"value", i * 0.05}, {"group", "drag"}});
    }
    page_json state = get("api/state").json();
    EXPECT_FALSE(state.at("busy"));
    EXPECT_DOUBLE_EQ(value(state, "MaxBlurSize"), 299 * 0.05);
    EXPECT_EQ(newest().header("X-Version"), state.at("version").dump());
    EXPECT_FALSE(get("api/state").json().at("busy"));
}

TEST_F(pages, ShowEveryViewBesideALegend) {
    serve();
    post("api/focus", {{"x", 40}, {"y", 20}});
    for (const char* view : {"result", "input", "depth", "focus", "diameter"}) {
        const got_answer answer = newest(std::string("view=") + view);
        EXPECT_EQ(answer.status, 200) << view << answer.body;
        EXPECT_EQ(answer.header("X-Rows"), "64") << view;
        const bool has_legend =
            std::string(view) == "depth" || std::string(view) == "diameter";
        EXPECT_EQ(pixels(answer).size() > 96 * 64 * 3, has_legend) << view;
    }
    // what is at the focus is green
    const std::vector<float> focus = pixels(newest("view=focus"));
    const float* marked = &focus[(20 * 96 + 40) * 3];
    EXPECT_GT(marked[1], marked[0]);
    EXPECT_GT(marked[1], marked[2]);
}

TEST_F(pages, ShowLightAsItIsAskedFor) {
    serve();
    const double usual = mean(pixels(newest("view=input")));
    EXPECT_GT(mean(pixels(newest("view=input&exposure=1"))), usual);
    EXPECT_LT(mean(pixels(newest("view=input&exposure=-2"))), usual);
    EXPECT_LT(mean(pixels(newest("view=input&transform=linear"))), usual);
    EXPECT_EQ(newest("transform=none").status, 422);
    // false colours are no light
    EXPECT_EQ(newest("view=depth").body, newest("view=depth&exposure=2").body);
}

TEST_F(pages, SetTheFocusToTheDepthUnderTheClick) {
    serve();
    const page_json pixel = get("api/pixel?x=70&y=30").json();
    const page_json state = post("api/focus", {{"x", 70}, {"y", 30}}).json();
    EXPECT_FLOAT_EQ(value(state, "FocusPosition").get<float>(),
                    pixel.at("depth").get<float>());
    EXPECT_EQ(state.at("mark"), (page_json{{"x", 70}, {"y", 30}, {"frame", 0}}));
    EXPECT_NEAR(get("api/pixel?x=70&y=30").json().at("diameter").get<double>(), 0.0,
                1e-3);
}

TEST_F(pages, KeepAClickUntilItsFrameWasRead) {
    serve({}, {1, 2, 3});
    post("api/frame", {{"frame", 2}});
    const got_answer clicked = post("api/focus", {{"x", 30}, {"y", 20}});
    ASSERT_EQ(clicked.status, 200) << clicked.body;
    EXPECT_EQ(clicked.json().at("mark"), (page_json{{"x", 30}, {"y", 20}, {"frame", 2}}));
    EXPECT_GT(value(clicked.json(), "FocusPosition"), 0.0);

    std::filesystem::remove(path("in.0003.exr"));
    post("api/frame", {{"frame", 3}});
    for (int i = 0; i < 2; ++i) {
        const got_answer refused = post("api/focus", {{"x", 30}, {"y", 20}});
        EXPECT_EQ(refused.status, 400);
        EXPECT_NE(refused.body.find("in.0003.exr"), std::string::npos) << refused.body;
    }
}

TEST_F(pages, ShowTheKernelOfTheStyle) {
    serve();
    const got_answer disk = newest("view=kernel");
    ASSERT_EQ(disk.status, 200) << disk.body;
    EXPECT_EQ(disk.header("X-Detail"), "full");
    post("api/set", {{"id", "BlurStyle"}, {"value", "Polygon"}});
    const got_answer polygon = newest("view=kernel");
    // a hexagon covers 5/6 of the disk around it
    EXPECT_LT(mean(pixels(polygon)), 0.92 * mean(pixels(disk)));
    EXPECT_GT(mean(pixels(polygon)), 0.7 * mean(pixels(disk)));
}

TEST_F(pages, FollowWhatTheToolChangesAndHides) {
    serve();
    page_json state = get("api/state").json();
    EXPECT_FALSE(state.at("values").at("FStop").at("visible"));
    EXPECT_TRUE(state.at("values").at("MaxBlurSize").at("visible"));
    state = post("api/set", {{"id", "SettingsType"}, {"value", "Advanced"}}).json();
    EXPECT_TRUE(state.at("values").at("FStop").at("visible"));
    EXPECT_FALSE(state.at("values").at("MaxBlurSize").at("visible"));

    post("api/set", {{"id", "FocalLength"}, {"value", 50}});
    state = post("api/set", {{"id", "FStop"}, {"value", "2.5"}}).json();
    EXPECT_DOUBLE_EQ(value(state, "ApertureDiameter"), 20.0);
    state = post("api/set", {{"id", "ApertureDiameter"}, {"value", 10}}).json();
    EXPECT_DOUBLE_EQ(value(state, "FStop"), 5.0);

    const page_json controls = get("api/controls").json();
    for (const page_json& control : controls) {
        EXPECT_TRUE(state.at("values").contains(control.at("id").get<std::string>()));
        EXPECT_NE(control.at("kind"), "image");
    }
}

TEST_F(pages, UndoPictureAndPanel) {
    serve();
    const page_json first = get("api/state").json();
    const std::string picture = newest().body;
    post("api/set", {{"id", "SettingsType"}, {"value", "Advanced"}});
    for (int i = 0; i < 20; ++i) {  // one drag
        post("api/set", {{"id", "FStop"}, {"value", 1.0 + i}, {"group", "drag"}});
    }
    const page_json last = post("api/focus", {{"x", 5}, {"y", 5}}).json();
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(get("api/state").json().at("can_undo"));
        post("api/undo");
    }
    page_json state = post("api/undo").json();  // one too many
    EXPECT_FALSE(state.at("can_undo"));
    EXPECT_EQ(state.at("values"), first.at("values"));
    EXPECT_EQ(state.at("mark"), nullptr);
    EXPECT_EQ(newest().body, picture);

    for (int i = 0; i < 3; ++i) state = post("api/redo").json();
    EXPECT_EQ(state.at("values"), last.at("values"));
    EXPECT_EQ(state.at("mark"), last.at("mark"));
    post("api/undo");
    state = post("api/set", {{"id", "FStop"}, {"value", 4}}).json();
    EXPECT_FALSE(state.at("can_redo"));
    state = post("api/reset", {{"id", "FStop"}}).json();
    EXPECT_DOUBLE_EQ(value(state, "FStop"), 2.0);
    EXPECT_EQ(post("api/reset").json().at("values"), first.at("values"));
}

TEST_F(pages, ShowTheFramesOfAShotAndKeysInThem) {
    serve({}, {1, 2, 3});
    EXPECT_EQ(get("api/state").json().at("frames"), (page_json{1, 2, 3}));
    EXPECT_EQ(newest().header("X-Frame"), "1");
    page_json state = post("api/frame", {{"frame", 3}}).json();
    EXPECT_EQ(newest("version=1&detail=full").header("X-Frame"), "3");
    post("api/replace",
         {{"id", "MaxBlurSize"}, {"value", page_json::array({{1, 1}, {3, 5}})}});
    state = post("api/frame", {{"frame", 2}}).json();
    EXPECT_DOUBLE_EQ(value(state, "MaxBlurSize"), 3.0);
    state = post("api/set", {{"id", "MaxBlurSize"}, {"value", 4}}).json();
    EXPECT_EQ(state.at("values").at("MaxBlurSize").at("keys"),
              page_json::array({{1, 1}, {2, 4}, {3, 5}}));
}

TEST_F(pages, SayWhichFrameIsMissing) {
    serve({}, {1, 2});
    std::filesystem::remove(path("in.0002.exr"));
    post("api/frame", {{"frame", 2}});
    const got_answer answer = newest();
    EXPECT_EQ(answer.status, 422);
    EXPECT_NE(answer.body.find("in.0002.exr"), answer.body.npos) << answer.body;
    post("api/frame", {{"frame", 1}});
    EXPECT_EQ(newest().status, 200);
}

}  // namespace
}  // namespace focusfall
