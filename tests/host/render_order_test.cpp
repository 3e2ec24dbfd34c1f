// Orders that bring values and images of their own.

#include "host/render_order.h"

#include "tests/support/tool_fixture.h"

namespace headless {
namespace {

using RenderOrder = tool_test;

// As if the tool had been edited; but no curve, no coupled value and no connection of it
// changes, and the next frame is as before.
TEST_F(RenderOrder, CountsForItsFrameAlone) {
    const auto picture = small_picture();
    const auto other = small_picture();
    std::fill_n(other->Pixel(0, 0), 5 * 48 * 16, 0.5F);
    tool->connect("Input", picture.get());
    tool->replace("MaxBlurSize", animation({{1, 4}, {48, 20}}, interpolation::LINEAR));
    const frame before = tool->render({.time = 10});
    ASSERT_EQ(before.how, frame::end::DONE) << before.error;

    const auto edited = host.create_tool("kestrelworks.Focusfall");
    edited->connect("Input", other.get());
    edited->connect("DepthMap", picture.get());
    edited->set("MaxBlurSize", 90.0);  // above the control's range
    edited->set("BlurStyle", "gaussian");
    edited->set("Normalize", 0.0);
    const frame expected = edited->render();

    const frame ordered =
        tool->render({.time = 10,
                      .instead = {{"MaxBlurSize", 90.0},
                                  {"BlurStyle", "gaussian"},
                                  {"Normalize", 0.0},
                                  {"PluginName", "another"}},
                      .images = {{"Input", other.get()}, {"DepthMap", picture.get()}}});
    ASSERT_TRUE(ordered.image && expected.image) << ordered.error << expected.error;
    EXPECT_TRUE(same_pixels(*ordered.image, *expected.image));

    EXPECT_EQ(value("MaxBlurSize", 1), 4.0);
    EXPECT_EQ(value("BlurStyle"), 0.0);
    EXPECT_FALSE(tool->find("DepthMap").is_connected());
    const frame after = tool->render({.time = 10});
    ASSERT_TRUE(after.image) << after.error;
    EXPECT_TRUE(same_pixels(*after.image, *before.image));

    // coupled values stay where they are: the host does not ask the tool
    EXPECT_TRUE(tool->render({.instead = {{"FocalLength", 80.0}}}).image);
    EXPECT_EQ(value("ApertureDiameter"), edited->find("ApertureDiameter").number(0));
}

TEST_F(RenderOrder, SaysWhatIsWrongWithItInTheResult) {
    const auto picture = small_picture();
    const Owned<Image> grey(new Image(3, 3, 1));
    const Owned<Image> colors(new Image(3, 3, 4));
    tool->connect("Input", picture.get());
    const std::pair<render_order, const char*> cases[] = {
        {{.instead = {{"FStp", 2.0}}},
         "there is no control \"FStp\"; did you mean \"FStop\"?"},
        {{.instead = {{"FStop", NAN}}}, "FStop: takes finite numbers only"},
        {{.instead = {{"FStop", "wide"}}},
         "FStop: \"wide\" is not a value of this control, which takes a number"},
        {{.instead = {{"DocUrl", 1.0}}}, "DocUrl: is a text and no number"},
        {{.instead = {{"Input", "a.exr"}}},
         "Input: is an image connection and takes no value"},
        {{.images = {{"Inptu", nullptr}}},
         "there is no control \"Inptu\"; did you mean \"Input\"?"},
        {{.images = {{"FStop", picture.get()}}}, "FStop: is no image connection"},
        {{.images = {{"Input", grey.get()}}},
         "The input image has no colours with alpha."},
        {{.images = {{"Input", colors.get()}}},
         "The depth image lacks the depth channel."},
        {{.images = {{"BlurImage", grey.get()}}},
         "The blur image has no colours with alpha."},
        {{.images = {{"Input", nullptr}}}, "Input: no image is connected"},
    };
    for (const auto& [order, error] : cases) {
        const frame result = tool->render(order);
        EXPECT_EQ(result.how, frame::end::FAILED) << error;
        EXPECT_EQ(result.error, error);
        EXPECT_FALSE(result.image);
    }
    EXPECT_TRUE(tool->render().image) << "no fault lingers";

    tool->connect("Input", nullptr);
    EXPECT_TRUE(tool->render({.images = {{"Input", picture.get()}}}).image)
        << "an image of the order is enough";
}

}  // namespace
}  // namespace headless
