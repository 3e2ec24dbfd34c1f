#include "plugin/kestrel_image/image.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <new>
#include <stdexcept>

namespace kestrel_image {

namespace {

constexpr std::align_val_t ALIGNMENT{16};

void free_buffer(void* buffer) { ::operator delete(buffer, ALIGNMENT); }

}  // namespace

image_base::image_base(std::int32_t pixel_size_in_bytes)
    : pixel_size(pixel_size_in_bytes) {}

image_base::~image_base() = default;

void image_base::resize(std::int32_t new_width, std::int32_t new_height) {
    width = new_width;
    height = new_height;
    // unsigned, so that an absurd width wraps; new_buffer then finds rows too short for
    // it
    const auto bytes =
        static_cast<std::uint32_t>(pixel_size) * static_cast<std::uint32_t>(width);
    row_stride = static_cast<std::int32_t>((bytes + 15) & ~15U);
}

void image_base::remove_channel(const std::string& name) { channel_names.erase(name); }

void image_base::clear() { channel_names.clear(); }

template <class T>
image<T>::image() : image_base(sizeof(T)) {}

template <class T>
image<T>::~image() {
    image<T>::clear();
}

// A new buffer for a channel; null when there is no memory. Sizes are 32-bit numbers, and
// one in bytes that does not fit counts as too large: wrapped, it would give a buffer
// smaller than its rows.
template <class T>
T* image<T>::new_buffer() const {
    const std::int64_t row_bytes = static_cast<std::int64_t>(pixel_size) * width;
    const std::int64_t bytes = static_cast<std::int64_t>(row_stride) * height;
    constexpr std::int64_t MAX_BYTES = std::numeric_limits<std::int32_t>::max();
    if (row_bytes < 0 || row_bytes > row_stride || bytes < 0 || bytes > MAX_BYTES)
        return nullptr;
    const auto size = static_cast<std::size_t>(bytes);
    return static_cast<T*>(::operator new(size, ALIGNMENT, std::nothrow));
}

template <class T>
void image<T>::resize(std::int32_t new_width, std::int32_t new_height) {
    image_base::resize(new_width, new_height);
    for (auto& [name, buffer] : channels_) {
        free_buffer(buffer);
        buffer = new_buffer();
    }
}

template <class T>
void image<T>::clear_channel(const std::string& name) {
    get_channel_data(name, 0);
    for (std::int32_t y = 0; y < height; ++y) {
        T* row = get_channel_data(name, static_cast<std::uint32_t>(y));
        std::fill_n(row, width, T{});
    }
}

template <class T>
void image<T>::remove_channel(const std::string& name) {
    image_base::remove_channel(name);
    const auto channel = channels_.find(name);
    if (channel == channels_.end()) return;
    free_buffer(channel->second);
    channels_.erase(channel);
}

template <class T>
void image<T>::clear() {
    image_base::clear();
    for (const auto& [name, buffer] : channels_) free_buffer(buffer);
    channels_.clear();
}

template <class T>
std::string image<T>::pixel_type_name() const {
    return typeid(T).name();
}

template <class T>
bool image<T>::is_pixel_type(const std::type_info& type) const {
    return type == typeid(T);
}

template <class T>
T* image<T>::get_channel_data(const std::string& name, std::uint32_t row) {
    auto channel = channels_.find(name);
    if (channel == channels_.end()) {
        channel = channels_.emplace(name, nullptr).first;
        channel->second = new_buffer();
    }
    if (!channel->second) {
        throw std::runtime_error("Image: Failed to allocate memory for channel " + name +
                                 "\n");
    }
    std::byte* bytes = reinterpret_cast<std::byte*>(channel->second);
    const auto offset = static_cast<std::ptrdiff_t>(row) * row_stride;
    return reinterpret_cast<T*>(bytes + offset);
}

template class image<color_rgba_f>;
template class image<float>;

}  // namespace kestrel_image
