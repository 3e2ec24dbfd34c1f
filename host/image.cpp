#include "host/api/image.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>

#include "host/faults.h"
#include "host/pixel_memory.h"

namespace {

std::function<void()>& image_hook() {
    static std::function<void()> hook;
    return hook;
}

// An image keeps its sums for results of up to this many components.
constexpr std::int32_t KEPT_COMPONENTS = 4;

std::int32_t component_count(std::int32_t depth_code, std::int32_t otherwise) {
    return depth_code == Image::FOUR_FLOATS ? 4 : otherwise;
}

std::size_t pixel_floats(std::int32_t width, std::int32_t height,
                         std::int32_t components) {
    const std::string size = std::to_string(width) + " x " + std::to_string(height);
    if (width < 1 || height < 1 || components < 1) {
        throw std::runtime_error("Image: cannot make a picture of " + size +
                                 " pixels with " + std::to_string(components) +
                                 " components");
    }
    // the product of two positive 32-bit sizes fits 64 bits, that of all three may not
    const auto pixels =
        static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    const auto per_pixel = static_cast<std::size_t>(components);
    if (pixels > std::numeric_limits<std::size_t>::max() / sizeof(float) / per_pixel) {
        throw std::bad_alloc();
    }
    return pixels * per_pixel;
}

// One box of the filter along an axis, as lines of the summed-area table and their
// weights: the sum up to its end minus the sum up to its start, each interpolated between
// two lines, divided by its length.
struct box {
    std::size_t line[4] = {};  // start, start + 1, end, end + 1
    double weight[4] = {};
};

// The boxes along an axis of `source` pixels for `size` pixels of the result.
std::vector<box> boxes(std::int32_t source, std::int32_t size) {
    const double scale = static_cast<double>(source) / size;
    const double half = std::max(scale, 1.0) * 0.5;
    std::vector<box> result(static_cast<std::size_t>(size));
    for (std::int32_t i = 0; i < size; ++i) {
        const double middle = (i + 0.5) * scale;
        const double start = std::clamp(middle - half, 0.0, static_cast<double>(source));
        const double end = std::clamp(middle + half, 0.0, static_cast<double>(source));
        const double first = std::min(std::floor(start), source - 1.0);
        const double last = std::min(std::floor(end), source - 1.0);
        const double mean = 1.0 / (end - start);

        box& b = result[static_cast<std::size_t>(i)];
        b.line[0] = static_cast<std::size_t>(first);
        b.line[1] = b.line[0] + 1;
        b.line[2] = static_cast<std::size_t>(last);
        b.line[3] = b.line[2] + 1;
        b.weight[0] = -(1.0 - (start - first)) * mean;
        b.weight[1] = -(start - first) * mean;
        b.weight[2] = (1.0 - (end - last)) * mean;
        b.weight[3] = (end - last) * mean;
    }
    return result;
}

}  // namespace

void headless::set_image_hook(std::function<void()> hook) {
    image_hook() = std::move(hook);
}

// A summed-area table (Crow, "Summed-area tables for texture mapping", 1984): entry (x,
// y) holds, for each of the first `components` components, the sum over all pixels above
// row y and left of column x.
struct Image::AreaSums {
    std::vector<double> sums;
    std::size_t components;
    std::size_t row_length;

    AreaSums(const Image& image, std::int32_t count)
        : components(static_cast<std::size_t>(count)),
          row_length((static_cast<std::size_t>(image.Width()) + 1) * components) {
        sums.resize(row_length * (static_cast<std::size_t>(image.Height()) + 1));
        std::vector<double> row(components);
        for (std::int32_t y = 0; y < image.Height(); ++y) {
            std::fill(row.begin(), row.end(), 0.0);
            const double* above =
                &sums[static_cast<std::size_t>(y) * row_length] + components;
            double* here =
                &sums[(static_cast<std::size_t>(y) + 1) * row_length] + components;
            for (std::int32_t x = 0; x < image.Width(); ++x) {
                const float* pixel = image.Pixel(x, y);
                for (std::size_t c = 0; c < components; ++c) {
                    const float value = pixel[c];
                    if (std::isfinite(value)) row[c] += static_cast<double>(value);
                    *here++ = *above++ + row[c];
                }
            }
        }
    }
};

