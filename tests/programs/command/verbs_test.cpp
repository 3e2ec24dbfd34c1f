// Verbs that need no picture, and colours that are stored encoded.

#include <algorithm>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include <nlohmann/json.hpp>

#include "pipeline/pictures/color_encoding.h"
#include "tests/programs/command/command_fixture.h"

using namespace focusfall;

namespace {

class verbs : public command_test {
  protected:
    std::vector<float> green(const std::string& name) const {
        return values(read_picture(path(name))[0], "G");
    }
};

TEST_F(verbs, DemoMakesASceneAndBlursItInDifferentWays) {
    const run_result ran = run("demo made/here --size 96x54 --quiet");
    ASSERT_EQ(ran.status, 0) << ran.errors;
    EXPECT_EQ(ran.output, "");
    const auto depth = values(read_picture(path("made/here/scene.exr"))[0], "Z");
    EXPECT_EQ(depth.size(), 96U * 54U);
    std::set<std::vector<float>> pictures = {green("made/here/scene.exr")};
    std::set<std::vector<float>> previews = {green("made/here/before.png")};
    for (const std::string style : {"disk", "hexagon", "gaussian", "airy"}) {
        const std::string name = "made/here/after-" + style;
        pictures.insert(green(name + ".exr"));
        previews.insert(green(name + ".png"));
        EXPECT_EQ(values(read_picture(path(name + ".exr"))[0], "Z"), depth) << style;
    }
    EXPECT_EQ(pictures.size(), 5U);
    EXPECT_EQ(previews.size(), 5U);

    EXPECT_EQ(run("demo other --size 96x").status, 2);
    EXPECT_EQ(run("demo made/here/scene.exr/below --size 96x54").status, 1);
}

TEST_F(verbs, KernelsDrawsARowForEachStyleOrOneOfTheBlurImage) {
    write_scene("shape.exr", {0, 0, 20, 20}, {0, 0, 20, 20});
    const auto drawn = [&](const std::string& options) {
        EXPECT_EQ(run("kernels -o k.png --diameter 9,30 " + options).status, 0);
        return read_picture(path("k.png"));
    };
    const picture one = drawn("");
    const picture all = drawn("--all-styles");
    const picture shaped = drawn("--blur-image shape.exr");
    EXPECT_EQ(all[0].spec.width, one[0].spec.width);
    const int pitch = (all[0].spec.height - one[0].spec.height) / 4;
    EXPECT_NE(values(shaped[0], "G"), values(one[0], "G"));

    const std::vector<float> sheet = values(all[0], "G");
    std::set<std::vector<float>> rows;
    for (int row = 0; row < 5; ++row) {
        const int top = one[0].spec.height - pitch + row * pitch;
        const auto start = sheet.begin() + top * all[0].spec.width;
        rows.emplace(start, start + pitch * all[0].spec.width);
    }
    EXPECT_EQ(rows.size(), 5U);
}

// The larger one is drawn larger, and each tells its diameter.
TEST_F(verbs, KernelsDrawsAllToOneScaleWithLabels) {
    const auto drawn = [&](const std::string& diameters) {
        EXPECT_EQ(run("kernels -o k.png --diameter " + diameters).status, 0);
        return read_picture(path("k.png"));
    };
    const auto bright_pixels = [](const picture& sheet, int left, int width, int top,
                                  int height) {
        const std::vector<float> green = values(sheet[0], "G");
        int count = 0;
        for (int i = 0; i < width * height; ++i) {
            const int place = (top + i / width) * sheet[0].spec.width + left + i % width;
            count += green[static_cast<std::size_t>(place)] > 0.5F ? 1 : 0;
        }
        return count;
    };
    const picture sheet = drawn("45,90");
    const int half = sheet[0].spec.width / 2;
    const int height = sheet[0].spec.height;
    const double area = bright_pixels(sheet, 0, half, 30, height - 30);
    EXPECT_NEAR(bright_pixels(sheet, half, half, 30, height - 30) / area, 4.0, 0.4);
    EXPECT_GT(bright_pixels(sheet, 0, half, 0, 18), 10);
    const picture other = drawn("46,90");
    EXPECT_NE(bright_pixels(other, 0, half, 0, 18), bright_pixels(sheet, 0, half, 0, 18));
    EXPECT_EQ(bright_pixels(other, half, half, 0, 18),
              bright_pixels(sheet, half, half, 0, 18));
}

TEST_F(verbs, ListToolsAndPresets) {
    const std::string tools = run("tools").output;
    EXPECT_NE(tools.find("kestrelworks.Focusfall\n"), tools.npos);
    EXPECT_NE(tools.find("kestrelworks.FocusfallFast\n"), tools.npos);

    EXPECT_NE(tools.find("as --tool    plain\n"), tools.npos);

    for (const auto& [name, meant] :
         {std::pair{"kestrelworks.Focusfal", "kestrelworks.Focusfall"},
          {"fats", "fast"}}) {
        const run_result unknown = run(std::string("controls --tool ") + name);
        EXPECT_EQ(unknown.status, 1);
        const std::string hint = std::string("did you mean \"") + meant + "\"?";
        EXPECT_NE(unknown.errors.find(hint), std::string::npos) << unknown.errors;
    }

    const std::string texts = run("controls --presets").output;
    const auto presets = nlohmann::json::parse(run("controls --presets --json").output);
    EXPECT_GE(presets.size(), 6U);
    for (const auto& preset : presets) {
        EXPECT_NE(texts.find(preset["name"].get<std::string>() + "\n"), texts.npos);
    }
}

// Encoded colours are decoded to linear light, blurred, and encoded again.
TEST_F(verbs, RenderDecodesAndEncodesStoredColours) {
    const color_encoding srgb = color_encoding::srgb();
    std::vector<made_channel> channels = scene_channels();
    for (made_channel& channel : channels) channel.type = OIIO::TypeDesc::FLOAT;
    const auto blurred = [&](const std::string& space) {
        write("in.exr", made_part({0, 0, 40, 30}, {0, 0, 40, 30}, channels));
        rendered("in.exr --set MaxBlurSize=9 --colorspace " + space, "out.exr");
        return green("out.exr");
    };
    const std::vector<float> light = blurred("Linear");
    channels[1].value = [&, plain = channels[1].value](int x, int y) {
        return double{srgb.encoded(static_cast<float>(plain(x, y)))};
    };
    const std::vector<float> stored = blurred("sRGB");
    for (std::size_t i = 0; i < light.size(); ++i) {
        ASSERT_NEAR(stored[i], srgb.encoded(light[i]), 1e-4F) << "pixel " << i;
    }
}

// The first word of each line that two blanks begin.
std::vector<std::string> first_words(const std::string& text) {
    std::vector<std::string> words;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        if (!line.starts_with("  ") || line.size() < 3 || line[2] == ' ') continue;
        words.push_back(line.substr(2, line.find(' ', 2) - 2));
    }
    return words;
}

