#include "programs/page/scaled_frame.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace focusfall {

namespace {

constexpr std::int32_t COMPONENTS = Image::Z + 1;

struct size {
    std::int32_t width;
    std::int32_t height;
};

// The pixels of the large image that come together in pixel `place` of `count`.
struct span {
    span(std::int32_t place, std::int32_t count, std::int32_t of)
        : begin(static_cast<std::int32_t>(std::int64_t{place} * of / count)),
          end(std::max(begin + 1,
                       static_cast<std::int32_t>(std::int64_t{place + 1} * of / count))) {
    }
    std::int32_t middle() const { return (begin + end) / 2; }

    std::int32_t begin;
    std::int32_t end;
};

Owned<Image> blank(const size& to) {
    return Owned<Image>(new Image(to.width, to.height, COMPONENTS));
}

Owned<Image> with_means(const Image& image, const size& to) {
    Owned<Image> small = blank(to);
    for (std::int32_t y = 0; y < to.height; ++y) {
        const span rows(y, to.height, image.Height());
        for (std::int32_t x = 0; x < to.width; ++x) {
            const span columns(x, to.width, image.Width());
            std::array<float, COMPONENTS> sum{};
            for (std::int32_t row = rows.begin; row < rows.end; ++row) {
                const float* from = image.Pixel(columns.begin, row);
                for (std::int32_t i = columns.begin; i < columns.end; ++i) {
                    for (std::size_t c = 0; c < Image::Z; ++c) sum[c] += from[c];
                    from += image.Components();
                }
            }
            const auto count = static_cast<float>((rows.end - rows.begin) *
                                                  (columns.end - columns.begin));
            float* pixel = small->Pixel(x, y);
            for (std::size_t c = 0; c < Image::Z; ++c) pixel[c] = sum[c] / count;
            pixel[Image::Z] = image.Pixel(columns.middle(), rows.middle())[Image::Z];
        }
    }
    return small;
}

Owned<Image> with_samples(const Image& image, const size& to) {
    Owned<Image> small = blank(to);
    for (std::int32_t y = 0; y < to.height; ++y) {
        const std::int32_t row = span(y, to.height, image.Height()).middle();
        for (std::int32_t x = 0; x < to.width; ++x) {
            const std::int32_t column = span(x, to.width, image.Width()).middle();
            std::copy_n(image.Pixel(column, row), COMPONENTS, small->Pixel(x, y));
        }
    }
    return small;
}

}  // namespace

bool exceeds(const loaded_frame& frame, std::int64_t max_pixels) {
    return std::int64_t{frame.image->Width()} * frame.image->Height() > max_pixels;
}

loaded_frame scaled_frame(const loaded_frame& frame, std::int64_t max_pixels) {
    const auto width = static_cast<double>(frame.image->Width());
    const auto height = static_cast<double>(frame.image->Height());
    const double part =
        std::min(1.0, std::sqrt(static_cast<double>(max_pixels) / (width * height)));
    const size to{std::max(1, static_cast<std::int32_t>(width * part)),
                  std::max(1, static_cast<std::int32_t>(height * part))};
    loaded_frame small;
    small.input_file = frame.input_file;
    small.depth_file = frame.depth_file;
    small.input.display = frame.input.display;
    small.input.area = frame.input.area;
    small.reading = frame.reading;
    small.image = with_means(*frame.image, to);
    if (frame.depth_map) small.depth_map = with_samples(*frame.depth_map, to);
    small.blur_image = Shared(frame.blur_image.get());
    if (!frame.backgrounds.empty()) {
        small.backgrounds.push_back(with_means(*frame.backgrounds[0], to));
    }
    if (!frame.prepared.empty()) {
        small.prepared.push_back({with_samples(tool_depth(frame), to), {}});
    }
    return small;
}

window display_in(const loaded_frame& frame, const Image& image) {
    const window& area = frame.input.area;
    const window& display = frame.input.display;
    const auto across = [&](std::int64_t x) { return x * image.Width() / area.width; };
    const auto down = [&](std::int64_t y) { return y * image.Height() / area.height; };
    const std::int64_t x = across(display.x - area.x);
    const std::int64_t y = down(display.y - area.y);
    return {x, y,
            std::max<std::int64_t>(1, across(display.x - area.x + display.width) - x),
            std::max<std::int64_t>(1, down(display.y - area.y + display.height) - y)};
}

}  // namespace focusfall
