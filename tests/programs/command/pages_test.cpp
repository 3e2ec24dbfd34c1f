// Every command line that the pages show runs, and what their sentences name is there.

#include <algorithm>
#include <fstream>
#include <iterator>
#include <sstream>

#include "tests/programs/command/command_fixture.h"

using namespace focusfall;

namespace {

using OIIO::TypeDesc;

constexpr window SMALL = {0, 0, 60, 40};

// Pictures of the names that the pages use, as small as their pixels allow.
class pages : public command_test {
  protected:
    pages() {
        std::filesystem::create_directory(path("pictures"));
        for (const char* name :
             {"pictures/scene.exr", "scene.exr", "in.exr", "film.exr"}) {
            write_layers(name, {""}, {"Z"}, {0, 0, 800, 420});
        }
        write_shot("in", {0, 0, 704, 302});
        write_shot("shot", SMALL);
        write_shot("wall", SMALL);
        write_layers("blender.exr", {"ViewLayer.Combined."}, {"ViewLayer.Depth.Z"},
                     SMALL);
        write_layers("shot.exr", {"", "light_key.", "light_fill."}, {"Z"}, SMALL);
        write_layers("stereo.exr", {"", "left."}, {"Z", "left.Z"}, SMALL);
        write_photograph();
        std::ofstream(path("pull.json")) << R"({"FocusPosition": 3})";
    }

    // R, G, B and A below each prefix, and depths that grow to the right.
    void write_layers(const std::string& file, const std::vector<std::string>& prefixes,
                      const std::vector<std::string>& depths, const window& size) const {
        std::vector<made_channel> channels;
        for (const std::string& prefix : prefixes) {
            for (const made_channel& scene : scene_channels()) {
                if (scene.name == "Z") continue;
                channels.push_back({prefix + scene.name, scene.type, scene.value});
            }
        }
        for (const std::string& depth : depths) {
            channels.push_back(
                {depth, TypeDesc::FLOAT, [](int x, int) { return 100 + x; }});
        }
        picture_part part = made_part(size, size, channels);
        part.spec.attribute("nominalFocalLength", 50.0F);
        part.spec.attribute("focus", 3.5F);
        const char* views[] = {"right", "left"};
        if (depths.size() > 1) {
            part.spec.attribute("multiView", TypeDesc(TypeDesc::STRING, 2), views);
        }
        write(file, std::move(part));
    }

    // Frames 1 to 48, all of them one file.
    void write_shot(const std::string& name, const window& size) const {
        const std::string file = name + ".0001.exr";
        write_layers(file, {""}, {"Z"}, size);
        for (int frame = 2; frame <= 48; ++frame) {
            const std::string digits =
                (frame < 10 ? "000" : "00") + std::to_string(frame);
            std::filesystem::create_symlink(file, path(name + "." + digits + ".exr"));
        }
    }

    void write_photograph() const {
        const auto ramp = [](int x, int y) { return (x + y) / 800.0; };
        const window all = {0, 0, 480, 300};
        write("photo.jpg", made_part(all, all,
                                     {{"R", TypeDesc::UINT8, ramp},
                                      {"G", TypeDesc::UINT8, ramp},
                                      {"B", TypeDesc::UINT8, ramp}}));
        write("depth.png", made_part(all, all, {{"Y", TypeDesc::UINT8, ramp}}));
    }
};

// The lines of a page that call the command in blocks of their own, without its name, and
// with what is continued on the next line.
std::vector<std::string> command_lines(const std::filesystem::path& page) {
    std::ifstream text(page);
    std::vector<std::string> lines;
    bool in_block = false;
    for (std::string row; std::getline(text, row);) {
        for (std::string next; row.ends_with('\\') && std::getline(text, next);) {
            row.back() = ' ';
            row += next;
        }
        if (row.starts_with("```")) in_block = !in_block;
        for (const std::string_view name : {"focusfall ", "./dev run "}) {
            if (!in_block || !row.starts_with(name)) continue;
            lines.push_back(row.substr(name.size(), row.find(" #") - name.size()));
        }
    }
    return lines;
}

// What stands between two backticks in sentences.
std::vector<std::string> named_in_sentences(const std::filesystem::path& page) {
    std::ifstream text(page);
    std::string sentences;
    bool in_block = false;
    for (std::string row; std::getline(text, row);) {
        if (row.starts_with("```")) in_block = !in_block;
        if (!in_block && !row.starts_with("```")) sentences += row + " ";
    }
    std::vector<std::string> named;
    std::istringstream pieces(sentences);
    for (std::string piece; std::getline(pieces, piece, '`');) {
        if (std::getline(pieces, piece, '`')) named.push_back(piece);
    }
    return named;
}

std::string text_of(const std::filesystem::path& file) {
    std::ifstream stream(file);
    return {std::istreambuf_iterator<char>(stream), {}};
}

const std::filesystem::path ROOT = PAGES_FOLDER;

std::vector<std::filesystem::path> all_pages() {
    std::vector<std::filesystem::path> files = {ROOT / "README.md"};
    for (const auto& entry : std::filesystem::directory_iterator(ROOT / "docs")) {
        if (entry.path().extension() == ".md") files.push_back(entry.path());
    }
    return files;
}

}  // namespace

TEST_F(pages, NameVerbsAndOptionsThatExist) {
    const std::string script = text_of(ROOT / "dev");
    std::size_t count = 0;
    for (const std::filesystem::path& file : all_pages()) {
        for (const std::string& named : named_in_sentences(file)) {
            SCOPED_TRACE(file.string() + ": " + named);
            std::istringstream words(named);
            std::string program;
            std::string verb;
            words >> program >> verb;
            if (program == "./dev") {
                std::ranges::replace(verb, '-', '_');
                EXPECT_NE(script.find("verb_" + verb + "()"), script.npos);
            } else if (program == "focusfall" && !verb.empty()) {
                const run_result help = run("help " + verb);
                EXPECT_EQ(help.status, 0) << help.errors;
                for (std::string word; words >> word;) {
                    if (!word.starts_with("-")) continue;
                    EXPECT_NE(help.output.find(word), help.output.npos) << word;
                }
            } else {
                continue;
            }
            ++count;
        }
    }
    EXPECT_GT(count, 40U);
}

TEST_F(pages, ShowLinesThatRun) {
    std::size_t count = 0;
    for (const std::filesystem::path& file : all_pages()) {
        for (std::string line : command_lines(file)) {
            SCOPED_TRACE(file.string() + ": focusfall " + line);
            // nothing is queued here
            if (line.starts_with("submit")) line.insert(6, " --dry-run");
            const run_result ran = run(line);
            // a shot of which nothing is rendered yet
            EXPECT_EQ(ran.status, line.starts_with("shot-status") ? 1 : 0) << ran.errors;
            ++count;
        }
    }
    EXPECT_GT(count, 20U);
}