void replace_all(std::string& text, const std::string& what, const std::string& by) {
    for (std::size_t at = text.find(what); at != text.npos;
         at = text.find(what, at + by.size())) {
        text.replace(at, what.size(), by);
    }
}

// Whether `text` holds the name as a whole word.
bool is_listed(const std::string& text, const std::string& name) {
    for (std::size_t at = text.find(name); at != text.npos;
         at = text.find(name, at + 1)) {
        const bool begins = at > 0 && (text[at - 1] == '\n' || text[at - 1] == ' ');
        const std::size_t end = at + name.size();
        const bool ends =
            end < text.size() && std::string(",\n ").find(text[end]) != text.npos;
        if (begins && ends) return true;
    }
    return false;
}

// Each option in the help of a verb is in the verb's part of the manual page, and
// completed.
TEST_F(verbs, HaveTheSameOptionsInHelpManualAndCompletion) {
    const std::string help = run("--help").output;
    auto names_of_verbs = first_words(help.substr(help.find("Subcommands:")));
    ASSERT_GE(names_of_verbs.size(), 5U) << help;
    names_of_verbs.emplace_back("");  // the command itself

    // as plain text: without changes of the font, and with hyphens for minus signs
    std::string manual = run("manual").output;
    for (const char* font : {"\\fB", "\\fI", "\\fR"}) replace_all(manual, font, "");
    replace_all(manual, "\\-", "-");

    std::size_t options = 0;
    for (const std::string& verb : names_of_verbs) {
        std::string title = "\n.SH OPTIONS\n";
        if (!verb.empty()) title = std::string("\n.SS focusfall ").append(verb) + " ";
        const std::size_t start = manual.find(title);
        ASSERT_NE(start, manual.npos) << title;
        const std::string part =
            manual.substr(start, manual.find("\n.S", start + 1) - start);
        const std::string completed =
            std::string("\n").append(run("complete -- " + verb + " -").output);
        for (std::string names : first_words(run(verb + " --help").output)) {
            if (!names.starts_with('-')) continue;
            replace_all(names, ",", " ");
            std::istringstream list(names);
            for (std::string name; list >> name; ++options) {
                SCOPED_TRACE(verb + " " + name);
                EXPECT_TRUE(is_listed(part, name));
                EXPECT_NE(completed.find("\n" + name + "\n"), completed.npos);
            }
        }
    }
    EXPECT_GT(options, 40U);
}

