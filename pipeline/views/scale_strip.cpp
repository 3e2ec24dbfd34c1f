#include "pipeline/views/scale_strip.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

namespace focusfall {

namespace {

constexpr std::int32_t GLYPH_WIDTH = 3;
constexpr std::int32_t GLYPH_HEIGHT = 5;

// Rows from top to bottom, three dots each.
struct glyph {
    char letter;
    std::string_view dots;
};
constexpr std::array<glyph, 16> GLYPHS{{
    {'0',
     "###"
     "#.#"
     "#.#"
     "#.#"
     "###"},
    {'1',
     ".#."
     "##."
     ".#."
     ".#."
     "###"},
    {'2',
     "###"
     "..#"
     "###"
     "#.."
     "###"},
    {'3',
     "###"
     "..#"
     "###"
     "..#"
     "###"},
    {'4',
     "#.#"
     "#.#"
     "###"
     "..#"
     "..#"},
    {'5',
     "###"
     "#.."
     "###"
     "..#"
     "###"},
    {'6',
     "###"
     "#.."
     "###"
     "#.#"
     "###"},
    {'7',
     "###"
     "..#"
     ".#."
     ".#."
     ".#."},
    {'8',
     "###"
     "#.#"
     "###"
     "#.#"
     "###"},
    {'9',
     "###"
     "#.#"
     "###"
     "..#"
     "###"},
    {'.',
     "..."
     "..."
     "..."
     "..."
     ".#."},
    {'-',
     "..."
     "..."
     "###"
     "..."
     "..."},
    {'+',
     "..."
     ".#."
     "###"
     ".#."
     "..."},
    {'e',
     ".#."
     "#.#"
     "###"
     "#.."
     ".##"},
    {'p',
     "##."
     "#.#"
     "##."
     "#.."
     "#.."},
    {'x',
     "..."
     "#.#"
     ".#."
     "#.#"
     "..."},
}};

// Where letters go, and how large.
struct pen {
    Image& image;
    std::int32_t dot;  // pixels, the side of a dot
    std::int32_t top;

    std::int32_t width_of(const std::string& text) const {
        return static_cast<std::int32_t>(text.size()) * (GLYPH_WIDTH + 1) * dot;
    }
    void write(const std::string& text, std::int32_t left) const;
    void draw(std::string_view dots, std::int32_t left) const;
};

void pen::draw(std::string_view dots, std::int32_t left) const {
    for (std::int32_t y = 0; y < GLYPH_HEIGHT * dot; ++y) {
        for (std::int32_t x = 0; x < GLYPH_WIDTH * dot; ++x) {
            const std::int32_t index = y / dot * GLYPH_WIDTH + x / dot;
            if (dots[static_cast<std::size_t>(index)] != '#') continue;
            paint(image.Pixel(left + x, top + y), INK);
        }
    }
}

void pen::write(const std::string& text, std::int32_t left) const {
    for (const char letter : text) {
        const auto found = std::ranges::find(GLYPHS, letter, &glyph::letter);
        if (found != GLYPHS.end()) draw(found->dots, left);
        left += (GLYPH_WIDTH + 1) * dot;
    }
}

// All of them, each below its place in the bar, as far as the ends let it.
void write_labels(const pen& pen, const std::vector<std::string>& labels) {
    const std::int32_t width = pen.image.Width();
    std::int32_t needed = 0;
    for (const std::string& label : labels) needed += pen.width_of(label) + 2 * pen.dot;
    if (needed > width) return;
    for (std::size_t i = 0; i < labels.size(); ++i) {
        const auto place =
            static_cast<std::int32_t>(static_cast<std::size_t>(width) * i /
                                      std::max<std::size_t>(1, labels.size() - 1));
        const std::int32_t own = pen.width_of(labels[i]);
        pen.write(labels[i], std::clamp(place - own / 2, pen.dot, width - own));
    }
}

}  // namespace

Owned<Image> with_scale(const Image& picture,
                        const std::function<view_color(float part)>& color_of,
                        const std::vector<std::string>& labels) {
    const std::int32_t width = picture.Width();
    const std::int32_t dot = std::max(1, width / 240);
    const std::int32_t bar = 6 * dot;
    const std::int32_t strip = bar + (GLYPH_HEIGHT + 4) * dot;
    const std::int32_t height = picture.Height();
    Owned<Image> image(new Image(width, height + strip, picture.Components()));
    const auto row =
        static_cast<std::size_t>(width) * static_cast<std::size_t>(picture.Components());
    for (std::int32_t y = 0; y < height; ++y) {
        std::copy_n(picture.Pixel(0, y), row, image->Pixel(0, y));
    }
    for (std::int32_t y = height; y < height + strip; ++y) {
        for (std::int32_t x = 0; x < width; ++x) {
            const float part =
                static_cast<float>(x) / static_cast<float>(std::max(1, width - 1));
            const bool in_bar = y >= height + dot && y < height + dot + bar;
            paint(image->Pixel(x, y), in_bar ? color_of(part) : GROUND);
        }
    }
    write_labels({*image, dot, height + bar + 2 * dot}, labels);
    return image;
}

}  // namespace focusfall
