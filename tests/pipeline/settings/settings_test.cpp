// Settings as texts, in files and as presets: what comes back, and what is refused.

#include <unistd.h>

#include <fstream>

#include "host/text.h"
#include "pipeline/session/session.h"
#include "pipeline/settings/hidden_controls.h"
#include "pipeline/settings/lens_note.h"
#include "pipeline/settings/presets.h"
#include "pipeline/settings/setting_value.h"
#include "pipeline/settings/settings_file.h"
#include "tests/support/tool_fixture.h"

using namespace focusfall;

namespace {

namespace fs = std::filesystem;
using headless::animation;
using headless::control;
using headless::control_kind;
using headless::interpolation;

session_options plugin_options() {
    session_options options;
    options.plugins = {PLUGIN_FILE};
    options.threads = 1;
    return options;
}

std::string content_of(const fs::path& file) {
    std::ifstream stream(file);
    return {std::istreambuf_iterator<char>(stream), {}};
}

class Settings : public testing::Test {
  protected:
    Settings()
        : folder(fs::temp_directory_path() /
                 ("focusfall-settings-" + std::to_string(getpid()))),
          file(folder / "shot.json"),
          tool(opened.create_tool()) {
        fs::create_directories(folder);
    }
    ~Settings() override { fs::remove_all(folder); }

    void write(const std::string& text) const { std::ofstream(file) << text; }
    void restore(const std::string& text) const {
        write(text);
        tool->restore(read_settings_file(file, *tool));
    }
    double value(const char* id, TimeStamp time = 0) const {
        return tool->find(id).number(time);
    }

    const fs::path folder;
    const fs::path file;
    session opened{plugin_options()};
    const std::unique_ptr<headless::tool> tool;
};

void edit_at_random(headless::tool& tool, std::mt19937& random) {
    std::uniform_real_distribution<double> number(0.0, 400.0);
    for (const control* input : tool.controls()) {
        const auto& info = input->info();
        if (!info.is_number()) continue;
        const auto any = [&] {
            if (info.kind == control_kind::CHECKBOX) return double(random() % 2);
            if (!info.items.empty()) return double(random() % info.items.size());
            return info.allowed(number(random) - (info.lowest ? 0.0 : 200.0));
        };
        const double start = number(random) - 200.0;
        const auto between = static_cast<interpolation>(random() % 2);
        tool.replace(info.id,
                     random() % 3 == 0
                         ? animation({{start, any()}, {start + 7, any()}}, between)
                         : animation(any()));
    }
}

}  // namespace

TEST_F(Settings, ComeBackFromTheirFileExactly) {
    std::mt19937 random(5);
    const auto picture = small_picture();
    for (int round = 0; round < 20; ++round) {
        edit_at_random(*tool, random);
        // makes the three coupled values inconsistent, which the file must keep
        tool->set("ApertureDiameter", 7.0 / 3.0, 3);
        tool->set("FocusPosition", -0.0, 2);
        tool->set("DocUrl", "line\nbreak \"quoted\"");
        save_settings_file(file, *tool);
        const auto again = opened.create_tool();
        again->restore(read_settings_file(file, *again));

        for (const control* input : tool->controls()) {
            const control& read = again->find(input->info().id);
            EXPECT_EQ(read.curve(), input->curve()) << input->info().id;
            EXPECT_EQ(read.text(), input->text());
        }
        tool->connect("Input", picture.get());
        again->connect("Input", picture.get());
        const headless::render_order order = {.time = static_cast<TimeStamp>(round)};
        const auto expected = tool->render(order);
        const auto rendered = again->render(order);
        ASSERT_TRUE(expected.image && rendered.image) << expected.error;
        EXPECT_TRUE(same_pixels(*expected.image, *rendered.image));
    }
}