Image::Image(std::int32_t width, std::int32_t height, std::int32_t components)
    : width_(width),
      height_(height),
      components_(components),
      row_step_(std::ptrdiff_t{width} * components) {
    const std::size_t floats = pixel_floats(width, height, components);
    if (image_hook()) image_hook()();
    pixels_ = headless::new_pixels(floats);
    first_ = pixels_.get();
}

Image::Image(float* first, std::int32_t width, std::int32_t height,
             std::int32_t components, std::ptrdiff_t row_step)
    : width_(width),
      height_(height),
      components_(components),
      row_step_(row_step),
      first_(first) {
    pixel_floats(width, height, components);
}

Image::~Image() {
    headless::recycle_pixels(std::move(pixels_),
                             static_cast<std::size_t>(row_step_ * height_));
}

void Image::OfferMemory(float* first, std::ptrdiff_t row_step) {
    offered_step_ = row_step;
    offered_ = first;
}

Image* Image::ResizeOfImageList(const TagList& tags) const {
    const std::int32_t width = tags.Integer(0x10000000, width_);
    const std::int32_t height = tags.Integer(0x10000001, height_);
    const std::int32_t depth_code = tags.Integer(0x10000003, 0);
    const std::int32_t components =
        std::min(component_count(depth_code, components_), components_);
    Owned<Image> result(new Image(width, height, components));

    if (width == width_ && height == height_) {
        const std::size_t pixel_bytes =
            static_cast<std::size_t>(components) * sizeof(float);
        for (std::int32_t y = 0; y < height; ++y) {
            for (std::int32_t x = 0; x < width; ++x) {
                std::memcpy(result->Pixel(x, y), Pixel(x, y), pixel_bytes);
            }
        }
    } else if (components <= KEPT_COMPONENTS) {
        std::call_once(sums_once_, [this] {
            sums_ =
                std::make_unique<AreaSums>(*this, std::min(components_, KEPT_COMPONENTS));
        });
        FillFromSums(*sums_, *result);
    } else {
        FillFromSums(AreaSums(*this, components), *result);
    }
    return result.release();
}

void Image::FillFromSums(const AreaSums& area, Image& result) const {
    const auto columns = boxes(width_, result.width_);
    const auto rows = boxes(height_, result.height_);
    const auto count = static_cast<std::size_t>(result.components_);
    float* pixel = result.Pixel(0, 0);
    for (const box& row : rows) {
        for (const box& column : columns) {
            for (std::size_t c = 0; c < count; ++c) {
                double mean = 0.0;
                for (int j = 0; j < 4; ++j) {
                    const double* sums = &area.sums[row.line[j] * area.row_length + c];
                    double along_row = 0.0;
                    for (int i = 0; i < 4; ++i) {
                        along_row +=
                            column.weight[i] * sums[column.line[i] * area.components];
                    }
                    mean += row.weight[j] * along_row;
                }
                *pixel++ = static_cast<float>(mean);
            }
        }
    }
}

Image* NewImageList(const TagList& tags) {
    const auto* model = tags.Pointer<const Image>(0x60020000);
    const std::int32_t width = tags.Integer(0x10020000, model ? model->Width() : 0);
    const std::int32_t height = tags.Integer(0x10020001, model ? model->Height() : 0);
    const std::int32_t depth_code = tags.Integer(0x10020002, 0);
    const std::int32_t components =
        component_count(depth_code, model ? model->Components() : 5);
    if (model && width == model->Width() && height == model->Height() &&
        components == model->Components()) {
        if (float* const first = model->offered_.exchange(nullptr)) {
            return new Image(first, width, height, components, model->offered_step_);
        }
    }
    return new Image(width, height, components);
}
