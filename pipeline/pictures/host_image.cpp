#include "pipeline/pictures/host_image.h"

#include <algorithm>
#include <cmath>

namespace focusfall {

namespace {

// Bytes from the start of a part's pixel to its channel.
std::size_t channel_offset(const OIIO::ImageSpec& spec, std::size_t channel) {
    return spec.pixel_bytes(0, static_cast<int>(channel), true);
}

// Copies what `area` holds of a channel to a component.
void load_component(const picture_part& part, std::size_t channel, const window& area,
                    Image& image, Image::Component component) {
    const window data = data_window(part.spec);
    const window both = common(data, area);
    if (both.width < 1 || both.height < 1) return;

    const auto pixel_bytes = static_cast<std::int64_t>(part.spec.pixel_bytes(true));
    const std::byte* source =
        part.pixels.get() + channel_offset(part.spec, channel) +
        ((both.y - data.y) * data.width + (both.x - data.x)) * pixel_bytes;
    float* const target = image.Pixel(static_cast<std::int32_t>(both.x - area.x),
                                      static_cast<std::int32_t>(both.y - area.y)) +
                          component;
    const auto target_bytes =
        static_cast<std::int64_t>(sizeof(float)) * image.Components();
    OIIO::convert_image(1, static_cast<int>(both.width), static_cast<int>(both.height), 1,
                        source, part.spec.channelformat(static_cast<int>(channel)),
                        pixel_bytes, pixel_bytes * data.width, OIIO::AutoStride, target,
                        OIIO::TypeDesc::FLOAT, target_bytes, target_bytes * area.width,
                        OIIO::AutoStride);
}

// Calls work(pixel) for the pixels of `inside`, which lies in the image's `area`.
template <class Work>
void for_each_pixel(Image& image, const window& area, const window& inside, Work work) {
    for (std::int64_t y = 0; y < inside.height; ++y) {
        float* pixel = image.Pixel(static_cast<std::int32_t>(inside.x - area.x),
                                   static_cast<std::int32_t>(inside.y - area.y + y));
        for (std::int64_t x = 0; x < inside.width; ++x) {
            work(pixel);
            pixel += image.Components();
        }
    }
}

void load_color(const picture_part& part, const color_channels& color, const window& area,
                const color_encoding& encoding, Image& image) {
    load_component(part, color.red, area, image, Image::RED);
    load_component(part, color.green, area, image, Image::GREEN);
    if (color.blue) load_component(part, *color.blue, area, image, Image::BLUE);
    if (color.alpha) load_component(part, *color.alpha, area, image, Image::ALPHA);

    const bool multiply =
        color.alpha && part.spec.get_int_attribute("oiio:UnassociatedAlpha") != 0;
    const window inside = common(data_window(part.spec), area);
    if (color.alpha && !multiply && encoding.is_linear()) return;
    for_each_pixel(image, area, inside, [&](float* pixel) {
        if (!color.alpha) pixel[Image::ALPHA] = 1.0F;
        for (const auto component : {Image::BLUE, Image::GREEN, Image::RED}) {
            pixel[component] = encoding.decoded(pixel[component]);
            if (multiply) pixel[component] *= pixel[Image::ALPHA];
        }
    });
}

}  // namespace

color_encoding stored_encoding(const OIIO::ImageSpec& spec) {
    const std::string name = spec.get_string_attribute("oiio:ColorSpace");
    if (!name.empty()) return color_encoding::named(name);
    // film scans say so in words of their own
    if (spec.get_string_attribute("dpx:Transfer") == "Printing density") {
        return color_encoding::cineon();
    }
    const bool whole_numbers = !spec.format.is_floating_point();
    return whole_numbers ? color_encoding::srgb() : color_encoding::linear();
}

Owned<Image> host_image(const picture& file, const std::optional<color_channels>& color,
                        const std::optional<channel_place>& depth, const window& area,
                        const color_encoding& encoding) {
    Owned<Image> image(new Image(static_cast<std::int32_t>(area.width),
                                 static_cast<std::int32_t>(area.height), Image::Z + 1));
    std::fill_n(image->Pixel(0, 0), area.width * area.height * (Image::Z + 1), 0.0F);
    if (color) load_color(file[color->part], *color, area, encoding, *image);
    if (depth) load_component(file[depth->part], depth->channel, area, *image, Image::Z);
    return image;
}

void store_component(const Image& image, Image::Component component, picture_part& part,
                     std::size_t channel) {
    const auto source_bytes =
        static_cast<OIIO::stride_t>(sizeof(float)) * image.Components();
    const auto pixel_bytes = static_cast<OIIO::stride_t>(part.spec.pixel_bytes(true));
    OIIO::convert_image(1, image.Width(), image.Height(), 1,
                        image.Pixel(0, 0) + component, OIIO::TypeDesc::FLOAT,
                        source_bytes, OIIO::AutoStride, OIIO::AutoStride,
                        part.pixels.get() + channel_offset(part.spec, channel),
                        part.spec.channelformat(static_cast<int>(channel)), pixel_bytes,
                        OIIO::AutoStride, OIIO::AutoStride);
}

void encode_image(Image& image, const color_encoding& encoding, bool unassociated) {
    const window area{0, 0, image.Width(), image.Height()};
    for_each_pixel(image, area, area, [&](float* pixel) {
        const float alpha = pixel[Image::ALPHA];
        const float divisor = unassociated && alpha > 0.0F ? alpha : 1.0F;
        for (const auto component : {Image::BLUE, Image::GREEN, Image::RED}) {
            pixel[component] = encoding.encoded(pixel[component] / divisor);
        }
    });
}

void clamp_image(Image& image) {
    const window area{0, 0, image.Width(), image.Height()};
    for_each_pixel(image, area, area, [](float* pixel) {
        for (std::int32_t i = 0; i <= Image::ALPHA; ++i) {
            pixel[i] = std::isnan(pixel[i]) ? 0.0F : std::clamp(pixel[i], 0.0F, 1.0F);
        }
    });
}

Owned<Image> cropped(const Image& image, const window& area, const window& inside) {
    Owned<Image> crop(new Image(static_cast<std::int32_t>(inside.width),
                                static_cast<std::int32_t>(inside.height),
                                image.Components()));
    const auto row = static_cast<std::size_t>(inside.width * image.Components());
    for (std::int32_t y = 0; y < crop->Height(); ++y) {
        std::copy_n(image.Pixel(static_cast<std::int32_t>(inside.x - area.x),
                                static_cast<std::int32_t>(inside.y - area.y) + y),
                    row, crop->Pixel(0, y));
    }
    return crop;
}

}  // namespace focusfall