// Coupled controls that the file leaves out are computed, whatever the order in the file.
TEST_F(Settings, OfAPartAreCompletedByTheTool) {
    const struct {
        const char* text;
        double length, stop, aperture;
    } cases[] = {
        {R"({"FocalLength": 50, "FStop": 4})", 50, 4, 12.5},
        {R"({"FStop": 4, "FocalLength": 50})", 50, 4, 12.5},
        {R"({"ApertureDiameter": 10, "FocalLength": 50})", 50, 5, 10},
        {R"({"FocalLength": 70})", 70, 2, 35},
        {R"({"ApertureDiameter": 10, "FocalLength": 50, "FStop": 3})", 50, 3, 10},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        restore(R"({"FocalLength": 35, "FStop": 2, "ApertureDiameter": 17.5})");
        restore(c.text);
        EXPECT_EQ(value("FocalLength"), c.length);
        EXPECT_EQ(value("FStop"), c.stop);
        EXPECT_EQ(value("ApertureDiameter"), c.aperture);
    }
    restore(R"({"SettingsType": "Advanced"})");
    EXPECT_TRUE(tool->find("FilmbackWidth").is_visible());
}

TEST_F(Settings, TakeEveryFormOfValue) {
    restore(R"({
        "comment": "a focus pull", "source": "tests", "FocusPosition":
        [[1, 1200], [48.5, 3400], "smooth"], "BlurStyle": [[-3, "Polygon"], [7, 2]],
        "InvertDepthMap": true, "Normalize": 0, "DepthMapUnits": 3, "DocUrl": "x"})");
    EXPECT_EQ(tool->find("FocusPosition").curve(),
              animation({{1, 1200}, {48.5, 3400}}, interpolation::SMOOTH));
    EXPECT_EQ(tool->find("BlurStyle").curve(),
              animation({{-3, 1}, {7, 2}}, interpolation::STEP));
    EXPECT_EQ(value("InvertDepthMap"), 1);
    EXPECT_EQ(value("Normalize"), 0);
    EXPECT_EQ(value("DepthMapUnits"), 3);
    EXPECT_EQ(tool->find("DocUrl").text(), "x");
}

