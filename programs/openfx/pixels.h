#pragma once
// The host's pictures as the tool's, and back.

#include <cstddef>
#include <memory>

#include "host/headless_host.h"
#include "programs/openfx/geometry.h"
#include "programs/openfx/host_link.h"

namespace focusfall {

// A picture that the host lent, given back at the end: floats of one, three or four
// components, rows counted upwards.
class lent_image {
  public:
    // The picture of `from` at that time, or none, when the host has none to give. Throws
    // ofx::failure for one that is not as it was asked for.
    lent_image(ofx::clip from, ofx::time at);
    explicit operator bool() const { return image_ != nullptr; }
    ofx::property_set properties() const { return ofx::property_set(image_.get()); }
    const ofx::pixel_rect& bounds() const { return bounds_; }
    int components() const { return components_; }
    // Colours are not multiplied by alpha.
    bool is_unpremultiplied() const;

    // Floats from a row to the one above it; negative where the top row comes first.
    std::ptrdiff_t row_step() const {
        return row_bytes_ / static_cast<std::ptrdiff_t>(sizeof(float));
    }
    // The components of the pixel; the following ones of the row lie behind it.
    float* pixel(int x, int y) const {
        return reinterpret_cast<float*>(data_ +
                                        std::ptrdiff_t{row_bytes_} * (y - bounds_.y1)) +
               std::ptrdiff_t{components_} * (x - bounds_.x1);
    }

  private:
    struct give_back {
        void operator()(ofx::properties image) const {
            ofx::link.image_effect->release_image(image);
        }
    };

    bool is_usable() const;

    std::unique_ptr<ofx::property_set_body, give_back> image_;
    ofx::pixel_rect bounds_ = {};
    std::byte* data_ = nullptr;
    int row_bytes_ = 0;
    int components_ = 0;
};

// The host's pixels begin with red, the tool's with blue. Since the tool treats these two
// alike, the pictures below keep the host's order: what was lent in a form that the tool
// takes is not copied but borrowed, and the result comes out in that order too.
inline constexpr auto FIRST = static_cast<Image::Component>(0);

// The functions below work on all threads of `host`, and throw std::bad_alloc. Outside of
// what was lent all is 0. `from` must outlive the image.

// The pixels of `area`, four components, premultiplied.
Owned<Image> tool_picture(headless::host& host, const lent_image& from,
                          const ofx::pixel_rect& area);
// The depths of `area`, as the FIRST component of an image of one or more.
Owned<Image> depth_picture(headless::host& host, const lent_image& from,
                           const ofx::pixel_rect& area);
// Both, with the depth in Z.
Owned<Image> picture_with_depth(headless::host& host, const lent_image& from,
                                const lent_image& depth, const ofx::pixel_rect& area);
// All that was lent, in the tool's own order: it reads a blur's shape from one colour.
Owned<Image> shape_picture(headless::host& host, const lent_image& from);
// Has the result that a tool makes of `source`, which shows `area`, lie in `to` if all of
// it is wanted as the tool makes it. A frame that is given up or fails may leave finished
// pixels there.
void offer_memory(const lent_image& to, const ofx::pixel_rect& area,
                  const ofx::pixel_rect& window, Image& source);
// Writes the pixels of `window`, those of `image`, which shows `area` with four
// components, and zeros outside of it. Divides by alpha where the host wants that. Pixels
// that lie in `to` already stay.
void store_picture(headless::host& host, const Image& image, const ofx::pixel_rect& area,
                   const ofx::pixel_rect& window, const lent_image& to);

}  // namespace focusfall
