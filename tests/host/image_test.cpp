#include "host/api/image.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <new>
#include <random>
#include <stdexcept>
#include <tuple>
#include <vector>

namespace {

Owned<Image> random_image(std::int32_t width, std::int32_t height,
                          std::int32_t components) {
    std::mt19937 random(7);
    std::uniform_real_distribution<float> value(-1.0F, 2.0F);
    Owned<Image> image(new Image(width, height, components));
    std::generate_n(image->Pixel(0, 0), width * height * components,
                    [&] { return value(random); });
    return image;
}

Owned<Image> resized(const Image& image, std::int32_t width, std::int32_t height) {
    return Owned<Image>(image.ResizeOfImage(0x10000000, width,   // width
                                            0x10000001, height,  // height
                                            0x10000003, 7,       // four components
                                            0));
}

// The share of source pixel `at` in result pixel `i` along one axis: how much of the box
// around the result's centre it fills.
double share(std::int32_t source, std::int32_t size, std::int32_t i, std::int32_t at) {
    const double scale = static_cast<double>(source) / size;
    const double middle = (i + 0.5) * scale;
    const double half = std::max(scale, 1.0) / 2.0;
    const auto overlap = [&](double from, double to) {
        return std::max(0.0, std::min(to, middle + half) - std::max(from, middle - half));
    };
    return overlap(at, at + 1.0) / overlap(0.0, source);
}

double slow_mean(const Image& image, const Image& result, std::int32_t x, std::int32_t y,
                 int component) {
    double sum = 0.0;
    for (std::int32_t v = 0; v < image.Height(); ++v) {
        const double row = share(image.Height(), result.Height(), y, v);
        for (std::int32_t u = 0; u < image.Width(); ++u) {
            sum += row * share(image.Width(), result.Width(), x, u) *
                   static_cast<double>(image.Pixel(u, v)[component]);
        }
    }
    return sum;
}

TEST(HostImage, ResizingGivesAreaMeansAndInterpolates) {
    const auto image = random_image(13, 9, 6);
    const std::int32_t sizes[][2] = {{1, 1}, {3, 3}, {5, 4}, {12, 10}, {13, 5}, {31, 27}};
    for (const auto [width, height] : sizes) {
        const auto small = resized(*image, width, height);
        ASSERT_EQ(small->Components(), 4);
        const Owned<Image> all(
            image->ResizeOfImage(0x10000000, width, 0x10000001, height, 0));
        ASSERT_EQ(all->Components(), 6);
        for (int i = 0; i < width * height * 6; ++i) {
            const int c = i % 6;
            const int x = i / 6 % width;
            const int y = i / 6 / width;
            EXPECT_NEAR(all->Pixel(x, y)[c], slow_mean(*image, *all, x, y, c), 1e-6)
                << width << " x " << height << " at " << x << ", " << y;
            if (c < 4) {
                EXPECT_EQ(small->Pixel(x, y)[c], all->Pixel(x, y)[c]);
            }
        }
    }
}

TEST(HostImage, ResizingKeepsConstantsToTheLastBit) {
    Owned<Image> flat(new Image(40, 23, 4));
    std::fill_n(flat->Pixel(0, 0), 40 * 23 * 4, 0.1F);
    for (std::int32_t size = 1; size <= 75; size += 2) {
        const auto constant = resized(*flat, size, size);
        const float* all = constant->Pixel(0, 0);
        EXPECT_EQ(std::count(all, all + size * size * 4, 0.1F), size * size * 4);
    }
}

TEST(HostImage, TheSameSizeIsACopyAndElsewhereUnboundValuesCountAsNothing) {
    const auto image = random_image(6, 5, 5);
    image->Pixel(2, 2)[Image::GREEN] = std::numeric_limits<float>::infinity();
    image->Pixel(3, 2)[Image::GREEN] = std::numeric_limits<float>::quiet_NaN();
    const Owned<Image> copy(image->ResizeOfImage(0));
    ASSERT_EQ(copy->Components(), 5);
    EXPECT_EQ(std::memcmp(copy->Pixel(0, 0), image->Pixel(0, 0), 6 * 5 * 5 * 4), 0);
    const auto half = resized(*image, 3, 3);
    for (int i = 0; i < 3 * 3 * 4; ++i) {
        EXPECT_TRUE(std::isfinite(half->Pixel(0, 0)[i]));
    }
}

TEST(HostImage, NewImagesFollowTheirModelUnlessTagsSayOtherwise) {
    const Owned<Image> model(new Image(7, 4, 20));
    const Owned<Image> like(NewImage(0x60020000, model.get(), 0x18020000, 12, 0));
    EXPECT_EQ(like->Height(), 4);
    EXPECT_EQ(like->Pixel(3, 2) - like->Pixel(0, 0), (2 * 7 + 3) * 20);
    const Owned<Image> kernel(NewImage(0x60020000, model.get(), 0x10020000, 3, 0x10020001,
                                       5, 0x10020002, 7, 0));
    EXPECT_EQ(kernel->Height(), 5);
    EXPECT_EQ(kernel->Pixel(0, 1) - kernel->Pixel(0, 0), 3 * 4);

    EXPECT_THROW(NewImage(0), std::runtime_error);
    for (const auto& [width, height, components] :
         {std::tuple{0, 5, 5}, {5, -1, 5}, {5, 5, 0}}) {
        EXPECT_THROW(Image(width, height, components), std::runtime_error);
    }
    constexpr std::int32_t MOST = std::numeric_limits<std::int32_t>::max();
    EXPECT_THROW(Image(MOST, MOST, MOST), std::bad_alloc);
}

TEST(HostImage, TheFirstNewOneLikeItTakesTheMemoryOffered) {
    const auto model = random_image(5, 3, 4);
    std::vector<float> memory(5 * 3 * 4, -7.0F);
    float* const last_row = memory.data() + std::ptrdiff_t{2 * 5 * 4};
    model->OfferMemory(last_row, -5 * 4);
    const auto modelled = [&](std::int32_t width) {
        return Owned<Image>(NewImage(0x60020000, model.get(),  //
                                     0x10020000, width, 0));
    };
    const auto smaller = modelled(4);
    const auto first = modelled(5);
    const auto second = modelled(5);
    EXPECT_EQ(first->Pixel(0, 0), last_row);
    EXPECT_EQ(first->Pixel(2, 2), memory.data() + 2 * 4);
    EXPECT_EQ(first->Components(), 4);
    second->Pixel(0, 0)[0] = smaller->Pixel(0, 0)[0] = 1.0F;
    EXPECT_EQ(std::ranges::count(memory, -7.0F), std::ssize(memory));
}

TEST(HostImage, BorrowedPixelsStayWhereTheyAre) {
    const auto image = random_image(5, 4, 4);
    // the left three columns, the bottom row first
    const Image part(image->Pixel(0, 3), 3, 4, 4,
                     image->Pixel(0, 0) - image->Pixel(0, 1));
    EXPECT_EQ(part.Pixel(2, 0), image->Pixel(2, 3));
    EXPECT_EQ(part.Pixel(1, 3), image->Pixel(1, 0));
    const Owned<Image> like(NewImage(0x60020000, &part, 0));
    EXPECT_EQ(like->Pixel(0, 1) - like->Pixel(0, 0), 3 * 4) << "in memory of its own";

    const Owned<Image> copy(part.ResizeOfImage(0));
    const auto mean = resized(part, 1, 1);
    for (int c = 0; c < 4; ++c) {
        EXPECT_EQ(copy->Pixel(1, 3)[c], image->Pixel(1, 0)[c]);
        EXPECT_NEAR(mean->Pixel(0, 0)[c], slow_mean(part, *mean, 0, 0, c), 1e-6);
    }
    EXPECT_THROW(Image(image->Pixel(0, 0), 0, 4, 4, 20), std::runtime_error);
}

TEST(HostImage, ALargeImageTakesTheMemoryOfTheLastOneOfItsSize) {
    const auto large = [] { return Owned<Image>(new Image(1100, 1100, 5)); };
    large()->Pixel(0, 0)[0] = 3.0F;
    // from the system it would be 0
    EXPECT_EQ(large()->Pixel(0, 0)[0], 3.0F);
}

}  // namespace
