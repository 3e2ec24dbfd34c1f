#include "programs/openfx/pixels.h"

#include <algorithm>
#include <cstdlib>
#include <string>

namespace focusfall {

namespace {

constexpr int PIECE_ROWS = 32;  // that a thread copies at a time
constexpr int OUTPUT_COMPONENTS = 4;

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

// Fills a pixel of the tool by one of the host, and a depth. As in the functions that do
// the opposite, all is read before anything is written: that makes a few vector
// instructions of it.
using load_pixel = void(float* pixel, const float* lent, float z);

void set_pixel(float* pixel, float red, float green, float blue, float alpha, float z) {
    pixel[Image::BLUE] = blue;
    pixel[Image::GREEN] = green;
    pixel[Image::RED] = red;
    pixel[Image::ALPHA] = alpha;
    pixel[Image::Z] = z;
}

void load_premultiplied(float* pixel, const float* lent, float z) {
    set_pixel(pixel, lent[0], lent[1], lent[2], lent[3], z);
}

void load_unpremultiplied(float* pixel, const float* lent, float z) {
    const float alpha = lent[3];
    set_pixel(pixel, lent[0] * alpha, lent[1] * alpha, lent[2] * alpha, alpha, z);
}

void load_opaque(float* pixel, const float* lent, float z) {
    set_pixel(pixel, lent[0], lent[1], lent[2], 1.0F, z);
}

void load_single(float* pixel, const float* lent, float z) {
    set_pixel(pixel, *lent, *lent, *lent, *lent, z);
}

// Depths, that many floats apart.
struct depth_row {
    const float* first;
    int step;
};

constexpr float NO_DEPTH = 0.0F;

// Templates, so that each kind of copy is a loop of its own.
template <load_pixel* LOAD, int COMPONENTS>
void load_row(const float* lent, depth_row depth, int count, float* pixel) {
    for (int i = 0; i < count; ++i) {
        LOAD(pixel, lent, *depth.first);
        pixel += Image::Z + 1;
        lent += COMPONENTS;
        depth.first += depth.step;
    }
}

using row_loader = void(const float* lent, depth_row depth, int count, float* pixel);

row_loader* loader_of(const lent_image& from) {
    if (from.components() == 1) return load_row<load_single, 1>;
    if (from.components() == 3) return load_row<load_opaque, 3>;
    return from.is_unpremultiplied() ? load_row<load_unpremultiplied, 4>
                                     : load_row<load_premultiplied, 4>;
}

bool has_row(const ofx::pixel_rect& part, int y) {
    return !is_empty(part) && y >= part.y1 && y < part.y2;
}

bool is_same(const ofx::pixel_rect& a, const ofx::pixel_rect& b) {
    return holds(a, b) && holds(b, a);
}

depth_row row_of(const lent_image& depth, const ofx::pixel_rect& part, int y) {
    return {depth.pixel(part.x1, y), depth.components()};
}

void set_depths(depth_row depth, int count, float* pixel) {
    for (int i = 0; i < count; ++i) {
        pixel[Image::Z] = *depth.first;
        pixel += Image::Z + 1;
        depth.first += depth.step;
    }
}

// Fills a pixel of the host by one of the tool.
using store_pixel = void(float* lent, const float* pixel);

void set_lent(float* lent, float red, float green, float blue, float alpha) {
    lent[0] = red;
    lent[1] = green;
    lent[2] = blue;
    lent[3] = alpha;
}

void store_premultiplied(float* lent, const float* pixel) {
    set_lent(lent, pixel[Image::RED], pixel[Image::GREEN], pixel[Image::BLUE],
             pixel[Image::ALPHA]);
}

void store_unpremultiplied(float* lent, const float* pixel) {
    const float alpha = pixel[Image::ALPHA];
    const float divisor = alpha > 0.0F ? alpha : 1.0F;  // colour without alpha stays
    set_lent(lent, pixel[Image::RED] / divisor, pixel[Image::GREEN] / divisor,
             pixel[Image::BLUE] / divisor, alpha);
}

template <store_pixel* STORE>
void store_row(const float* pixel, int count, std::ptrdiff_t step, float* lent) {
    for (int i = 0; i < count; ++i) {
        STORE(lent, pixel);
        pixel += step;
        lent += OUTPUT_COMPONENTS;
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
                          const ofx::pixel_rect& area, const lent_image* depth) {
    Owned<Image> image(new Image(width(area), height(area), Image::Z + 1));
    row_loader* const load = loader_of(from);
    const ofx::pixel_rect part = common(area, from.bounds());
    const ofx::pixel_rect depth_part =
        depth ? common(area, depth->bounds()) : ofx::pixel_rect{};
    const bool in_one_pass = depth && is_same(part, depth_part);
    for_each_row(host, area, [&](int y) {
        const bool lent = has_row(part, y);
        if (!lent || width(part) != width(area)) {
            std::fill_n(pixel_of(*image, area, area.x1, y),
                        std::ptrdiff_t{width(area)} * (Image::Z + 1), 0.0F);
        }
        if (lent) {
            depth_row own = {&NO_DEPTH, 0};
            if (from.components() == 1) own = row_of(from, part, y);
            load(from.pixel(part.x1, y), in_one_pass ? row_of(*depth, part, y) : own,
                 width(part), pixel_of(*image, area, part.x1, y));
        }
        if (!in_one_pass && has_row(depth_part, y)) {
            set_depths(row_of(*depth, depth_part, y), width(depth_part),
                       pixel_of(*image, area, depth_part.x1, y));
        }
    });
    return image;
}

void store_picture(headless::host& host, const Image& image, const ofx::pixel_rect& area,
                   const ofx::pixel_rect& window, const lent_image& to) {
    if (to.components() != OUTPUT_COMPONENTS) throw ofx::failure{ofx::FAILED};
    const bool divide = to.is_unpremultiplied();
    const auto store =
        divide ? store_row<store_unpremultiplied> : store_row<store_premultiplied>;
    const ofx::pixel_rect all = common(window, to.bounds());
    const ofx::pixel_rect part = common(all, area);
    for_each_row(host, all, [&](int y) {
        const bool shown = has_row(part, y);
        if (!shown || width(part) != width(all)) {
            std::fill_n(to.pixel(all.x1, y), width(all) * OUTPUT_COMPONENTS, 0.0F);
        }
        if (!shown) return;
        store(image.Pixel(part.x1 - area.x1, area.y2 - 1 - y), width(part),
              image.Components(), to.pixel(part.x1, y));
    });
}

}  // namespace focusfall
