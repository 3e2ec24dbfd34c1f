#include "pipeline/pictures/host_image.h"

#include <algorithm>
#include <cmath>

#include "pipeline/pictures/pixel_rows.h"

namespace focusfall {

namespace {

// Bytes from the start of a part's pixel to its channel.
std::size_t channel_offset(const OIIO::ImageSpec& spec, std::size_t channel) {
    return spec.pixel_bytes(0, static_cast<int>(channel), true);
}

// A component from pixel (x, y) of an image on.
template <class Byte, class Picture>
number_row<Byte> component_row(Picture& image, std::int64_t x, std::int64_t y,
                               std::int32_t component) {
    auto* const first =
        image.Pixel(static_cast<std::int32_t>(x), static_cast<std::int32_t>(y)) +
        component;
    return {reinterpret_cast<Byte*>(first),
            static_cast<std::ptrdiff_t>(sizeof(float)) * image.Components(),
            OIIO::TypeDesc::FLOAT};
}

// A channel from pixel (x, y) of a part on, counted from its first one.
number_row<std::byte> channel_row(const picture_part& part, std::int64_t x,
                                  std::int64_t y, std::size_t channel) {
    const auto pixel_bytes = static_cast<std::ptrdiff_t>(part.spec.pixel_bytes(true));
    return {part.pixels.get() + channel_offset(part.spec, channel) +
                (y * part.spec.width + x) * pixel_bytes,
            pixel_bytes, part.spec.channelformat(static_cast<int>(channel))};
}

// Copies what `area` holds of a channel to a component.
void load_component(const picture_part& part, std::size_t channel, const window& area,
                    Image& image, Image::Component component) {
    const window data = data_window(part.spec);
    const window both = common(data, area);
    if (both.width < 1 || both.height < 1) return;
    for_each_row(both.height, [&](std::int64_t y) {
        convert_row(channel_row(part, both.x - data.x, both.y - data.y + y, channel),
                    both.width,
                    component_row<std::byte>(image, both.x - area.x, both.y - area.y + y,
                                             component));
    });
}

// Calls work(pixel) for the pixels of `inside`, which lies in the image's `area`.
template <class Work>
void for_each_pixel(Image& image, const window& area, const window& inside, Work work) {
    for_each_row(inside.height, [&](std::int64_t y) {
        float* pixel = image.Pixel(static_cast<std::int32_t>(inside.x - area.x),
                                   static_cast<std::int32_t>(inside.y - area.y + y));
        for (std::int64_t x = 0; x < inside.width; ++x) {
            work(pixel);
            pixel += image.Components();
        }
    });
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
    for_each_row(area.height, [&](std::int64_t y) {
        std::fill_n(image->Pixel(0, static_cast<std::int32_t>(y)),
                    area.width * (Image::Z + 1), 0.0F);
    });
    if (color) load_color(file[color->part], *color, area, encoding, *image);
    if (depth) load_component(file[depth->part], depth->channel, area, *image, Image::Z);
    return image;
}

void store_component(const Image& image, Image::Component component, picture_part& part,
                     std::size_t channel) {
    for_each_row(image.Height(), [&](std::int64_t y) {
        convert_row(component_row<const std::byte>(image, 0, y, component), image.Width(),
                    channel_row(part, 0, y, channel));
    });
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
    for_each_row(inside.height, [&](std::int64_t row_y) {
        const auto y = static_cast<std::int32_t>(row_y);
        std::copy_n(image.Pixel(static_cast<std::int32_t>(inside.x - area.x),
                                static_cast<std::int32_t>(inside.y - area.y) + y),
                    row, crop->Pixel(0, y));
    });
    return crop;
}

}  // namespace focusfall
