#include "plugin/kernels/kernel_shapes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "plugin/kernels/kernel_weights.h"

namespace {

class KernelShapes : public testing::Test {
  protected:
    KernelShapes() { params_.reference_image = model_.get(); }

    Owned<Image> kernel(double width, double height, const Image* custom = nullptr,
                        std::int32_t min_size = KERNEL_MIN_SIZE) {
        return Owned<Image>(make_kernel(params_, width, height, custom, min_size));
    }
    static float at(const Owned<Image>& image, int x, int y) {
        return image->Pixel(x, y)[Image::RED];
    }

    Owned<Image> model_{new Image(64, 48, 7)};
    focusfall_interface params_;
};

TEST_F(KernelShapes, NeedAPositiveSizeAndAKnownStyle) {
    EXPECT_FALSE(kernel(0.0, 1.0, nullptr, 0));
    EXPECT_FALSE(kernel(1.0, -1.0, model_.get(), 0));
    EXPECT_TRUE(kernel(1.0, 1.0, nullptr, 0));
    EXPECT_TRUE(kernel(0.0, 0.0)) << "the least size makes it positive";
    for (const int style : {-1, 5}) {
        params_.blur_style = style;
        EXPECT_FALSE(kernel(4.0, 4.0));
        EXPECT_TRUE(kernel(4.0, 4.0, model_.get())) << "a picture needs no style";
    }
}

// The two diameters differ only when asked for by other tools than ours.
TEST_F(KernelShapes, AreStretchedFromTheLargerDiameter) {
    for (int style = DISK; style <= LAPLACIAN; ++style) {
        params_.blur_style = style;
        const Owned<Image> square = kernel(9.0, 9.0);
        ASSERT_EQ(square->Components(), 4);
        for (const auto& [width, height] : {std::pair{9.0, 4.2}, {0.5, 9.0}}) {
            const Owned<Image> flat = kernel(width, height);
            ASSERT_EQ(flat->Width(), width > 3.0 ? 9 : 3);
            ASSERT_EQ(flat->Height(), height > 5.0 ? 9 : 5);
            const Owned<Image> expected(square->ResizeOfImage(
                0x10000000, flat->Width(), 0x10000001, flat->Height(), 0));
            for (int i = 0; i < flat->Width() * flat->Height() * 4; ++i) {
                ASSERT_EQ(flat->Pixel(0, 0)[i], expected->Pixel(0, 0)[i])
                    << "style " << style;
            }
        }
    }
}

TEST_F(KernelShapes, ShrinkTheDiskWhenAsked) {
    const Owned<Image> full = kernel(11.0, 11.0);
    params_.shrink_disk = true;
    const Owned<Image> shrunk = kernel(11.0, 11.0);
    EXPECT_EQ(at(full, 10, 5), 1.0F);   // the radius is 5
    EXPECT_EQ(at(shrunk, 8, 5), 1.0F);  // and now 3
    EXPECT_NEAR(at(shrunk, 9, 5), 0.0F, 1e-6);
}

TEST_F(KernelShapes, BecomeWeightsOfOne) {
    std::vector<float> weights{7.0F};
    load_kernel_weights(params_, nullptr, weights);
    EXPECT_TRUE(weights.empty());

    // a disk smaller than a pixel leaves a trace on its four neighbours
    load_kernel_weights(params_, kernel(0.01, 0.01).get(), weights);
    const float trace = 0.0001F / 1.0004F;
    const float expected[] = {0, trace, 0, trace, 1.0F / 1.0004F, trace, 0, trace, 0};
    ASSERT_EQ(weights.size(), 9U);
    for (std::size_t i = 0; i < 9; ++i) EXPECT_NEAR(weights[i], expected[i], 1e-6) << i;
}

}  // namespace