// The table and the JSON show the same values, and which controls are visible.
TEST_F(verbs, ControlsShowsValuesKeysAndVisibility) {
    const std::string line = std::string("controls --plugin ") + PLUGIN_FILE +
                             " --tool plain"
                             " --set SettingsType=Advanced --set FocalLength=50"
                             " --set FocusPosition=1:1200,48:3400,smooth";
    const std::string table = run(line).output;
    EXPECT_NE(table.find(" 1:1200,48:3400,smooth\n"), table.npos);
    std::map<std::string, nlohmann::json> by_id;
    for (const auto& control : nlohmann::json::parse(run(line + " --json").output)) {
        const std::string id = control["id"];
        by_id[id] = control;
        const std::size_t start = table.find("  " + id + " ");
        ASSERT_NE(start, table.npos) << id;
        const std::string row = table.substr(start, table.find('\n', start) - start);
        EXPECT_EQ(row.ends_with(")"), !control["visible"].get<bool>()) << row;
        EXPECT_NE(row.find(control["name"].get<std::string>()), row.npos) << row;
    }
    EXPECT_EQ(by_id["ApertureDiameter"]["value"], 25);
    EXPECT_EQ(by_id["FocusPosition"]["keys"].dump(), R"([[1,1200],[48,3400],"smooth"])");
    EXPECT_EQ(by_id["MaxBlurSize"]["visible"], false);
    EXPECT_EQ(by_id["FStop"]["visible"], true);
}

// What is wrong is named, and the nearest right word with it.
TEST_F(verbs, TellWhatMayBeMeantByAWrongWord) {
    write_scene("in.exr", {0, 0, 40, 30}, {0, 0, 40, 30});
    const std::string render = "render in.exr -o out.exr ";
    const struct {
        std::string line;
        const char* told;
    } cases[] = {
        {render + "--setting super-35",
         "no option \"--setting\" of render; did you mean "
         "\"--settings\" or \"--set SettingsType=VALUE\"?"},
        {"render --Set FStop=4 in.exr -o out.exr", "did you mean \"--set"},
        {render + "--depth Z", "\"--depth-channel\""},
        {render + "--blur 3", "\"--set MaxBlurSize=VALUE\""},
        {render + "--maxblursize=3",
         "MaxBlurSize is a control, write --set MaxBlurSize="},
        {render + "--FocusPositon 3", "did you mean \"--set FocusPosition=VALUE\"?"},
        {render + "--set MaxBlurSize 3", "has no value; write MaxBlurSize=VALUE"},
        {render + "--frame=1-4", "did you mean \"--frames\"?"},
        {render + "--wholly-unknown", "`focusfall help render` lists all"},
        {render + "--data-type flaot", "did you mean \"float\"?"},
        {render + "--missing near", "did you mean \"nearest\"?"},
        {render + "b.exr c.exr", "b.exr, c.exr; one input is taken, or a shot as"},
        {"render in.exr", "--output is required"},
        {"--verson", "no option \"--verson\"; did you mean \"--version\"?"},
        {"", "no command is given; `focusfall help` lists all"},
        {"rendr", "did you mean \"render\"?"},
        {"help rendr", "did you mean \"render\"?"},
        {"tools more", "too many words: more"},
    };
    for (const auto& [line, told] : cases) {
        const run_result ran = run(line);
        EXPECT_EQ(ran.status, 2) << line;
        EXPECT_TRUE(ran.errors.starts_with("focusfall: ")) << ran.errors;
        EXPECT_NE(ran.errors.find(told), ran.errors.npos) << line << ": " << ran.errors;
        EXPECT_EQ(std::ranges::count(ran.errors, '\n'), 1) << ran.errors;
    }
}

