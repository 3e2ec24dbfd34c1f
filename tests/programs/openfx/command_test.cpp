// The effects against the command, which has its pictures from files.

#include <cstdlib>

#include "tests/programs/openfx/openfx_fixture.h"
#include "tests/support/made_pictures.h"

using namespace focusfall;

namespace {

class OpenfxCommand : public openfx_test, protected picture_folder {};

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

}  // namespace

// Pictures as large as their format, smaller and larger, with the kinds of depth.
TEST_P(OpenfxCommand, MakesTheSamePictures) {
    const ofx::pixel_rect areas[] = {FORMAT, {30, 20, 120, 70}, {-20, -10, 190, 100}};
    struct {
        const char* options;
        std::vector<std::pair<const char*, double>> parameters;
        bool has_shape = false;
    } const cases[] = {
        {"--set MaxBlurSize=6 --set FocusPosition=480",
         {{"MaxBlurSize", 6.0}, {"FocusPosition", 480.0}}},
        {"--set MaxBlurSize=6 --set FocusPosition=480 --depth-as inverse",
         {{"DepthAs", 1.0}}},
        {"--set SettingsType=Advanced --set FStop=1 --set FocusPosition=480 --depth-as "
         "ray",
         {{"DepthAs", 2.0}, {"SettingsType", 1.0}, {"FStop", 1.0}}},
        {"--set SettingsType=Advanced --set FStop=1 --set FocusPosition=480 "
         "--depth-scale 2 --empty-depth far --set BlurStyle=Polygon",
         {{"DepthAs", 0.0},
          {"DepthScale", 2.0},
          {"EmptyDepth", 1.0},
          {"BlurStyle", 1.0}}},
        {"--set MaxBlurSize=6 --set FocusPosition=480",
         {{"SettingsType", 0.0}, {"DepthScale", 1.0}, {"EmptyDepth", 0.0}},
         true},
    };
    const ofx::pixel_rect shape_area = {0, 0, 9, 9};
    const std::string shape =
        write("shape.exr", made_part({0, 0, 9, 9}, {0, 0, 9, 9}, file_channels(9)));
    for (const ofx::pixel_rect& area : areas) {
        const auto instance = scene_instance();
        fill_scene(instance->input("Source"), area);
        mini_host::clip& depth = instance->input("Depth");
        depth.connect(area, 1);
        for (int y = area.y1; y < area.y2; ++y) {
            for (int x = area.x1; x < area.x2; ++x) {
                *depth.image.at(x, y) = scene_at(x, y).values[4];
            }
        }
        mini_host::clip& output = instance->input("Output");
        if (area.x1 < 0) output.connect(area, 4);
        const std::string in = write(
            "in.exr", made_part({area.x1, FORMAT.y2 - area.y2, width(area), height(area)},
                                {0, 0, FORMAT.x2, FORMAT.y2}, file_channels(FORMAT.y2)));
        for (const auto& [options, parameters, has_shape] : cases) {
            SCOPED_TRACE(testing::Message() << area.x1 << " " << options);
            for (const auto& [id, value] : parameters) {
                ASSERT_NE(effect_.edit(*instance, id, value), ofx::FAILED);
            }
            if (has_shape) fill_scene(instance->input("BlurImage"), shape_area);
            ASSERT_EQ(effect_.render(*instance, output.image.bounds), ofx::OK);
            ASSERT_EQ(instance->message, "");
            const std::string line = std::string(COMMAND_FILE) + " render " + in +
                                     " --quiet --data-type float -o " + path("out.exr") +
                                     " --tool " +
                                     (GetParam() == 0 ? "fast " : "layered ") + options +
                                     (has_shape ? " --blur-image " + shape : "");
            ASSERT_EQ(std::system(line.c_str()), 0) << line;
            const picture made = read_picture(path("out.exr"));
            const window data = data_window(made[0].spec);
            ASSERT_GE(data.width * data.height, width(area) * height(area));
            for (int i = 0; const char* name : {"R", "G", "B", "A"}) {
                const std::vector<float> expected = values(made[0], name);
                for (std::int64_t n = 0; n < data.width * data.height; ++n) {
                    const auto x = static_cast<int>(data.x + n % data.width);
                    const auto y =
                        static_cast<int>(FORMAT.y2 - 1 - data.y - n / data.width);
                    ASSERT_EQ(output.image.at(x, y)[i],
                              expected[static_cast<std::size_t>(n)])
                        << name << x << " " << y;
                }
                ++i;
            }
        }
        destroy(*instance);
    }
}
