#include "programs/python/arrays.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

#include "host/error.h"
#include "pipeline/process/interruption.h"

namespace focusfall {

namespace {

using headless::host_error;

constexpr std::int32_t PIECE_ROWS = 32;  // that a thread copies at a time
constexpr std::int32_t COMPONENTS = Image::Z + 1;
// where the first channels of an array are in the image
constexpr Image::Component FIRST[] = {Image::RED, Image::GREEN, Image::BLUE};

std::string shape_of(const py::array& array) {
    std::string text;
    for (py::ssize_t i = 0; i < array.ndim(); ++i) {
        text += (i > 0 ? " x " : "") + std::to_string(array.shape(i));
    }
    return text.empty() ? "a single number" : text;
}

// An array of floats of this machine. Nothing is converted: it would be a copy that the
// caller does not see.
py::array float_array(const py::handle& object, const std::string& name) {
    if (!py::isinstance<py::array>(object)) {
        const py::str type = py::type::of(object).attr("__name__");
        throw host_error(name + ": is of type " + type.cast<std::string>() +
                         ", not an array of numpy");
    }
    auto array = py::reinterpret_borrow<py::array>(object);
    if (!py::isinstance<py::array_t<float>>(array)) {
        throw host_error(name + ": is of " + py::str(array.dtype()).cast<std::string>() +
                         ", not float32; give " + name + ".astype(numpy.float32)");
    }
    for (py::ssize_t i = 0; i < array.ndim(); ++i) {
        if (array.shape(i) > 0 &&
            array.shape(i) <= std::numeric_limits<std::int32_t>::max()) {
            continue;
        }
        throw host_error(name + ": has no picture's size: " + shape_of(array));
    }
    return array;
}

// Channels apart.
array_view view_of(const py::array& array) {
    return {.data = static_cast<const char*>(array.data()),
            .row = array.strides(0),
            .column = array.strides(1),
            .width = static_cast<std::int32_t>(array.shape(1)),
            .height = static_cast<std::int32_t>(array.shape(0))};
}

// Calls work(y) for each row, on all threads.
template <class Work>
void for_each_row(const row_workers& workers, std::int32_t height, Work work) {
    workers.host.run((height + PIECE_ROWS - 1) / PIECE_ROWS, [&](std::int32_t piece) {
        if (workers.stopped) throw interrupted();
        const std::int32_t first = piece * PIECE_ROWS;
        const std::int32_t last = std::min(first + PIECE_ROWS, height);
        for (std::int32_t y = first; y < last; ++y) work(y);
    });
}

// An array need not keep floats where floats may lie.
float float_at(const char* data) {
    float value = 0.0F;
    std::memcpy(&value, data, sizeof value);
    return value;
}

void load_row(const array_view& from, std::int32_t y, Image& image) {
    const char* data = from.data + from.row * y;
    float* pixel = image.Pixel(0, y);
    for (std::int32_t x = 0; x < from.width; ++x) {
        for (std::int32_t c = 0; c < 3; ++c) {
            pixel[FIRST[c]] = float_at(data + from.channel * c);
        }
        pixel[Image::ALPHA] =
            from.channels > 3 ? float_at(data + from.channel * 3) : 1.0F;
        pixel[Image::Z] = 0.0F;
        for (std::int32_t c = 4; c < from.channels; ++c) {
            pixel[c] = float_at(data + from.channel * c);
        }
        data += from.column;
        pixel += image.Components();
    }
}

py::capsule owner_of(Owned<Image> image) {
    py::capsule owner(image.get(),
                      [](void* kept) { static_cast<Image*>(kept)->Release(); });
    static_cast<void>(image.release());  // the capsule's
    return owner;
}

}  // namespace

array_view picture_view(const py::handle& object, const std::string& name) {
    const py::array array = float_array(object, name);
    if (array.ndim() != 3 || array.shape(2) < 3) {
        throw host_error(name + ": has the shape " + shape_of(array) +
                         ", not height x width x 3 or more channels");
    }
    array_view view = view_of(array);
    view.channel = array.strides(2);
    view.channels = static_cast<std::int32_t>(array.shape(2));
    return view;
}

array_view plane_view(const py::handle& object, const std::string& name,
                      const array_view& picture) {
    const py::array array = float_array(object, name);
    const bool fits = array.ndim() == 2 && array.shape(0) == picture.height &&
                      array.shape(1) == picture.width;
    if (!fits) {
        throw host_error(name + ": has the shape " + shape_of(array) +
                         ", the picture is " + std::to_string(picture.height) + " x " +
                         std::to_string(picture.width));
    }
    return view_of(array);
}

Owned<Image> tool_picture(const row_workers& workers, const array_view& from) {
    Owned<Image> image(
        new Image(from.width, from.height, std::max(from.channels, COMPONENTS)));
    for_each_row(workers, from.height,
                 [&](std::int32_t y) { load_row(from, y, *image); });
    return image;
}

Owned<Image> tool_plane(const row_workers& workers, const array_view& from) {
    Owned<Image> image(new Image(from.width, from.height, COMPONENTS));
    for_each_row(workers, from.height, [&](std::int32_t y) {
        const char* data = from.data + from.row * y;
        for (std::int32_t x = 0; x < from.width; ++x) {
            std::fill_n(image->Pixel(x, y), COMPONENTS, float_at(data + from.column * x));
        }
    });
    return image;
}

void load_depth(const row_workers& workers, const array_view& from, Image& image) {
    for_each_row(workers, from.height, [&](std::int32_t y) {
        const char* data = from.data + from.row * y;
        for (std::int32_t x = 0; x < from.width; ++x) {
            image.Pixel(x, y)[Image::Z] = float_at(data + from.column * x);
        }
    });
}

void swap_red_and_blue(const row_workers& workers, Image& image) {
    for_each_row(workers, image.Height(), [&](std::int32_t y) {
        float* pixel = image.Pixel(0, y);
        for (std::int32_t x = 0; x < image.Width(); ++x) {
            std::swap(pixel[Image::RED], pixel[Image::BLUE]);
            pixel += image.Components();
        }
    });
}

py::array array_of(Owned<Image> image, std::int32_t channels) {
    constexpr py::ssize_t FLOAT_BYTES = sizeof(float);
    const py::ssize_t pixel_bytes = FLOAT_BYTES * image->Components();
    const py::ssize_t width = image->Width();
    const py::ssize_t height = image->Height();
    float* const data = image->Pixel(0, 0);
    return py::array_t<float>({height, width, py::ssize_t{channels}},
                              {width * pixel_bytes, pixel_bytes, FLOAT_BYTES}, data,
                              owner_of(std::move(image)));
}

py::array plane_of(Owned<Image> image, Image::Component component) {
    const py::ssize_t pixel_bytes =
        static_cast<py::ssize_t>(sizeof(float)) * image->Components();
    const py::ssize_t width = image->Width();
    const py::ssize_t height = image->Height();
    float* const data = image->Pixel(0, 0) + component;
    return py::array_t<float>({height, width}, {width * pixel_bytes, pixel_bytes}, data,
                              owner_of(std::move(image)));
}

}  // namespace focusfall
