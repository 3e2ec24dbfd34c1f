#include "pipeline/views/kernel_probe.h"

#include <cmath>

#include "tests/support/tool_fixture.h"

using namespace focusfall;

namespace {

using KernelProbe = tool_test;

float at(const Image& kernel, std::int32_t x, std::int32_t y) {
    return kernel.Pixel(x, y)[Image::RED];
}

// Diameters at and near whole numbers, where rounding down would choose another kernel.
TEST_F(KernelProbe, GivesTheWholeKernelOfTheDiameterCentred) {
    const auto styles = tool->find("BlurStyle").info().items;
    for (const std::string& style : styles) {
        tool->set("BlurStyle", style);
        for (const double diameter : {0.3, 1.0, 2.0, 3.0, 3.01, 5.0, 9.0, 9.01, 20.5}) {
            SCOPED_TRACE(style + " " + std::to_string(diameter));
            const Owned<Image> kernel = probed_kernel(*tool, diameter);
            const std::int32_t size = kernel->Width();
            ASSERT_EQ(kernel->Height(), size);
            EXPECT_GE(size - 2, diameter);
            EXPECT_LT(size - 2, std::max(diameter, 1.01) + 2.0);

            double sum = 0.0;
            for (std::int32_t i = 0; i < size * size; ++i) {
                const std::int32_t x = i % size;
                const std::int32_t y = i / size;
                if (x == 0 || y == size - 1) {
                    EXPECT_EQ(at(*kernel, x, y), 0.0F);
                }
                sum += std::abs(at(*kernel, x, y));
                EXPECT_NEAR(at(*kernel, x, y), at(*kernel, size - 1 - x, size - 1 - y),
                            1e-6);
            }
            EXPECT_NEAR(sum, 1.0, 1e-4);
            EXPECT_GT(at(*kernel, size / 2, size / 2), 0.0F);
        }
    }
    EXPECT_EQ(value("MaxBlurSize"), 1.0);  // as every control, it kept its value
    EXPECT_EQ(value("Normalize"), 1.0);
}

TEST_F(KernelProbe, TellsNeighbouringDiametersApart) {
    tool->set("BlurStyle", "Gaussian");
    // the width of a Gaussian follows its diameter at every step
    for (int step = 300; step < 330; ++step) {
        const auto spread = [&](int s) {
            const Owned<Image> kernel = probed_kernel(*tool, s * 0.01);
            const std::int32_t middle = kernel->Width() / 2;
            const double ratio =
                at(*kernel, middle, middle) / at(*kernel, middle + 1, middle);
            return 6.0 / std::sqrt(std::log(ratio));  // exp(-1 / (diameter / 6)^2)
        };
        EXPECT_NEAR(spread(step), step * 0.01, 1e-4);
    }
}

}  // namespace
