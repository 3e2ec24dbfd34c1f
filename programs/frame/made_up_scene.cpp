#include "programs/frame/made_up_scene.h"

namespace {

constexpr std::int32_t SQUARE = 16;          // pixels
constexpr std::uint32_t LIGHT_SPACING = 61;  // one pixel in so many is a light
constexpr float LIGHT = 12.0F;
constexpr float NEAR_DEPTH = 0.05F;

// Spreads a pixel's position over all 32-bit numbers: multiplied by odd constants, the
// high bits folded into the low ones.
std::uint32_t scattered(std::int32_t x, std::int32_t y) {
    std::uint32_t bits = static_cast<std::uint32_t>(x) * 0x9e3779b1U +
                         static_cast<std::uint32_t>(y) * 0x85ebca77U;
    bits = (bits ^ (bits >> 15)) * 0xc2b2ae3dU;
    return bits ^ (bits >> 13);
}

}  // namespace

Owned<Image> made_up_scene(std::int32_t width, std::int32_t height) {
    Owned<Image> image(new Image(width, height, Image::Z + 1));
    for (std::int32_t y = 0; y < height; ++y) {
        const float down = static_cast<float>(y) / static_cast<float>(height);
        for (std::int32_t x = 0; x < width; ++x) {
            const float across = static_cast<float>(x) / static_cast<float>(width);
            const bool near = across > 0.35F && across < 0.6F && down > 0.3F;
            const bool light = scattered(x, y) % LIGHT_SPACING == 0;
            const bool dark = (x / SQUARE + y / SQUARE) % 2 == 0;
            const float gray = light ? LIGHT : dark ? 0.05F : 0.7F;

            float* pixel = image->Pixel(x, y);
            pixel[Image::RED] = near ? 0.8F : gray * across;
            pixel[Image::GREEN] = near ? 0.3F : gray * (1.0F - across);
            pixel[Image::BLUE] = near ? 0.1F : gray * down;
            pixel[Image::ALPHA] = across + down < 0.3F ? 0.0F : 1.0F - 0.5F * down;
            pixel[Image::Z] = near ? NEAR_DEPTH : 1.0F - down;
        }
    }
    return image;
}
