#include "programs/command/kernel_probe.h"

#include <algorithm>
#include <cmath>

#include "lens/kernel_sizes.h"
#include "pipeline/process/interruption.h"

namespace focusfall {

namespace {

constexpr std::int32_t TILE = 180;  // smallest side of a kernel on a sheet
constexpr std::int32_t GAP = 6;
constexpr float GROUND = 0.012F;  // grey between the kernels

Owned<Image> empty_image(std::int32_t width, std::int32_t height) {
    Owned<Image> image(new Image(width, height, 5));
    std::fill_n(image->Pixel(0, 0),
                std::size_t{5} * static_cast<std::size_t>(width) *
                    static_cast<std::size_t>(height),
                0.0F);
    return image;
}

float peak_of(const Image& kernel) {
    float peak = 0.0F;
    for (std::int32_t y = 0; y < kernel.Height(); ++y) {
        for (std::int32_t x = 0; x < kernel.Width(); ++x) {
            peak = std::max(peak, std::abs(kernel.Pixel(x, y)[Image::RED]));
        }
    }
    return peak > 0.0F ? peak : 1.0F;
}

// Draws the kernel in the middle of the square at (left, top) with sides of `cell`.
void draw_tile(Image& sheet, const Image& kernel, std::int32_t left, std::int32_t top,
               std::int32_t cell) {
    const std::int32_t factor = std::max(1, cell / kernel.Width());
    const std::int32_t margin = (cell - factor * kernel.Width()) / 2;
    const float peak = peak_of(kernel);
    for (std::int32_t y = 0; y < factor * kernel.Height(); ++y) {
        for (std::int32_t x = 0; x < factor * kernel.Width(); ++x) {
            const float weight = kernel.Pixel(x / factor, y / factor)[Image::RED] / peak;
            float* pixel = sheet.Pixel(left + margin + x, top + margin + y);
            pixel[Image::RED] = pixel[Image::GREEN] = std::max(weight, 0.0F);
            pixel[Image::BLUE] = std::abs(weight);
        }
    }
}

}  // namespace

Owned<Image> probed_kernel(headless::tool& tool, double diameter) {
    const auto side =
        2 * static_cast<std::int32_t>(std::max(1.0, std::ceil((diameter - 1.0) / 2.0))) +
        3;
    // kernels are at most a quarter of the picture wide
    const std::int32_t width = 4 * (side + 1);
    // half a step above the kernel's own diameter: single precision may round downwards
    const double blur =
        (std::round(diameter / lens::KERNEL_STEP) + 0.5) * lens::KERNEL_STEP;
    // the tool does not blur a frame whose largest blur is one pixel or less
    const double largest = std::max(blur, 2.0);
    // the blur of depth z is largest * z / (1 + z) when the focus is at 0
    const double z = blur < largest ? blur / (largest - blur) : 1e30;

    const Owned<Image> dot = empty_image(width, side);
    float* middle = dot->Pixel(width / 2, side / 2);
    std::fill_n(middle, Image::Z, 1.0F);
    middle[Image::Z] = static_cast<float>(z);
    const Owned<Image> blurred =
        image_of(tool.render({.instead = {{"SettingsType", "Simple"},
                                          {"BlurChannel", "Z"},
                                          {"Normalize", "off"},
                                          {"InvertDepthMap", "off"},
                                          {"FocusPosition", 0.0},
                                          {"MaxBlurSize", 100.0 * largest / width}},
                              .images = {{"Input", dot.get()}}}));
    Owned<Image> kernel = empty_image(side, side);
    for (std::int32_t y = 0; y < side; ++y) {
        std::copy_n(blurred->Pixel(width / 2 - side / 2, y), 5 * side,
                    kernel->Pixel(0, y));
    }
    return kernel;
}

Owned<Image> kernel_sheet(const std::vector<std::vector<Owned<Image>>>& rows) {
    std::int32_t cell = TILE;
    for (const auto& row : rows) {
        for (const auto& kernel : row) cell = std::max(cell, kernel->Width());
    }
    const std::int32_t pitch = cell + GAP;
    const auto columns = static_cast<std::int32_t>(rows.front().size());
    Owned<Image> sheet = empty_image(
        columns * pitch + GAP, static_cast<std::int32_t>(rows.size()) * pitch + GAP);
    for (std::int32_t y = 0; y < sheet->Height(); ++y) {
        for (std::int32_t x = 0; x < sheet->Width(); ++x) {
            std::fill_n(sheet->Pixel(x, y), 3, GROUND);
            sheet->Pixel(x, y)[Image::ALPHA] = 1.0F;
        }
    }
    std::int32_t top = GAP;
    for (const auto& row : rows) {
        std::int32_t left = GAP;
        for (const auto& kernel : row) {
            draw_tile(*sheet, *kernel, left, top, cell);
            left += pitch;
        }
        top += pitch;
    }
    return sheet;
}

}  // namespace focusfall
