#pragma once
// The host's picture: float pixels with the components of a compositing channel set.

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "host/api/parameter.h"

// A pixel is a run of floats: blue, green, red, alpha, Z (depth), then any number of
// further components. By convention colours are linear and premultiplied by alpha, which
// nothing here checks. A kernel image has the first four components only, and so may a
// picture whose depth is another image, perhaps of a single component. Row 0 is the top
// scanline. An image has no display or data window: a program that reads files knows
// which area of them it made an image of. Values may be non-finite.
//
// Whoever calls NewImage or ResizeOfImage owns the result, and calls Release or hands it
// over. Several threads may read an image, or write different pixels of it; after it was
// handed to an input or resized, its pixels must not change any more.
class HOST_API Image : public Parameter {
  public:
    enum Component : std::int32_t { BLUE, GREEN, RED, ALPHA, Z };
    // The depth code of an image of the first four components, 32-bit floats.
    static constexpr std::int32_t FOUR_FLOATS = 7;
    // Memory that an image keeps beside its pixels once it was resized, bytes per pixel.
    static constexpr std::size_t RESIZE_BYTES = 4 * sizeof(double);

    // Pixels are not initialised. Throws std::runtime_error for a size or a component
    // count below 1, std::bad_alloc when there is no memory.
    Image(std::int32_t width, std::int32_t height, std::int32_t components);
    // A picture in the memory of somebody else, who keeps it as it is while this lives:
    // row 0 begins at `first`, and each further one so many floats behind the one above
    // it, or before it where that is negative. Throws std::runtime_error as above.
    Image(float* first, std::int32_t width, std::int32_t height, std::int32_t components,
          std::ptrdiff_t row_step);
    ~Image() override;

    // Has the first new image that is modelled on this one, with its size and components,
    // lie in the memory of somebody else, as above: so a result is made where it is
    // wanted. [before this is handed to an input]
    void OfferMemory(float* first, std::ptrdiff_t row_step);

    std::int32_t Width() const { return width_; }
    std::int32_t Height() const { return height_; }
    std::int32_t Components() const { return components_; }

    // The components of pixel (x, y); the following pixels of the row lie behind it.
    // Neither coordinate is checked.
    float* Pixel(std::int32_t x, std::int32_t y) { return first_ + Index(x, y); }
    const float* Pixel(std::int32_t x, std::int32_t y) const {
        return first_ + Index(x, y);
    }

    // A new image with this picture in another size, in pixels; the caller owns it. Tags:
    // 0x10000000 width, 0x10000001 height (default: as this one), 0x10000003 depth code
    // (FOUR_FLOATS: the first four components, absent: all).
    //
    // The filter is a box as wide as one destination pixel, but at least one source
    // pixel: shrinking gives area-weighted means, enlarging gives linear interpolation.
    // The picture stays centred; a box that reaches past its edge averages the part that
    // is inside. Non-finite values count as 0, but a copy in the same size keeps them.
    // For results of up to four components the first call sums up the picture
    // (RESIZE_BYTES per pixel are kept); from then on the time depends on the size of the
    // result alone. For more components every call sums up the picture. Throws like the
    // constructor. [any thread]
    template <HOST_TAG_TYPES>
    Image* ResizeOfImage(HOST_TAG_PAIRS) const {
        return ResizeOfImageList(HOST_TAG_LIST);
    }

  private:
    struct AreaSums;
    friend HOST_API Image* NewImageList(const TagList& tags);

    std::ptrdiff_t Index(std::int32_t x, std::int32_t y) const {
        return y * row_step_ + std::ptrdiff_t{x} * components_;
    }
    Image* ResizeOfImageList(const TagList& tags) const;
    void FillFromSums(const AreaSums& area, Image& result) const;

    std::int32_t width_;
    std::int32_t height_;
    std::int32_t components_;
    std::ptrdiff_t row_step_;          // floats
    std::unique_ptr<float[]> pixels_;  // null where somebody else owns them
    float* first_;
    mutable std::once_flag sums_once_;
    mutable std::unique_ptr<AreaSums> sums_;         // made by the first ResizeOfImage
    mutable std::atomic<float*> offered_ = nullptr;  // until it is taken
    std::ptrdiff_t offered_step_ = 0;
};

// NewImage, with its tags in a list.
HOST_API Image* NewImageList(const TagList& tags);

// A new image, not initialised; the caller owns it. Tags: 0x60020000 the image that it is
// modelled on (size and components; without one there are five components and no default
// size), 0x10020000 width and 0x10020001 height in pixels, 0x10020002 depth code
// (FOUR_FLOATS); 0x18020000 is accepted, its value means nothing to this host.
// Throws like Image's constructor. [any thread]
template <HOST_TAG_TYPES>
Image* NewImage(HOST_TAG_PAIRS) {
    return NewImageList(HOST_TAG_LIST);
}
