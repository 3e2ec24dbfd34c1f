// What leaves a page: settings, the command line, and rendered files.

#include <fstream>
#include <sstream>

#include "pipeline/settings/settings_file.h"
#include "pipeline/shots/shot.h"
#include "programs/page/edit_history.h"
#include "tests/programs/page/page_fixture.h"

namespace focusfall {
namespace {

namespace fs = std::filesystem;

// The page of a folder of its own, in which the test's process is meanwhile.
class page_files : public page_test {
  protected:
    page_files() : before_(fs::current_path()) { fs::current_path(folder()); }
    ~page_files() override { fs::current_path(before_); }

    // The words of a line without quotes.
    static std::vector<std::string> words(const std::string& line) {
        std::istringstream text(line);
        return {std::istream_iterator<std::string>(text), {}};
    }
    // A new tool that the edits of a line were made on.
    std::unique_ptr<headless::tool> tool_of(const std::string& line) const {
        session_options options;
        options.plugins = {FAST_PLUGIN_FILE};
        const std::vector<std::string> all = words(line);
        for (std::size_t i = 0; i + 1 < all.size(); ++i) {
            if (all[i] == "--set") options.edits.push_back(all[i + 1]);
        }
        made_of_lines.push_back(std::make_unique<session>(options));
        return made_of_lines.back()->create_tool();
    }
    // Waits for the end of a render, and gives its last event.
    page_json rendered(raw_client& events) const {
        while (true) {
            const std::string event = events.read_until("\n\n");
            if (event.empty()) return {};
            const std::size_t data = event.find("data: ");
            if (event.find("event: render") == event.npos) continue;
            const page_json news = page_json::parse(event.substr(data + 6));
            if (!news.at("running")) return news;
        }
    }

    mutable std::vector<std::unique_ptr<session>> made_of_lines;

  private:
    fs::path before_;
};

TEST_F(page_files, GiveTheLineThatMakesTheSameValues) {
    serve();
    post("api/set", {{"id", "SettingsType"}, {"value", "Advanced"}});
    post("api/set", {{"id", "FocalLength"}, {"value", 52.7}});
    post("api/set", {{"id", "ApertureDiameter"}, {"value", 7.3}});
    post("api/set", {{"id", "BlurStyle"}, {"value", "Airy Disk"}});
    post("api/set", {{"id", "FStop"}, {"value", 3.3}});
    post("api/replace", {{"id", "KernelAngle"},
                         {"value", page_json::array({{1, 0}, {9, 40}, "smooth"})}});
    post("api/focus", {{"x", 33}, {"y", 12}});
    std::string line = get("api/line").json().at("line");
    EXPECT_TRUE(line.starts_with("focusfall render ")) << line;
    EXPECT_NE(line.find(" 'BlurStyle=Airy Disk'"), line.npos) << line;
    // this test's words have no quotes
    post("api/set", {{"id", "BlurStyle"}, {"value", "Polygon"}});
    line = get("api/line").json().at("line");
    EXPECT_EQ(values_of(*tool_of(line)), values_of(*tool)) << line;
}

TEST_F(page_files, SaveAndOpenSettings) {
    serve();
    post("api/set", {{"id", "MaxBlurSize"}, {"value", 7.25}});
    EXPECT_EQ(post("api/save", {{"file", "look.json"}}).status, 200);
    EXPECT_EQ(read_settings_file("look.json", *tool).size(), 1U);
    EXPECT_EQ(post("api/save", {{"file", "look.json"}}).status, 400);  // it is there
    EXPECT_EQ(post("api/save", {{"file", "look.json"}, {"replace", true}}).status, 200);
    post("api/reset");
    const page_json state = post("api/open", {{"file", "look.json"}}).json();
    EXPECT_DOUBLE_EQ(value(state, "MaxBlurSize"), 7.25);
    EXPECT_EQ(post("api/open", {{"file", "none.json"}}).status, 400);
}

TEST_F(page_files, StayBelowTheFolder) {
    serve();
    fs::create_directory("below");
    fs::create_directory_symlink("/tmp", "linked");
    std::ofstream("kept.json") << "{}";
    fs::create_symlink("kept.json", "link.json");
    for (const char* name : {"", "../out.json", "below/../../out.json", "/tmp/out.json",
                             "linked/out.json", "link.json", ".hidden.json", "below/",
                             "out.exr", "a\nb.json", "missing/out.json"}) {
        for (const char* what : {"api/save", "api/open"}) {
            const got_answer answer = post(what, {{"file", name}, {"replace", true}});
            EXPECT_EQ(answer.status, 400) << what << " " << name << ": " << answer.body;
        }
    }
    EXPECT_EQ(post("api/save", {{"file", "below/out.json"}}).status, 200);
    for (const char* name : {"../out.exr", "/tmp/out.exr", "in.exr", "out.txt"}) {
        EXPECT_EQ(post("api/render", {{"file", name}}).status, 400) << name;
    }
}

TEST_F(page_files, RenderWhatTheCommandWould) {
    serve();
    raw_client events(port());
    events.send(request("GET", "api/events"));
    post("api/set", {{"id", "MaxBlurSize"}, {"value", 9}});
    ASSERT_EQ(post("api/render", {{"file", "page.exr"}}).status, 200);
    EXPECT_EQ(rendered(events).at("text"), "done");

    const auto again = tool_of(get("api/line").json().at("line"));
    shot_options order = shot;
    order.output = path("command.exr");
    shot_observer quiet;
    render_shot(order, *again, quiet);
    const picture by_page = read_picture("page.exr");
    const picture by_command = read_picture("command.exr");
    for (const char* channel : {"R", "G", "B", "A", "Z"}) {
        EXPECT_EQ(values(by_page[0], channel), values(by_command[0], channel)) << channel;
    }
    EXPECT_EQ(hidden_files(), std::vector<std::string>());
}

TEST_F(page_files, RenderAShotAndTellWhatFails) {
    serve({}, {1, 2, 3});
    fs::remove(path("in.0002.exr"));
    raw_client events(port());
    events.send(request("GET", "api/events"));
    ASSERT_EQ(post("api/render", {{"file", "out.####.exr"}}).status, 200);
    const page_json news = rendered(events);
    EXPECT_TRUE(news.value("failed", false)) << news;
    EXPECT_TRUE(fs::exists(out(1)));
    EXPECT_TRUE(fs::exists(out(3)));
    EXPECT_EQ(post("api/stop").status, 200);  // nothing to stop

    // a frame that is there is not replaced unasked
    const page_json one = {{"file", "out.####.exr"}, {"only_this_frame", true}};
    EXPECT_EQ(post("api/render", one).status, 400);
    post("api/frame", {{"frame", 2}});
    EXPECT_EQ(post("api/render", one).status, 200);
}

}  // namespace
}  // namespace focusfall
