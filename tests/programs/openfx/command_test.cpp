// The effects against the command, which has its pictures from files.

#include <cstdlib>

#include "tests/programs/openfx/openfx_fixture.h"
#include "tests/support/made_pictures.h"

using namespace focusfall;

namespace {

class OpenfxCommand : public openfx_test, protected picture_folder {
  protected:
    // Compares each pixel of the command's picture with the host's at its place.
    static void expect_same(const picture& made, mini_host::picture& output);
};

INSTANTIATE_TEST_SUITE_P(Effects, OpenfxCommand, testing::Values(0, 1),
                         [](const auto& test) {
                             return test.param == 0 ? "Focusfall" : "Layered";
                         });

// The scene for a file, whose rows are counted downwards from the top of the format.
std::vector<made_channel> file_channels(int format_height) {
    std::vector<made_channel> channels;
    for (int i = 0; const char* name : {"R", "G", "B", "A", "Z"}) {
        channels.push_back({name, OIIO::TypeDesc::FLOAT, [=](int x, int y) {
                                return scene_at(x, format_height - 1 - y).values[i];
                            }});
        ++i;
    }
    return channels;
}

// Options of the command, and what an artist changes from one case to the next.
struct compared_case {
    std::string options;
    std::vector<std::pair<const char*, double>> edits;
    bool has_depth = true;  // else depth is a colour of the picture
    bool has_shape = false;
};
const std::string SIMPLE = "--set MaxBlurSize=6 --set FocusPosition=480 ";
const std::string ADVANCED =
    "--set SettingsType=Advanced --set FStop=1 --set FocusPosition=480 ";
const compared_case CASES[] = {
    {SIMPLE, {{"MaxBlurSize", 6.0}, {"FocusPosition", 480.0}}},
    {SIMPLE + "--depth-as inverse", {{"DepthAs", 1.0}}},
    {ADVANCED + "--depth-as ray",
     {{"DepthAs", 2.0}, {"SettingsType", 1.0}, {"FStop", 1.0}}},
    {ADVANCED + "--depth-scale 2 --empty-depth far --set BlurStyle=Polygon",
     {{"DepthAs", 0.0}, {"DepthScale", 2.0}, {"EmptyDepth", 1.0}, {"BlurStyle", 1.0}}},
    {ADVANCED + "--set FocalLength=70 --set BlurStyle='Airy Disk'",
     {{"DepthScale", 1.0},
      {"EmptyDepth", 0.0},
      {"FocalLength", 70.0},  // the aperture's diameter follows
      {"BlurStyle", 3.0}}},
    {SIMPLE + "--set Normalize=0 --set BlurStyle=Gaussian",
     {{"SettingsType", 0.0}, {"Normalize", 0.0}, {"BlurStyle", 2.0}}},
    {"--set MaxBlurSize=6 --set FocusPosition=0.4 --set BlurChannel=Green "
     "--set BlurStyle=Laplacian",
     {{"Normalize", 1.0},
      {"BlurChannel", 2.0},
      {"FocusPosition", 0.4},
      {"BlurStyle", 4.0}},
     false},
    {SIMPLE,
     {{"BlurChannel", 0.0}, {"FocusPosition", 480.0}, {"BlurStyle", 0.0}},
     true,
     true},
};

// The depth of the scene as a picture of one component.
void fill_depth(mini_host::clip& depth, const ofx::pixel_rect& area) {
    depth.connect(area, 1);
    for (int y = area.y1; y < area.y2; ++y) {
        for (int x = area.x1; x < area.x2; ++x) {
            *depth.image.at(x, y) = scene_at(x, y).values[4];
        }
    }
}

void OpenfxCommand::expect_same(const picture& made, mini_host::picture& output) {
    const window data = data_window(made[0].spec);
    for (int i = 0; const char* name : {"R", "G", "B", "A"}) {
        const std::vector<float> expected = values(made[0], name);
        for (std::int64_t n = 0; n < data.width * data.height; ++n) {
            const auto x = static_cast<int>(data.x + n % data.width);
            const auto y = static_cast<int>(FORMAT.y2 - 1 - data.y - n / data.width);
            ASSERT_EQ(output.at(x, y)[i], expected[static_cast<std::size_t>(n)])
                << name << " " << x << " " << y;
        }
        ++i;
    }
}

}  // namespace

// Pictures as large as their format, smaller and larger; each case with two of them,
// since many processes take their time.
TEST_P(OpenfxCommand, MakesTheSamePictures) {
    const ofx::pixel_rect areas[] = {FORMAT, {30, 20, 120, 70}, {-20, -10, 190, 100}};
    const ofx::pixel_rect shape_area = {0, 0, 9, 9};
    const std::string shape =
        write("shape.exr", made_part({0, 0, 9, 9}, {0, 0, 9, 9}, file_channels(9)));
    const std::string command =
        std::string(COMMAND_FILE) + " render --quiet --data-type float -o " +
        path("out.exr") + " --tool " + (GetParam() == 0 ? "fast " : "layered ");
    for (const ofx::pixel_rect& area : areas) {
        const auto instance = scene_instance();
        fill_scene(instance->input("Source"), area);
        mini_host::clip& output = instance->input("Output");
        if (area.x1 < 0) output.connect(area, 4);
        const std::string in = write(
            "in.exr", made_part({area.x1, FORMAT.y2 - area.y2, width(area), height(area)},
                                {0, 0, FORMAT.x2, FORMAT.y2}, file_channels(FORMAT.y2)));
        for (std::size_t n = 0; n < std::size(CASES); ++n) {
            const auto& [options, edits, has_depth, has_shape] = CASES[n];
            SCOPED_TRACE(testing::Message() << area.x1 << " " << options);
            for (const auto& [id, value] : edits) {
                ASSERT_NE(effect_.edit(*instance, id, value), ofx::FAILED);
            }
            if (&area == &areas[n % 3]) continue;
            mini_host::clip& depth = instance->input("Depth");
            fill_depth(depth, area);
            depth.properties.values["OfxImageClipPropConnected"] = {has_depth ? 1 : 0};
            if (has_shape) fill_scene(instance->input("BlurImage"), shape_area);
            ASSERT_EQ(effect_.render(*instance, output.image.bounds), ofx::OK);
            ASSERT_EQ(instance->message, "");
            const std::string line = command + options +
                                     (has_shape ? " --blur-image " + shape : "") + " " +
                                     in;
            ASSERT_EQ(std::system(line.c_str()), 0) << line;
            const picture made = read_picture(path("out.exr"));
            const window data = data_window(made[0].spec);
            ASSERT_GE(data.width * data.height, width(area) * height(area));
            expect_same(made, output.image);
        }
        destroy(*instance);
    }
}
