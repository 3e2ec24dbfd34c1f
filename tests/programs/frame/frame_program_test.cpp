#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include "programs/frame/commands.h"
#include "programs/frame/made_up_scene.h"
#include "programs/frame/raw_frame.h"

namespace {

namespace fs = std::filesystem;
using arguments = std::vector<std::string>;

// A folder of the test's own, and frames of 40 x 30 pixels in it.
class FrameProgram : public testing::Test {
  protected:
    FrameProgram() { fs::create_directories(folder_); }
    ~FrameProgram() override { fs::remove_all(folder_); }

    std::string file(const std::string& name) const { return (folder_ / name).string(); }

    // `more` has blanks between its arguments.
    arguments line(const std::string& output, const std::string& more) const {
        std::istringstream words("--plugin " PLUGIN_FILE
                                 " --size 40x30 --threads 1 --output " +
                                 file(output) + " " + more);
        return {std::istream_iterator<std::string>(words), {}};
    }

    fs::path folder_ = fs::temp_directory_path() /
                       (std::string("frame_program_") +
                        testing::UnitTest::GetInstance()->current_test_info()->name());
};

std::string error_of(const arguments& line) {
    try {
        run_render_command(line);
    } catch (const usage_error& error) {
        return std::string("usage: ") + error.what();
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "";
}

TEST_F(FrameProgram, RendersAFileAsItRendersTheSceneInIt) {
    const std::string settings = "--set MaxBlurSize=20 --set BlurStyle=Polygon";
    write_raw_image(file("scene"), *made_up_scene(40, 30));
    EXPECT_EQ(read_numbers(file("scene"))[39 * 5],
              made_up_scene(40, 30)->Pixel(39, 0)[Image::RED]);
    run_render_command(line("built_in", settings));
    run_render_command(line("from_file", settings + " --input " + file("scene") +
                                             " --depth " + file("scene")));

    EXPECT_EQ(read_numbers(file("built_in")).size(), 40U * 30U * 5U);
    EXPECT_TRUE(run_compare_command({file("built_in"), file("from_file"), "0"}));
    EXPECT_FALSE(run_compare_command({file("built_in"), file("scene"), "0.5"}))
        << "nothing was blurred";
}

TEST_F(FrameProgram, ComparesNumbersByTheirRelativeDifference) {
    constexpr float INFINITE = std::numeric_limits<float>::infinity();
    constexpr float NO_NUMBER = std::numeric_limits<float>::quiet_NaN();
    const struct {
        float first, second;
        bool within;  // a tenth
    } cases[] = {{91.0F, 100.0F, true},        {100.0F, 89.0F, false},
                 {1e-6F, 1.2e-6F, false},      {-1.0F, 1.0F, false},
                 {0.0F, -0.0F, true},          {0.0F, 1e-30F, false},
                 {INFINITE, INFINITE, true},   {INFINITE, -INFINITE, false},
                 {NO_NUMBER, NO_NUMBER, true}, {NO_NUMBER, 1.0F, false}};
    for (const auto& c : cases) {
        for (const auto& [name, number] : {std::pair{"a", c.first}, {"b", c.second}}) {
            const float numbers[2] = {1.0F, number};
            std::ofstream(file(name), std::ios::binary)
                .write(reinterpret_cast<const char*>(numbers), sizeof numbers);
        }
        EXPECT_EQ(run_compare_command({file("a"), file("b"), "0.1"}), c.within)
            << c.first << " and " << c.second;
    }
    std::ofstream(file("b"), std::ios::binary) << "1234";
    EXPECT_THROW(run_compare_command({file("a"), file("b"), "1"}), std::runtime_error);
    EXPECT_THROW(run_compare_command({file("a"), file("b"), "much"}), usage_error);
    EXPECT_THROW(run_compare_command({file("a"), file("b")}), usage_error);
}

// What the host and the plug-in throw comes out of their libraries as it went in.
TEST_F(FrameProgram, SaysWhatIsWrongAndLeavesNoFileOrTheOldOne) {
    std::ofstream(file("short"), std::ios::binary) << "1234";
    const std::pair<std::string, std::string> cases[] = {
        {"--size 40", "usage: --size 40: wants the form WIDTHxHEIGHT"},
        {"--size 40x0", "usage: --size: \"0\" is not a whole number above 0"},
        {"--threads 1.5", "usage: --threads: \"1.5\" is not a whole number above 0"},
        {"--threads many", "usage: --threads: \"many\" is not a number"},
        {"--set BadBokeh", "usage: --set BadBokeh: wants the form ID=VALUE"},
        {"--set", "usage: --set: wants a value behind it"},
        {"--frames 3", "usage: render has no option \"--frames\""},
        {"--plugin " + file("none"),
         file("none") + ": no such file, so no plug-in to load"},
        {"--set BlurStyle=Box",
         "BlurStyle: \"Box\" is not a value of this control, which takes one of: Disk, "
         "Polygon, Gaussian, Airy Disk, Laplacian"},
        {"--input " + file("none"), file("none") + ": cannot be read"},
        {"--input " + file("short"),
         file("short") + ": holds 1 floats, 40 x 30 pixels take 6000"},
        {"--output " + file("no_folder/frame"),
         file("no_folder/frame") + ": cannot be written"}};
    for (const char* output : {"frame", "short"}) {
        for (const auto& [more, error] : cases) {
            EXPECT_EQ(error_of(line(output, more)), error);
        }
    }
    EXPECT_EQ(fs::file_size(file("short")), 4U);
    EXPECT_EQ(std::distance(fs::directory_iterator(folder_), {}), 1);
}

}  // namespace
