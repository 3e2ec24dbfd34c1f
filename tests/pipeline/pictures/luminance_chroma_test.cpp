// Pictures of luminance and small chroma, as the reader gives them: in R, G and B.

#include <ImfChannelList.h>
#include <ImfRgbaFile.h>
#include <ImfStandardAttributes.h>

#include "host/error.h"
#include "tests/support/made_pictures.h"
#include "tests/support/tool_fixture.h"

using namespace focusfall;

namespace {

namespace exr = OPENEXR_IMF_NAMESPACE;

const window DATA{4, -2, 40, 30};
const window DISPLAY{0, 0, 60, 40};

class LuminanceChroma : public testing::Test, protected picture_folder {
  protected:
    // A soft picture, whose colours survive smaller chroma.
    std::string written(const std::string& name, exr::RgbaChannels channels,
                        exr::Compression compression) const {
        exr::Header header({{0, 0}, {59, 39}}, {{4, -2}, {43, 27}}, 1.0F, {0, 0}, 1.0F,
                           exr::INCREASING_Y, compression);
        exr::addOwner(header, "the studio");
        std::vector<exr::Rgba> pixels;
        for (int y = 0; y < 30; ++y) {
            for (int x = 0; x < 40; ++x) {
                pixels.emplace_back(0.2F + 0.01F * static_cast<float>(x),
                                    0.5F + 0.01F * static_cast<float>(y), 0.4F, 0.75F);
            }
        }
        exr::RgbaOutputFile file(path(name).c_str(), header, channels);
        file.setFrameBuffer(exr::ComputeBasePointer(pixels.data(), header.dataWindow()),
                            1, 40);
        file.writePixels(30);
        return path(name);
    }
};

}  // namespace

TEST_F(LuminanceChroma, IsReadAsRgbWithItsWindowsAndHeader) {
    const std::string file = written("yca.exr", exr::WRITE_YCA, exr::PIZ_COMPRESSION);
    picture_reader reader(file);
    EXPECT_NE(reader.note().find("luminance"), std::string::npos);
    const picture part = reader.read();
    const OIIO::ImageSpec& spec = part[0].spec;
    EXPECT_EQ(spec.channelnames, (std::vector<std::string>{"R", "G", "B", "A"}));
    EXPECT_EQ(data_window(spec), DATA);
    EXPECT_EQ(display_window(spec), DISPLAY);
    EXPECT_EQ(spec.get_string_attribute("Copyright"), "the studio");
    EXPECT_EQ(spec.get_string_attribute("compression"), "piz");
    const auto red = values(part[0], "R");
    const auto green = values(part[0], "G");
    const auto alpha = values(part[0], "A");
    for (std::size_t i = 0; i < red.size(); ++i) {
        const std::size_t row = i / 40;
        const auto x = static_cast<float>(i % 40);
        const auto y = static_cast<float>(row);
        ASSERT_NEAR(red[i], 0.2F + 0.01F * x, 0.02F) << i;
        ASSERT_NEAR(green[i], 0.5F + 0.01F * y, 0.02F) << i;
        ASSERT_EQ(alpha[i], 0.75F);
    }
    // a lossy compression would lose once more
    written("yc.exr", exr::WRITE_YC, exr::B44_COMPRESSION);
    const picture opaque = read_picture(path("yc.exr"));
    EXPECT_EQ(opaque[0].spec.get_string_attribute("compression"), "zip");
    EXPECT_EQ(opaque[0].spec.nchannels, 3);
}

TEST_F(LuminanceChroma, IsRefusedByNameWhenItIsTooLargeOrDamaged) {
    const std::string file = written("yc.exr", exr::WRITE_YC, exr::ZIP_COMPRESSION);
    const std::string large = error_of([&] { picture_reader(file, 10'000); });
    EXPECT_NE(large.find("yc.exr: takes more than the memory"), std::string::npos)
        << large;
    std::filesystem::resize_file(file, std::filesystem::file_size(file) - 500);
    const std::string damaged = error_of([&] { read_picture(file); });
    EXPECT_NE(damaged.find("yc.exr: "), std::string::npos) << damaged;
}
