#include "pipeline/pictures/image_file.h"

#include <utility>

#include "pipeline/pictures/host_image.h"
#include "pipeline/pictures/picture_file.h"
#include "pipeline/pictures/picture_format.h"

namespace focusfall {

namespace {

using OIIO::TypeDesc;

constexpr Image::Component STORED_ORDER[] = {Image::RED, Image::GREEN, Image::BLUE,
                                             Image::ALPHA, Image::Z};

void write_components(const Image& image, OIIO::ImageSpec spec,
                      const std::filesystem::path& file) {
    picture parts;
    parts.push_back(empty_part(std::move(spec)));
    const auto channels = static_cast<std::size_t>(parts[0].spec.nchannels);
    for (std::size_t i = 0; i < channels; ++i) {
        store_component(image, STORED_ORDER[i], parts[0], i);
    }
    write_picture(parts, file);
}

void write_encoded(const Image& image, const std::filesystem::path& file, TypeDesc type,
                   bool with_alpha) {
    OIIO::ImageSpec spec(image.Width(), image.Height(), with_alpha ? 4 : 3, type);
    spec.attribute("oiio:UnassociatedAlpha", 1);
    spec.attribute("oiio:ColorSpace", "sRGB");

    const window area{0, 0, image.Width(), image.Height()};
    const Owned<Image> encoded = cropped(image, area, area);
    encode_image(*encoded, color_encoding::srgb(), with_alpha);
    clamp_image(*encoded);
    write_components(*encoded, std::move(spec), file);
}

void write_linear(const Image& image, const std::filesystem::path& file,
                  const picture_format& format, TypeDesc type) {
    const bool with_z = format.has_named_channels;
    const int channels = with_z ? 5 : format.has_alpha ? 4 : 3;
    OIIO::ImageSpec spec(image.Width(), image.Height(), channels, type);
    if (with_z) {
        spec.channelnames = {"R", "G", "B", "A", "Z"};
        spec.channelformats.assign(4, type);
        spec.channelformats.push_back(TypeDesc::FLOAT);
        spec.z_channel = 4;
    }
    write_components(image, std::move(spec), file);
}

}  // namespace

void write_image(const Image& image, const std::filesystem::path& file, TypeDesc type) {
    const picture_format format = format_of(file);
    const TypeDesc stored = format.nearest_type(type);
    if (stored.is_floating_point()) {
        write_linear(image, file, format, stored);
    } else {
        write_encoded(image, file, stored, format.has_alpha);
    }
}

// Without alpha it is the picture before black: a light's alpha is far below its colour,
// and a viewer that divides by one and lays it over white or black would dim the light.
void write_preview(const Image& image, const std::filesystem::path& file) {
    write_encoded(image, file, TypeDesc::UINT8, /*with_alpha=*/false);
}

}  // namespace focusfall
