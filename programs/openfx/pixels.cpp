#include "programs/openfx/pixels.h"

#include <algorithm>
#include <cstdlib>
#include <string>

namespace focusfall {

namespace {

constexpr int PIECE_ROWS = 32;  // that a thread copies at a time

int component_count(const std::string& name) {
    if (name == "OfxImageComponentRGBA") return 4;
    if (name == "OfxImageComponentRGB") return 3;
    return name == "OfxImageComponentAlpha" ? 1 : 0;
}

// Calls work(y) for each row of `rows`, on all threads.
template <class Work>
void for_each_row(headless::host& host, const ofx::pixel_rect& rows, Work work) {
    const std::int32_t pieces = (height(rows) + PIECE_ROWS - 1) / PIECE_ROWS;
    host.run(pieces, [&](std::int32_t piece) {
        const int first = rows.y1 + piece * PIECE_ROWS;
        const int last = std::min(first + PIECE_ROWS, rows.y2);
        for (int y = first; y < last; ++y) work(y);
    });
}

// The tool's pixel; its rows are counted downwards.
float* pixel_of(Image& image, const ofx::pixel_rect& area, int x, int y) {
    return image.Pixel(x - area.x1, area.y2 - 1 - y);
}

// Fills a pixel of the tool by one of the host.
using load_pixel = void(float* pixel, const float* lent);

void load_premultiplied(float* pixel, const float* lent) {
    pixel[Image::RED] = lent[0];
    pixel[Image::GREEN] = lent[1];
    pixel[Image::BLUE] = lent[2];
    pixel[Image::ALPHA] = lent[3];
    pixel[Image::Z] = 0.0F;
}

void load_unpremultiplied(float* pixel, const float* lent) {
    pixel[Image::RED] = lent[0] * lent[3];
    pixel[Image::GREEN] = lent[1] * lent[3];
    pixel[Image::BLUE] = lent[2] * lent[3];
    pixel[Image::ALPHA] = lent[3];
    pixel[Image::Z] = 0.0F;
}

void load_opaque(float* pixel, const float* lent) {
    pixel[Image::RED] = lent[0];
    pixel[Image::GREEN] = lent[1];
    pixel[Image::BLUE] = lent[2];
    pixel[Image::ALPHA] = 1.0F;
    pixel[Image::Z] = 0.0F;
}

void load_single(float* pixel, const float* lent) {
    std::fill_n(pixel, Image::Z + 1, lent[0]);
}

load_pixel* loader_of(const lent_image& from) {
    if (from.components() == 1) return load_single;
    if (from.components() == 3) return load_opaque;
    return from.is_unpremultiplied() ? load_unpremultiplied : load_premultiplied;
}

// A template, so that each kind of copy is a loop of its own.
template <load_pixel* LOAD>
void load_row(const lent_image& from, const ofx::pixel_rect& part, int y, float* pixel) {
    const float* lent = from.pixel(part.x1, y);
    for (int x = part.x1; x < part.x2; ++x) {
        LOAD(pixel, lent);
        pixel += Image::Z + 1;
        lent += from.components();
    }
}

template <load_pixel* LOAD>
void load_picture(headless::host& host, const lent_image& from,
                  const ofx::pixel_rect& area, Image& image) {
    const ofx::pixel_rect part = common(area, from.bounds());
    for_each_row(host, area, [&](int y) {
        const bool lent = y >= part.y1 && y < part.y2 && !is_empty(part);
        float* const row = pixel_of(image, area, area.x1, y);
        if (!lent || width(part) != width(area)) {
            std::fill_n(row, std::ptrdiff_t{width(area)} * (Image::Z + 1), 0.0F);
        }
        if (lent) load_row<LOAD>(from, part, y, pixel_of(image, area, part.x1, y));
    });
}

void store_row(const float* pixel, std::ptrdiff_t step, int count, bool divide,
               int components, float* lent) {
    for (int i = 0; i < count; ++i) {
        const float alpha = pixel[Image::ALPHA];
        // colour without alpha has no other form
        const float divisor = divide && alpha > 0.0F ? alpha : 1.0F;
        if (components == 1) {
            lent[0] = alpha;
        } else {
            lent[0] = pixel[Image::RED] / divisor;
            lent[1] = pixel[Image::GREEN] / divisor;
            lent[2] = pixel[Image::BLUE] / divisor;
            if (components == 4) lent[3] = alpha;
        }
        pixel += step;
        lent += components;
    }
}

}  // namespace

lent_image::lent_image(ofx::clip from, ofx::time at) {
    if (!from) return;
    const auto& suite = *ofx::link.image_effect;
    ofx::properties image = nullptr;
    if (suite.get_image(from, at, nullptr, &image) != ofx::OK || !image) return;
    image_.reset(image);
    bounds_ = properties().pixels("OfxImagePropBounds");
    data_ = static_cast<std::byte*>(properties().pointer("OfxImagePropData"));
    row_bytes_ = properties().integer("OfxImagePropRowBytes", 0);
    components_ = component_count(properties().text("OfxImageEffectPropComponents"));
    if (!is_usable()) throw ofx::failure{ofx::FAILED};
}

bool lent_image::is_usable() const {
    constexpr auto FLOAT_BYTES = static_cast<int>(sizeof(float));
    if (!data_ || components_ == 0 || is_empty(bounds_)) return false;
    if (properties().text("OfxImageEffectPropPixelDepth") != "OfxBitDepthFloat") {
        return false;
    }
    const std::ptrdiff_t bytes =
        std::ptrdiff_t{width(bounds_)} * components_ * FLOAT_BYTES;
    return row_bytes_ % FLOAT_BYTES == 0 &&
           (height(bounds_) == 1 || std::abs(std::ptrdiff_t{row_bytes_}) >= bytes);
}

bool lent_image::is_unpremultiplied() const {
    return properties().text("OfxImageEffectPropPreMultiplication") ==
           "OfxImageAlphaUnPremultiplied";
}

Owned<Image> tool_picture(headless::host& host, const lent_image& from,
                          const ofx::pixel_rect& area) {
    Owned<Image> image(new Image(width(area), height(area), Image::Z + 1));
    load_pixel* const load = loader_of(from);
    if (load == load_single) load_picture<load_single>(host, from, area, *image);
    if (load == load_opaque) load_picture<load_opaque>(host, from, area, *image);
    if (load == load_unpremultiplied) {
        load_picture<load_unpremultiplied>(host, from, area, *image);
    }
    if (load == load_premultiplied) {
        load_picture<load_premultiplied>(host, from, area, *image);
    }
    return image;
}

void load_depth(headless::host& host, const lent_image& from, const ofx::pixel_rect& area,
                Image& image) {
    const ofx::pixel_rect part = common(area, from.bounds());
    for_each_row(host, part, [&](int y) {
        const float* lent = from.pixel(part.x1, y);
        float* pixel = pixel_of(image, area, part.x1, y);
        for (int x = part.x1; x < part.x2; ++x) {
            pixel[Image::Z] = *lent;
            pixel += image.Components();
            lent += from.components();
        }
    });
}

void store_picture(headless::host& host, const Image& image, const ofx::pixel_rect& area,
                   const ofx::pixel_rect& window, const lent_image& to) {
    const bool divide = to.is_unpremultiplied();
    const ofx::pixel_rect all = common(window, to.bounds());
    const ofx::pixel_rect part = common(all, area);
    for_each_row(host, all, [&](int y) {
        const bool shown = y >= part.y1 && y < part.y2 && !is_empty(part);
        if (!shown || width(part) != width(all)) {
            std::fill_n(to.pixel(all.x1, y), width(all) * to.components(), 0.0F);
        }
        if (!shown) return;
        store_row(image.Pixel(part.x1 - area.x1, area.y2 - 1 - y), image.Components(),
                  width(part), divide, to.components(), to.pixel(part.x1, y));
    });
}

}  // namespace focusfall
