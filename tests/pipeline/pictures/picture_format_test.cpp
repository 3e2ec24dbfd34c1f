#include "pipeline/pictures/picture_format.h"

#include "tests/support/tool_fixture.h"

using namespace focusfall;
using OIIO::TypeDesc;

TEST(PictureFormat, TellsWhatFilesOfAnEndingHold) {
    const struct {
        const char* file;
        bool named_channels, alpha;
        TypeDesc byte, word, half;  // what these types are stored as
    } formats[] = {
        {"a.exr", true, true, TypeDesc::UINT8, TypeDesc::UINT16, TypeDesc::HALF},
        {"a.tif", false, true, TypeDesc::UINT8, TypeDesc::UINT16, TypeDesc::HALF},
        {"a.png", false, true, TypeDesc::UINT8, TypeDesc::UINT16, TypeDesc::UINT16},
        {"no/such/folder/a.jpg", false, false, TypeDesc::UINT8, TypeDesc::UINT8,
         TypeDesc::UINT8},
        {"a.hdr", false, false, TypeDesc::UINT8, TypeDesc::UINT16, TypeDesc::HALF}};
    for (const auto& [file, named_channels, alpha, byte, word, half] : formats) {
        SCOPED_TRACE(file);
        const picture_format format = format_of(file);
        EXPECT_EQ(format.has_alpha, alpha);
        EXPECT_EQ(format.has_named_channels, named_channels);
        EXPECT_EQ(format.nearest_type(TypeDesc::UINT8), byte);
        EXPECT_EQ(format.nearest_type(TypeDesc::UINT16), word);
        EXPECT_EQ(format.nearest_type(TypeDesc::HALF), half);
    }
    for (const char* file : {"a.doc", "a", ""}) {
        EXPECT_NE(error_of([&] { format_of(file); }).find("try .exr"), std::string::npos);
    }
}
