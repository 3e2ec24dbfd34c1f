#include "programs/openfx/pixels.h"

#include <algorithm>
#include <cstdlib>
#include <string>
#include <utility>

namespace focusfall {

namespace {

constexpr int PIECE_ROWS = 32;  // that a thread copies at a time
constexpr int COLOR_COMPONENTS = 4;

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

// Makes of a pixel of the host one of the tool. All is read before anything is written:
// that makes a few vector instructions of it.
using load_pixel = void(float* pixel, const float* lent);

void set_pixel(float* pixel, float red, float green, float blue, float alpha) {
    pixel[0] = red;
    pixel[1] = green;
    pixel[2] = blue;
    pixel[3] = alpha;
}

void load_premultiplied(float* pixel, const float* lent) {
    set_pixel(pixel, lent[0], lent[1], lent[2], lent[3]);
}

void load_unpremultiplied(float* pixel, const float* lent) {
    const float alpha = lent[3];
    set_pixel(pixel, lent[0] * alpha, lent[1] * alpha, lent[2] * alpha, alpha);
}

void load_opaque(float* pixel, const float* lent) {
    set_pixel(pixel, lent[0], lent[1], lent[2], 1.0F);
}

void load_single(float* pixel, const float* lent) {
    set_pixel(pixel, *lent, *lent, *lent, *lent);
}

// Templates, so that each kind of copy is a loop of its own.
template <load_pixel* LOAD, int COMPONENTS>
void load_row(const float* lent, int count, float* pixel, int step) {
    for (int i = 0; i < count; ++i) {
        LOAD(pixel, lent);
        pixel += step;
        lent += COMPONENTS;
    }
}

using row_loader = void(const float* lent, int count, float* pixel, int step);

row_loader* loader_of(const lent_image& from) {
    if (from.components() == 1) return load_row<load_single, 1>;
    if (from.components() == 3) return load_row<load_opaque, 3>;
    return from.is_unpremultiplied() ? load_row<load_unpremultiplied, 4>
                                     : load_row<load_premultiplied, 4>;
}

bool has_row(const ofx::pixel_rect& part, int y) {
    return !is_empty(part) && y >= part.y1 && y < part.y2;
}

// Divides the colours of a row by alpha.
void store_unpremultiplied(const float* pixel, int count, float* lent) {
    for (int i = 0; i < count; ++i) {
        const float alpha = pixel[Image::ALPHA];
        const float divisor = alpha > 0.0F ? alpha : 1.0F;  // colour without alpha stays
        set_pixel(lent, pixel[0] / divisor, pixel[1] / divisor, pixel[2] / divisor,
                  alpha);
        pixel += COLOR_COMPONENTS;
        lent += COLOR_COMPONENTS;
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

namespace {

// The pixels of `area` where they lie; null where the host did not lend all of them.
Owned<Image> borrowed(const lent_image& from, const ofx::pixel_rect& area) {
    if (!holds(from.bounds(), area)) return nullptr;
    return Owned<Image>(new Image(from.pixel(area.x1, area.y2 - 1), width(area),
                                  height(area), from.components(), -from.row_step()));
}

// Copies the pixels of `area` into new ones of so many components: calls copy(lent,
// count, pixel) for what is there of each row.
template <class Copy>
Owned<Image> copied(headless::host& host, const lent_image& from,
                    const ofx::pixel_rect& area, int components, Copy copy) {
    Owned<Image> image(new Image(width(area), height(area), components));
    const ofx::pixel_rect part = common(area, from.bounds());
    for_each_row(host, area, [&](int y) {
        const bool lent = has_row(part, y);
        if (!lent || width(part) != width(area)) {
            std::fill_n(pixel_of(*image, area, area.x1, y),
                        std::ptrdiff_t{width(area)} * components, 0.0F);
        }
        if (!lent) return;
        copy(from.pixel(part.x1, y), width(part), pixel_of(*image, area, part.x1, y));
    });
    return image;
}

Owned<Image> copied_colors(headless::host& host, const lent_image& from,
                           const ofx::pixel_rect& area, int components) {
    row_loader* const load = loader_of(from);
    return copied(host, from, area, components,
                  [=](const float* lent, int count, float* pixel) {
                      load(lent, count, pixel, components);
                  });
}

// Copies the first of some components.
void copy_first(const float* lent, int lent_step, int count, float* to, int step) {
    for (int i = 0; i < count; ++i) {
        *to = *lent;
        to += step;
        lent += lent_step;
    }
}

}  // namespace

Owned<Image> tool_picture(headless::host& host, const lent_image& from,
                          const ofx::pixel_rect& area) {
    if (from.components() == COLOR_COMPONENTS && !from.is_unpremultiplied()) {
        Owned<Image> image = borrowed(from, area);
        if (image) return image;
    }
    return copied_colors(host, from, area, COLOR_COMPONENTS);
}

Owned<Image> picture_with_depth(headless::host& host, const lent_image& from,
                                const lent_image& depth, const ofx::pixel_rect& area) {
    Owned<Image> image = copied_colors(host, from, area, Image::Z + 1);
    const Owned<Image> depths = depth_picture(host, depth, area);
    for_each_row(host, area, [&](int y) {
        copy_first(pixel_of(*depths, area, area.x1, y), depths->Components(), width(area),
                   pixel_of(*image, area, area.x1, y) + Image::Z, image->Components());
    });
    return image;
}

Owned<Image> depth_picture(headless::host& host, const lent_image& from,
                           const ofx::pixel_rect& area) {
    Owned<Image> image = borrowed(from, area);
    if (image) return image;
    const int step = from.components();
    return copied(host, from, area, 1, [=](const float* lent, int count, float* depth) {
        copy_first(lent, step, count, depth, 1);
    });
}

Owned<Image> shape_picture(headless::host& host, const lent_image& from) {
    const ofx::pixel_rect& area = from.bounds();
    Owned<Image> image = copied_colors(host, from, area, COLOR_COMPONENTS);
    for_each_row(host, area, [&](int y) {
        float* pixel = pixel_of(*image, area, area.x1, y);
        for (int i = 0; i < width(area); ++i, pixel += COLOR_COMPONENTS) {
            std::swap(pixel[Image::RED], pixel[Image::BLUE]);
        }
    });
    return image;
}

void offer_memory(const lent_image& to, const ofx::pixel_rect& area,
                  const ofx::pixel_rect& window, Image& source) {
    if (to.components() != COLOR_COMPONENTS || to.is_unpremultiplied() ||
        !holds(common(window, to.bounds()), area)) {
        return;
    }
    source.OfferMemory(to.pixel(area.x1, area.y2 - 1), -to.row_step());
}

void store_picture(headless::host& host, const Image& image, const ofx::pixel_rect& area,
                   const ofx::pixel_rect& window, const lent_image& to) {
    if (to.components() != COLOR_COMPONENTS) throw ofx::failure{ofx::FAILED};
    const bool divide = to.is_unpremultiplied();
    const ofx::pixel_rect all = common(window, to.bounds());
    const ofx::pixel_rect part = common(all, area);
    for_each_row(host, all, [&](int y) {
        const bool shown = has_row(part, y);
        if (!shown || width(part) != width(all)) {
            std::fill_n(to.pixel(all.x1, y), width(all) * COLOR_COMPONENTS, 0.0F);
        }
        if (!shown) return;
        const float* const from = image.Pixel(part.x1 - area.x1, area.y2 - 1 - y);
        float* const stored = to.pixel(part.x1, y);
        if (divide) {
            store_unpremultiplied(from, width(part), stored);
        } else if (from != stored) {
            std::copy_n(from, width(part) * COLOR_COMPONENTS, stored);
        }
    });
}

}  // namespace focusfall
