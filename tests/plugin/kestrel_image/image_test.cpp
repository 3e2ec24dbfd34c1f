#include "plugin/kestrel_image/image.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <stdexcept>

#include "tests/support/failing_allocations.h"

namespace kestrel_image {
namespace {

TEST(Image, RowsStartOnSixteenByteBoundaries) {
    image<float> weights;
    image<color_rgba_f> colors;
    const struct {
        std::int32_t width, weight_stride, color_stride;
    } cases[] = {{0, 0, 0}, {4, 16, 64}, {5, 32, 80}};
    for (const auto& c : cases) {
        weights.resize(c.width, 3);
        colors.resize(c.width, 3);
        EXPECT_EQ(weights.row_stride, c.weight_stride) << "width " << c.width;
        EXPECT_EQ(colors.row_stride, c.color_stride) << "width " << c.width;
        const auto first =
            reinterpret_cast<std::uintptr_t>(weights.get_channel_data("Norm", 0));
        const auto third =
            reinterpret_cast<std::uintptr_t>(weights.get_channel_data("Norm", 2));
        EXPECT_EQ(first % 16, 0U);
        EXPECT_EQ(third - first, 2U * static_cast<unsigned>(c.weight_stride));
    }
}

TEST(Image, ChannelsAreClearedKeptThroughResizingAndForgotten) {
    image<color_rgba_f> colors;
    colors.clear_channel("OutRGBA");  // no rows yet: only creates it
    colors.resize(3, 2);
    colors.get_channel_data("OutRGBA", 1)[2] = {1, 2, 3, 4};
    colors.get_channel_data("Other", 1)[2] = {5, 6, 7, 8};
    colors.clear_channel("OutRGBA");
    for (std::uint32_t i = 0; i < 6; ++i) {
        const color_rgba_f pixel = colors.get_channel_data("OutRGBA", i / 3)[i % 3];
        EXPECT_EQ(pixel.r + pixel.g + pixel.b + pixel.a, 0.0F);
    }
    EXPECT_EQ(colors.get_channel_data("Other", 1)[2].a, 8.0F)
        << "another channel was cleared";

    colors.remove_channel("missing");
    colors.remove_channel("Other");
    colors.get_channel_data("Other", 0)[0] = {};  // made anew: must be writable
    colors.clear();
    EXPECT_EQ(colors.width, 3) << "clear forgets channels, not the size";
    EXPECT_TRUE(colors.channel_names.empty());
    EXPECT_TRUE(colors.is_pixel_type(typeid(color_rgba_f)));
    EXPECT_FALSE(colors.is_pixel_type(typeid(float)));
    EXPECT_EQ(colors.pixel_type_name(), typeid(color_rgba_f).name());
}

std::string error_of_access(image<float>& weights, const std::string& name) {
    try {
        weights.get_channel_data(name, 0);
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "";
}

TEST(Image, ReportsMissingMemoryAtTheNextAccessAndRecovers) {
    image<float> weights;
    weights.resize(4, 4);
    weights.clear_channel("Norm");

    aligned_allocations_fail = true;
    EXPECT_NO_THROW(weights.resize(8, 8)) << "is reported on access only";
    const std::string expected = "Image: Failed to allocate memory for channel ";
    EXPECT_EQ(error_of_access(weights, "Norm"), expected + "Norm\n");
    EXPECT_EQ(error_of_access(weights, "New"), expected + "New\n");
    EXPECT_THROW(weights.clear_channel("Norm"), std::runtime_error);
    aligned_allocations_fail = false;
    EXPECT_NE(error_of_access(weights, "Norm"), "") << "it stays reported";

    weights.resize(8, 8);
    EXPECT_EQ(error_of_access(weights, "Norm") + error_of_access(weights, "New"), "");

    // sizes beyond 32 bits
    for (const std::int32_t side : {32768, 46341, 65536, 0x7fffffff}) {
        weights.resize(side, side);
        EXPECT_NE(error_of_access(weights, "Norm"), "") << side;
    }
}

}  // namespace
}  // namespace kestrel_image
