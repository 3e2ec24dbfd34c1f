#include "pipeline/views/kernel_probe.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>

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

// Draws the kernel in the middle of the square at (left, top) with sides of `cell`, each
// of its pixels `scale` wide.
void draw_tile(Image& sheet, const Image& kernel, std::int32_t left, std::int32_t top,
               std::int32_t cell, std::int32_t scale) {
    const Owned<Image> picture = kernel_picture(kernel);
    const std::int32_t side = scale * kernel.Width();
    const std::int32_t margin = (cell - side) / 2;
    for (std::int32_t y = 0; y < side; ++y) {
        for (std::int32_t x = 0; x < side; ++x) {
            std::copy_n(picture->Pixel(x / scale, y / scale), 3,
                        sheet.Pixel(left + margin + x, top + margin + y));
        }
    }
}

// The rows of a letter from the top, three bits each, the left one first.
struct letter {
    char text;
    std::array<unsigned, 5> rows;
};
constexpr letter LETTERS[] = {
    {'0', {7, 5, 5, 5, 7}}, {'1', {2, 6, 2, 2, 7}}, {'2', {7, 1, 7, 4, 7}},
    {'3', {7, 1, 7, 1, 7}}, {'4', {5, 5, 7, 1, 1}}, {'5', {7, 4, 7, 1, 7}},
    {'6', {7, 4, 7, 5, 7}}, {'7', {7, 1, 2, 2, 2}}, {'8', {7, 5, 7, 5, 7}},
    {'9', {7, 5, 7, 1, 7}}, {'.', {0, 0, 0, 0, 2}}};
constexpr std::int32_t DOT = 2;  // sides of the squares that letters are made of
constexpr std::int32_t LETTER_WIDTH = 4 * DOT;
constexpr std::int32_t LETTER_HEIGHT = 5 * DOT;

void draw_label(Image& sheet, const std::string& text, std::int32_t left,
                std::int32_t top) {
    for (const char c : text) {
        const auto* drawn = std::ranges::find(LETTERS, c, &letter::text);
        for (std::int32_t i = 0; drawn != std::end(LETTERS) && i < 15 * DOT * DOT; ++i) {
            const std::int32_t x = i % (3 * DOT);
            const std::int32_t y = i / (3 * DOT);
            const unsigned row = drawn->rows[static_cast<std::size_t>(y / DOT)];
            if ((row >> (2 - x / DOT) & 1U) == 0) continue;
            if (left + x < sheet.Width())
                std::fill_n(sheet.Pixel(left + x, top + y), 3, 1.0F);
        }
        left += LETTER_WIDTH;
    }
}

}  // namespace

Owned<Image> probed_kernel(headless::tool& tool, double diameter, TimeStamp time,
                           Image* blur_image) {
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
    headless::render_order order{.time = time,
                                 .instead = {{"SettingsType", "Simple"},
                                             {"BlurChannel", "Z"},
                                             {"Normalize", "off"},
                                             {"InvertDepthMap", "off"},
                                             {"FocusPosition", 0.0},
                                             {"MaxBlurSize", 100.0 * largest / width}},
                                 .images = {{"Input", dot.get()}}};
    if (blur_image) order.images["BlurImage"] = blur_image;
    const Owned<Image> blurred = image_of(tool.render(order));
    Owned<Image> kernel = empty_image(side, side);
    for (std::int32_t y = 0; y < side; ++y) {
        std::copy_n(blurred->Pixel(width / 2 - side / 2, y), 5 * side,
                    kernel->Pixel(0, y));
    }
    return kernel;
}

Owned<Image> kernel_picture(const Image& kernel) {
    Owned<Image> picture = empty_image(kernel.Width(), kernel.Height());
    const float peak = peak_of(kernel);
    for (std::int32_t y = 0; y < kernel.Height(); ++y) {
        for (std::int32_t x = 0; x < kernel.Width(); ++x) {
            const float weight = kernel.Pixel(x, y)[Image::RED] / peak;
            float* pixel = picture->Pixel(x, y);
            pixel[Image::RED] = pixel[Image::GREEN] = std::max(weight, 0.0F);
            pixel[Image::BLUE] = std::abs(weight);
            pixel[Image::ALPHA] = 1.0F;
        }
    }
    return picture;
}

Owned<Image> kernel_sheet(const std::vector<std::vector<Owned<Image>>>& rows,
                          const std::vector<std::string>& labels) {
    std::int32_t widest = 1;
    for (const auto& row : rows) {
        for (const auto& kernel : row) widest = std::max(widest, kernel->Width());
    }
    const std::int32_t scale = std::max(1, TILE / widest);
    const std::int32_t cell = std::max(TILE, widest);
    const std::int32_t pitch = cell + GAP;
    const auto columns = static_cast<std::int32_t>(rows.front().size());
    constexpr std::int32_t FIRST_ROW = 2 * GAP + LETTER_HEIGHT;
    Owned<Image> sheet =
        empty_image(columns * pitch + GAP,
                    static_cast<std::int32_t>(rows.size()) * pitch + FIRST_ROW);
    for (std::int32_t y = 0; y < sheet->Height(); ++y) {
        for (std::int32_t x = 0; x < sheet->Width(); ++x) {
            std::fill_n(sheet->Pixel(x, y), 3, GROUND);
            sheet->Pixel(x, y)[Image::ALPHA] = 1.0F;
        }
    }
    for (std::size_t i = 0; i < labels.size(); ++i) {
        draw_label(*sheet, labels[i], GAP + static_cast<std::int32_t>(i) * pitch, GAP);
    }
    std::int32_t top = FIRST_ROW;
    for (const auto& row : rows) {
        std::int32_t left = GAP;
        for (const auto& kernel : row) {
            draw_tile(*sheet, *kernel, left, top, cell, scale);
            left += pitch;
        }
        top += pitch;
    }
    return sheet;
}

}  // namespace focusfall
