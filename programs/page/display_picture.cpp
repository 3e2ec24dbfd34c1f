#include "programs/page/display_picture.h"

#include <OpenImageIO/filesystem.h>
#include <OpenImageIO/imageio.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

#include "host/error.h"
#include "pipeline/pictures/color_encoding.h"

namespace focusfall {

namespace {

using headless::host_error;

// Light as the upper bits of a float: fine enough for eight bits on the screen.
constexpr unsigned DROPPED_BITS = 13;
using screen_table = std::vector<unsigned char>;

// Light of 1 stays below white, and all that is brighter still differs.
float rolled_off(float light) {
    constexpr float KNEE = 0.6F;
    if (light <= KNEE) return light;
    return 1.0F - (1.0F - KNEE) * std::exp((KNEE - light) / (1.0F - KNEE) / 2.0F);
}

std::function<float(float)> curve_named(const std::string& transform) {
    const color_encoding srgb = color_encoding::srgb();
    if (transform == "srgb") return [srgb](float light) { return srgb.encoded(light); };
    if (transform == "linear") return [](float light) { return light; };
    if (transform == "soft") {
        return [srgb](float light) { return srgb.encoded(rolled_off(light)); };
    }
    if (transform == "rec709") {
        return [curve = color_encoding::named("Rec709")](float light) {
            return curve.encoded(light);
        };
    }
    throw host_error("there is no view transform \"" + transform +
                     "\"; choose srgb, rec709, linear or soft");
}

// The light that all higher ones look like.
float white_of(const std::string& transform) {
    return transform == "soft" ? 16.0F : 1.0F;
}

screen_table made_table(const std::string& transform) {
    const auto curve = curve_named(transform);
    const auto last = std::bit_cast<std::uint32_t>(white_of(transform)) >> DROPPED_BITS;
    screen_table table(last + 1);
    for (std::uint32_t i = 0; i <= last; ++i) {
        const float shown = curve(std::bit_cast<float>(i << DROPPED_BITS));
        table[i] = static_cast<unsigned char>(
            std::lround(255.0F * std::clamp(shown, 0.0F, 1.0F)));
    }
    return table;
}

// Made once each.
const screen_table& table_of(const std::string& transform) {
    static std::mutex mutex;
    static std::map<std::string, screen_table> tables;
    const std::scoped_lock lock(mutex);
    const auto known = tables.find(transform);
    if (known != tables.end()) return known->second;
    return tables.emplace(transform, made_table(transform)).first->second;
}

std::vector<unsigned char> screen_pixels(const Image& image, const window& inside,
                                         const display_look& look) {
    const screen_table& table = table_of(look.transform);
    const float white = white_of(look.transform);
    const auto gain = static_cast<float>(std::exp2(look.exposure));
    const auto shown = [&](float light) {
        light *= gain;
        if (!(light > 0.0F)) return table.front();
        if (light >= white) return table.back();
        return table[std::bit_cast<std::uint32_t>(light) >> DROPPED_BITS];
    };
    std::vector<unsigned char> pixels(static_cast<std::size_t>(inside.width) *
                                      static_cast<std::size_t>(inside.height) * 3);
    auto next = pixels.begin();
    for (std::int64_t y = 0; y < inside.height; ++y) {
        const float* from = image.Pixel(static_cast<std::int32_t>(inside.x),
                                        static_cast<std::int32_t>(inside.y + y));
        for (std::int64_t x = 0; x < inside.width; ++x, from += image.Components()) {
            *next++ = shown(from[Image::RED]);
            *next++ = shown(from[Image::GREEN]);
            *next++ = shown(from[Image::BLUE]);
        }
    }
    return pixels;
}

}  // namespace

page_view page_view_named(const std::string& name) {
    if (name == "result") return page_view::RESULT;
    if (name == "input") return page_view::INPUT;
    if (name == "depth") return page_view::DEPTH;
    if (name == "focus") return page_view::FOCUS;
    if (name == "diameter") return page_view::DIAMETER;
    if (name == "kernel") return page_view::KERNEL;
    throw host_error("there is no view \"" + name +
                     "\"; choose result, input, depth, focus, diameter or kernel");
}

std::string display_picture(const Image& image, const window& inside,
                            const display_look& look, bool fine) {
    const std::vector<unsigned char> pixels = screen_pixels(image, inside, look);
    OIIO::ImageSpec spec(static_cast<int>(inside.width), static_cast<int>(inside.height),
                         3, OIIO::TypeDesc::UINT8);
    spec.attribute("Compression", fine ? "jpeg:95" : "jpeg:88");
    // a fine one is as sharp in colour as in brightness
    spec.attribute("jpeg:subsampling", fine ? "4:4:4" : "4:2:0");
    std::vector<unsigned char> file;
    OIIO::Filesystem::IOVecOutput stream(file);
    const auto output = OIIO::ImageOutput::create("view.jpg", &stream);
    if (!output || !output->open("view.jpg", spec) ||
        !output->write_image(OIIO::TypeDesc::UINT8, pixels.data()) || !output->close()) {
        throw host_error("the picture cannot be shown: " +
                         (output ? output->geterror() : OIIO::geterror()));
    }
    return {file.begin(), file.end()};
}

}  // namespace focusfall