TEST_F(verbs, HelpExplainsEachCommandAsItsOptionDoes) {
    EXPECT_EQ(run("help").output, run("--help").output);
    for (const std::string verb : {"render", "controls", "help"}) {
        const run_result explained = run("help " + verb);
        EXPECT_EQ(explained.status, 0);
        EXPECT_EQ(explained.output, run(verb + " --help").output);
    }
    EXPECT_NE(run("complete -- help re").output.find("render"), std::string::npos);
    const std::string render = run("help render").output;
    for (const char* text : {"\nDepth:", "\nShots:", "MaxBlurSize"}) {
        EXPECT_NE(render.find(text), std::string::npos) << text;
    }
}

TEST_F(verbs, ControlsSavesWhatWasEditedOrAll) {
    const auto saved = [&](const std::string& options) {
        const run_result ran = run("controls " + options);
        EXPECT_EQ(ran.status, 0) << ran.errors;
        return nlohmann::json::parse(std::ifstream(path("look.json")));
    };
    // an edit to the default is an edit; what follows from one is saved with it
    const auto look = saved("--set FocalLength=61 --set MaxBlurSize=1 --save look.json");
    EXPECT_EQ(look.size(), 3U) << look;
    EXPECT_EQ(look.at("MaxBlurSize"), 1);
    EXPECT_EQ(look.at("FocalLength"), 61);
    EXPECT_TRUE(look.contains("ApertureDiameter")) << look;
    EXPECT_GT(saved("--set FocalLength=61 --save-all look.json").size(), 15U);

    // a look leaves the keys of a pull alone
    saved("--set BlurStyle=Gaussian --save look.json");
    std::ofstream(path("pull.json")) << R"({"FocusPosition": [[1, 5], [9, 7]]})";
    const std::string both =
        run("controls --settings pull.json --settings look.json").output;
    EXPECT_NE(both.find("1:5,9:7"), both.npos);
    EXPECT_NE(both.find("Gaussian"), both.npos);

    EXPECT_EQ(run("controls --set FocusPosition=7 --save /dev/stdout").output,
              "{\n  \"FocusPosition\": 7\n}\n");
    const run_result device = run("controls --save /dev/null");
    EXPECT_NE(device.errors.find("/dev/null: exists and is not a file"),
              std::string::npos)
        << device.errors;
}

TEST_F(verbs, TellOfValuesThatAreNotTakenAsTheyAre) {
    write_scene("in.exr", {0, 0, 40, 30}, {0, 0, 40, 30});
    const std::string errors =
        run("render in.exr -o out.exr --set SettingsType=Advanced --set FStop=0.95 "
            "--set FocusPosition=1:300,2:400 --set PolygonSideCount=2:6.5,4:2,8:5 "
            "--set MaxBlurSize=3 --set MinWeight=1e-07")
            .errors;
    EXPECT_NE(errors.find("focusfall: FStop: 0.95 becomes 1 (takes 1 and up)\n"),
              errors.npos)
        << errors;
    EXPECT_NE(errors.find("PolygonSideCount: 6.5 becomes 7, 2 becomes 3 (takes"),
              errors.npos)
        << errors;
    EXPECT_EQ(errors.find("MaxBlurSize: 3"), errors.npos) << errors;
    EXPECT_EQ(errors.find("FocusPosition:"), errors.npos) << errors;
    EXPECT_EQ(errors.find("MinWeight"), errors.npos) << errors;

    const std::string unit = run("controls --set DepthMapUnits=cm").errors;
    EXPECT_NE(unit.find("--depth-scale"), unit.npos) << unit;
    EXPECT_EQ(unit.find("did you mean"), unit.npos) << unit;
}

}  // namespace
