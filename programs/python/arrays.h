#pragma once
// Arrays of numpy as the host's images, and back.
//
// An image keeps its pixels as blue, green, red, alpha, depth; arrays have red first, may
// lack some of these, and their rows and pixels may lie anywhere. So what goes in is
// copied once. What comes out is not: its red and blue change places, and the array is a
// view of the image's memory, which it owns.

#include <pybind11/numpy.h>

#include <atomic>
#include <string>

#include "host/headless_host.h"

namespace focusfall {

namespace py = pybind11;

// The pixels of an array that the caller keeps alive.
struct array_view {
    const char* data = nullptr;  // of the pixel at the top left
    std::ptrdiff_t row = 0;  // bytes from one to the next, of any sign, as those below
    std::ptrdiff_t column = 0;
    std::ptrdiff_t channel = 0;
    std::int32_t width = 0;
    std::int32_t height = 0;
    std::int32_t channels = 1;

    bool is_empty() const { return data == nullptr; }
};

// The pixels of a float32 array of H x W x 3 or more: red, green, blue, alpha, depth, and
// what else. Throws headless::host_error that begins with `name` for anything else.
// [holding the interpreter's lock, as the next]
array_view picture_view(const py::handle& object, const std::string& name);
// Of one of H x W, as large as `picture`.
array_view plane_view(const py::handle& object, const std::string& name,
                      const array_view& picture);

// What the functions below work on: all threads of a host, until somebody sets `stopped`,
// after which they throw `interrupted` within some rows. They do without the
// interpreter's lock, and throw std::bad_alloc.
struct row_workers {
    headless::host& host;
    const std::atomic<bool>& stopped;
};

// A picture for a tool: alpha is 1 and depth 0 where the array has none.
Owned<Image> tool_picture(const row_workers& workers, const array_view& from);
// A plane in all five components.
Owned<Image> tool_plane(const row_workers& workers, const array_view& from);
// Copies a plane to the depth of an image that is as large.
void load_depth(const row_workers& workers, const array_view& from, Image& image);
// Swaps red and blue of all pixels.
void swap_red_and_blue(const row_workers& workers, Image& image);

// The first `channels` of an image whose red and blue were swapped, H x W x channels; one
// of its components, H x W. The array shares the image, and is the last to have it.
// [holding the interpreter's lock]
py::array array_of(Owned<Image> image, std::int32_t channels);
py::array plane_of(Owned<Image> image, Image::Component component);

}  // namespace focusfall
