// Deep pictures as the reader gives them: flat.

#include <cmath>
#include <random>

#include <OpenImageIO/deepdata.h>

#include "tests/support/made_pictures.h"
#include "tests/support/tool_fixture.h"

using namespace focusfall;

namespace {

using OIIO::TypeDesc;

struct deep_sample {
    float red, alpha, z;
    std::uint32_t id;
};

class DeepPicture : public testing::Test, protected picture_folder {
  protected:
    // One row of pixels with R, A, Z and id, read back.
    picture_part flat(const std::vector<std::vector<deep_sample>>& pixels,
                      int tile = 0) const {
        OIIO::ImageSpec spec(static_cast<int>(pixels.size()), 1, 4, TypeDesc::FLOAT);
        spec.channelnames = {"R", "A", "Z", "id"};
        spec.channelformats = {TypeDesc::HALF, TypeDesc::HALF, TypeDesc::FLOAT,
                               TypeDesc::UINT};
        spec.z_channel = 2;
        spec.deep = true;
        if (tile > 0) {
            spec.tile_width = spec.tile_height = tile;
            spec.tile_depth = 1;
        }
        OIIO::DeepData samples(spec);
        for (std::size_t i = 0; i < pixels.size(); ++i) {
            const auto pixel = static_cast<std::int64_t>(i);
            samples.set_samples(pixel, static_cast<int>(pixels[i].size()));
        }
        for (std::size_t i = 0; i < pixels.size(); ++i) {
            const auto pixel = static_cast<std::int64_t>(i);
            for (int s = 0; s < samples.samples(pixel); ++s) {
                const deep_sample& sample = pixels[i][static_cast<std::size_t>(s)];
                samples.set_deep_value(pixel, 0, s, sample.red);
                samples.set_deep_value(pixel, 1, s, sample.alpha);
                samples.set_deep_value(pixel, 2, s, sample.z);
                samples.set_deep_value(pixel, 3, s, sample.id);
            }
        }
        const std::string file = path("deep.exr");
        auto output = OIIO::ImageOutput::create(file);
        EXPECT_TRUE(output->open(file, spec) && output->write_deep_image(samples) &&
                    output->close())
            << output->geterror();
        picture_reader reader(file);
        EXPECT_NE(reader.note().find("deep"), std::string::npos);
        picture parts = reader.read();
        EXPECT_FALSE(parts[0].spec.deep);
        return std::move(parts[0]);
    }
};

std::uint32_t id_of(const picture_part& part, std::int64_t x) {
    std::uint32_t id = 0;
    const auto bytes = stored(part, "id", {x, 0, 1, 1});
    std::memcpy(&id, bytes.data(), sizeof id);
    return id;
}

}  // namespace

TEST_F(DeepPicture, IsCompositedFromTheNearestSampleOn) {
    // stored from far to near: the order in the file does not matter
    const picture_part part =
        flat({{{0.5F, 1.0F, 9.0F, 3}, {0.25F, 0.5F, 2.0F, 4000000001}},
              {{0.75F, 1.0F, 5.0F, 7}},
              {}});
    EXPECT_EQ(values(part, "R"), (std::vector{0.5F, 0.75F, 0.0F}));
    EXPECT_EQ(values(part, "A"), (std::vector{1.0F, 1.0F, 0.0F}));
    EXPECT_EQ(values(part, "Z"), (std::vector{2.0F, 5.0F, 1e30F}));
    EXPECT_EQ(id_of(part, 0), 4000000001U) << "numbers of surfaces are not composited";
    EXPECT_EQ(id_of(part, 1), 7U);
}

TEST_F(DeepPicture, HasTheDepthOfTheFirstSurfaceThatCanBeNoticed) {
    const std::vector<deep_sample> thin_fog = {
        {0.0F, 0.01F, 1.0F, 1}, {0.0F, 0.02F, 2.0F, 2}, {0.5F, 1.0F, 8.0F, 3}};
    std::vector<deep_sample> thick_fog;
    for (int i = 1; i <= 20; ++i) {
        thick_fog.push_back({0.0F, 0.03F, static_cast<float>(i), 1});
    }
    const std::vector<deep_sample> thin_edge = {{0.01F, 0.02F, 3.0F, 1},
                                                {0.01F, 0.02F, 6.0F, 2}};
    const std::vector<deep_sample> strange = {{0.1F, NAN, NAN, 1}, {0.5F, 2.0F, 4.0F, 2}};
    const std::vector<deep_sample> hidden_infinity = {{0.5F, 1.0F, 4.0F, 2},
                                                      {INFINITY, 1.0F, 5.0F, 2}};
    const picture_part part =
        flat({thin_fog, thick_fog, thin_edge, strange, hidden_infinity});
    const auto depths = values(part, "Z");
    EXPECT_EQ(depths[0], 8.0F);
    EXPECT_EQ(depths[1], 4.0F);  // 0.97^4 leaves less than nine tenths
    EXPECT_EQ(depths[2], 3.0F);
    EXPECT_EQ(depths[3], 4.0F);
    EXPECT_EQ(depths[4], 4.0F);
    EXPECT_EQ(values(part, "R")[4], 0.5F);
}

TEST_F(DeepPicture, ComesFromTilesAsFromLines) {
    std::mt19937 random(3);
    std::uniform_real_distribution<float> number(0.0F, 1.0F);
    std::vector<std::vector<deep_sample>> pixels(37);
    for (auto& pixel : pixels) {
        pixel.resize(random() % 5);
        for (deep_sample& s : pixel) {
            s = {number(random), number(random), 1.0F + number(random), 5};
        }
    }
    const picture_part lines = flat(pixels);
    const picture_part tiles = flat(pixels, 16);
    for (const char* channel : {"R", "A", "Z"}) {
        EXPECT_EQ(values(tiles, channel), values(lines, channel)) << channel;
    }
}
