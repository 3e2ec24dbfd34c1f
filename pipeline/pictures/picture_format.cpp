#include "pipeline/pictures/picture_format.h"

#include <set>
#include <string>

#include "host/error.h"

namespace focusfall {

OIIO::TypeDesc picture_format::nearest_type(OIIO::TypeDesc type) const {
    if (has_floats) return type;
    const bool is_byte = type.size() == 1;
    return is_byte || !has_words ? OIIO::TypeDesc::UINT8 : OIIO::TypeDesc::UINT16;
}

std::unique_ptr<OIIO::ImageOutput> writer_for(const std::filesystem::path& file) {
    auto writer = OIIO::ImageOutput::create(file.string());
    // one of the library's writers throws everything away
    if (!writer || std::string(writer->format_name()) == "null") {
        OIIO::geterror();  // or the library would keep it for the next fault
        throw headless::host_error(
            file.string() +
            ": no picture format has this ending; try .exr, .png, .tif or .jpg");
    }
    return writer;
}

picture_format format_of(const std::filesystem::path& file) {
    const auto writer = writer_for(file);
    const std::string name = writer->format_name();
    // the library does not tell which pixel types a writer takes
    static const std::set<std::string> WITH_FLOATS{"openexr", "tiff", "hdr"};
    static const std::set<std::string> WITH_WORDS{"png", "tiff", "dpx",
                                                  "pnm", "sgi",  "jpeg2000"};
    picture_format format;
    format.has_named_channels =
        writer->supports("channelformats") > 0 && writer->supports("nchannels") > 0;
    // HDR says that it holds alpha, and drops it
    format.has_alpha = writer->supports("alpha") > 0 && name != "hdr";
    format.has_floats = WITH_FLOATS.contains(name);
    format.has_words = WITH_WORDS.contains(name);
    return format;
}

picture_format output_format(const std::filesystem::path& file) {
    if (std::filesystem::is_directory(file)) {
        throw headless::host_error(file.string() + ": is a folder; name a picture in it");
    }
    return format_of(file);
}

void check_compression(const std::string& name) {
    static const std::set<std::string> KNOWN{
        "", "none", "rle", "zip", "zips", "piz", "pxr24", "b44", "b44a", "dwaa", "dwab"};
    if (KNOWN.contains(name.substr(0, name.find(':')))) return;
    throw headless::host_error("OpenEXR has no compression \"" + name +
                               "\"; choose none, rle, zip, zips, piz, pxr24, b44, b44a, "
                               "dwaa or dwab");
}

}  // namespace focusfall