TEST_F(Settings, ThatAreWrongAreNamedByFileAndLine) {
    const struct {
        const char* text;
        const char* fault;
    } cases[] = {
        {"\n\n'FocusPositon': 1}",
         ":3: there is no control \"FocusPositon\"; did you mean \"FocusPosition\"?"},
        {"'BlurStyle': 'Disc'}",
         ":1: BlurStyle: has no item \"Disc\"; did you mean \"Disk\"?"},
        {"'BlurStyle': true}", ":1: BlurStyle: must be the text of an item, not true"},
        {"'FStop': '2'}", ":1: FStop: must be a number, not \"2\""},
        {"'Normalize': 'on'}", ":1: Normalize: must be true or false, not \"on\""},
        {"'Normalize': 0.5}", ":1: Normalize: is on (1) or off (0), not 0.5"},
        {"'DocUrl': 1}", ":1: DocUrl: must be a text, not 1"},
        {"'comment': 1}", ":1: comment: must be a text"},
        {"\n'MaxBlurSize': 25.5}", ":2: MaxBlurSize: 25.5 is out of range: 0 to 25"},
        {"\n'FStop': [[1, 2],\n[2, 0]]}", ":2: FStop: 0 is out of range: 1 and up"},
        {"'FStop': [[2, 2], [2, 3]]}",
         ":1: FStop: keys must be in ascending order of time, but 2 follows 2"},
        {"'FStop': []}", ":1: FStop: needs at least one key in its list"},
        {"'FStop': ['smooth', [1, 2]]}", ":1: FStop: \"smooth\" is not a key"},
        {"'BlurStyle': [[1, 0], 'smooth']}", ":1: BlurStyle: changes in steps"},
        {"'FStop': 2,\n'FStop': 3}", ":2: FStop: is given twice"},
        {"\n'FStop': 2,\n}", ":3: is not valid JSON: syntax error"},
        {"'FStop': 1e999}", ":1: has a number that is too large"},
    };
    const animation before = tool->find("FocalLength").curve();
    for (const auto& c : cases) {
        // a good value before the fault must not be applied
        std::string text = std::string("{'FocalLength': 99,") + c.text;
        std::ranges::replace(text, '\'', '"');
        const std::string fault = error_of([&] { restore(text); });
        EXPECT_TRUE(fault.starts_with(file.string() + c.fault)) << fault;
        EXPECT_EQ(fault.find('\n'), fault.npos);
        EXPECT_EQ(tool->find("FocalLength").curve(), before) << c.text;
    }
    for (const auto& [text, fault] :
         {std::pair{"[]", ":1: must be one object"}, {"", ": cannot be read, or is"}}) {
        const std::string told = error_of([&, what = text] { restore(what); });
        EXPECT_TRUE(told.starts_with(file.string() + fault)) << told;
    }
    write("{}");
    fs::resize_file(file, fs::file_size(file) + (std::uintmax_t{4} << 30));
    EXPECT_EQ(error_of([&] { read_settings_file(file, *tool); }),
              file.string() +
                  ": is larger than 16 MB, which no settings file is; name another");
    // a message that quoted this value would overflow the stack
    const std::string open(200'000, '[');
    EXPECT_EQ(error_of([&] {
                  restore("{\"FStop\": " + open + std::string(open.size(), ']') + "}");
              }),
              file.string() + ":1: is nested too deeply");
}

TEST_F(Settings, OnTheCommandLineAreValuesOrKeys) {
    const auto set = [&](const char* id, const char* text) {
        tool->replace(id, parsed_setting(tool->find(id).info(), text));
        return tool->find(id).curve();
    };
    EXPECT_EQ(set("FocusPosition", "1:1200,48:3400"),
              animation({{1, 1200}, {48, 3400}}, interpolation::LINEAR));
    EXPECT_EQ(shown_setting(tool->find("FocusPosition")), "1:1200,48:3400");
    EXPECT_EQ(set("FocusPosition", "-1.5:1200,48:1e3,smooth"),
              animation({{-1.5, 1200}, {48, 1000}}, interpolation::SMOOTH));
    EXPECT_EQ(shown_setting(tool->find("FocusPosition")), "-1.5:1200,48:1000,smooth");
    EXPECT_EQ(set("BlurStyle", "1:Airy Disk,9:disk"),
              animation({{1, 3}, {9, 0}}, interpolation::STEP));
    EXPECT_EQ(set("Normalize", "5:off"), animation({{5, 0}}, interpolation::STEP));
    // edits are limited to the range
    EXPECT_EQ(set("MaxBlurSize", "90"), animation(25.0));
    set("DocUrl", "1:2,3:4");
    EXPECT_EQ(tool->find("DocUrl").text(), "1:2,3:4");

    for (const char* wrong :
         {"1:", ":5", "1:2,", "1:2,,3:4", "2:1,1:2", "1:2,1:3", "x:1", "inf:1", "1:nan",
          "1:2,smooth,3:4", "1:2,x", "", "smooth"}) {
        const std::string fault = error_of([&] { set("FStop", wrong); });
        EXPECT_TRUE(fault.starts_with("FStop: ")) << wrong << ": " << fault;
    }
    EXPECT_NE(error_of([&] { set("BlurStyle", "1:0,2:1,smooth"); }), "");
}

TEST_F(Settings, OfTheLineWinOverTheFileAndLaterFilesOverEarlier) {
    write(R"({"FocusPosition": [[1, 5], [9, 6]], "FilmbackWidth": 30, "FStop": 8})");
    session_options options = plugin_options();
    options.settings = {"super-16", file.string()};
    options.edits = {"FocusPosition=7", "FocalLength=64"};
    const auto made = session(options).create_tool();
    EXPECT_EQ(made->find("FocusPosition").curve(), animation(7.0));
    EXPECT_EQ(made->find("FilmbackWidth").number(0), 30);
    EXPECT_EQ(made->find("SettingsType").number(0), 1);
    EXPECT_EQ(made->find("ApertureDiameter").number(0), 8);
}

TEST_F(Settings, ReplaceTheirFileWholeOrNotAtAll) {
    write("of old");
    save_settings_file(file, *tool);
    const std::string saved = content_of(file);
    EXPECT_TRUE(saved.starts_with("{\n  \"BlurChannel\": \"Z\",\n")) << saved;
    EXPECT_TRUE(saved.ends_with("\n}\n"));

    tool->set("DocUrl", "\xff");
    EXPECT_NE(error_of([&] { save_settings_file(file, *tool); }), "");
    EXPECT_EQ(content_of(file), saved);
    EXPECT_NE(error_of([&] { save_settings_file(folder / "none" / "x.json", *tool); }),
              "");
    EXPECT_NE(error_of([&] { save_settings_file(folder, *tool); }), "");
    EXPECT_EQ(std::distance(fs::directory_iterator(folder), fs::directory_iterator()), 1);
}

TEST_F(Settings, ThatAreInstalledSayWhereTheirFiguresComeFrom) {
    const std::vector<preset> presets = installed_presets();
    EXPECT_EQ(presets.size(), 6);
    for (const preset& installed : presets) {
        SCOPED_TRACE(installed.name);
        EXPECT_FALSE(installed.content.value("comment", "").empty());
        EXPECT_EQ(settings_file_named(installed.name), installed.file);
        tool->restore(read_settings_file(installed.file, *tool));
        EXPECT_EQ(value("SettingsType"), 1);
        // the source states the width, in millimetres or by pixels
        const std::string source = installed.content.value("source", "");
        const std::string width = headless::shortest(value("FilmbackWidth"));
        EXPECT_NE(source.find(installed.name == "phone" ? "8000" : width + " mm x"),
                  source.npos);
    }
    EXPECT_NE(error_of([] { settings_file_named("super35"); }).find("\"super-35\"?"),
              std::string::npos);
    EXPECT_NE(error_of([] { settings_file_named("/no/such.json"); }), "");
}

TEST_F(Settings, WithoutEffectAreToldWithTheSettingThatShowsThem) {
    const auto told = [&](const std::vector<std::string>& ids) {
        return edits_without_effect(*tool, ids);
    };
    using lines = std::vector<std::string>;
    EXPECT_EQ(told({"MaxBlurSize", "FStop", "FocalLength", "FStop"}),
              lines{"FStop, FocalLength: no effect unless SettingsType=Advanced"});
    EXPECT_FALSE(tool->find("FStop").is_visible());  // settings were tried, and undone
    tool->set("SettingsType", "Advanced");
    EXPECT_EQ(told({"MaxBlurSize", "FStop"}),
              lines{"MaxBlurSize: no effect unless SettingsType=Simple"});
    EXPECT_EQ(told({"FStop"}), lines{});
    // keys may show a control in some frames only
    tool->replace("SettingsType", animation({{1, 0}, {9, 1}}, interpolation::STEP));
    EXPECT_EQ(told({"MaxBlurSize", "FStop"}), lines{});
}

TEST_F(Settings, ThatCannotBeMadeNameTheirFault) {
    const auto fault_of = [](const session_options& options) {
        return error_of([&] { session(options).create_tool(); });
    };
    session_options options = plugin_options();
    options.edits = {"FocusPositon=3"};
    EXPECT_EQ(fault_of(options),
              "there is no control \"FocusPositon\"; did you mean \"FocusPosition\"? "
              "(`focusfall controls` lists all controls)");
    options.edits = {"FStop"};
    EXPECT_EQ(fault_of(options), "FStop: has no value; write FStop=VALUE");
    options.tool_id = "kestrelworks.Focusfal";
    EXPECT_EQ(fault_of(options),
              "there is no tool class \"kestrelworks.Focusfal\"; did you mean "
              "\"kestrelworks.Focusfall\"?");
    options.plugins = {"/no/such/plugin.so"};
    EXPECT_TRUE(fault_of(options).starts_with("/no/such/plugin.so: "));
}

// The f-stop goes down to 1: half of it is not to be had.
TEST_F(Settings, ThatNoLensHasAreNoted) {
    tool->set("SettingsType", "Advanced");
    tool->set("FocalLength", 50);
    tool->set("ApertureDiameter", 33.333);
    EXPECT_EQ(lens_note(*tool), "");
    tool->set("ApertureDiameter", 100);
    EXPECT_EQ(lens_note(*tool),
              "ApertureDiameter: no effect, for ApertureDiameter=100 does not go with "
              "FocalLength=50 and FStop=1");
    tool->set("FocalLength", 50);  // makes the aperture anew
    EXPECT_EQ(lens_note(*tool), "");

    tool->replace("ApertureDiameter",
                  animation({{1, 20}, {9, 80}}, interpolation::LINEAR));
    EXPECT_NE(lens_note(*tool).find("ApertureDiameter=80"), std::string::npos);
    tool->set("SettingsType", "Simple");
    EXPECT_EQ(lens_note(*tool), "") << "no lens is asked for";
}
