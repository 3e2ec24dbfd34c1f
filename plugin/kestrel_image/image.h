#pragma once
// Images of named channels, each a separate buffer with rows on 16-byte boundaries.

#include <cstdint>
#include <map>
#include <string>
#include <typeinfo>

#include "plugin/kestrel_image/color_rgba_f.h"

namespace kestrel_image {

// What all images share: one size, and operations on channels by name. There are no
// locks: one thread at a time calls these functions, and workers write pixels only
// through pointers that were fetched before.
class image_base {
  public:
    explicit image_base(std::int32_t pixel_size_in_bytes);
    image_base(const image_base&) = delete;
    image_base& operator=(const image_base&) = delete;
    virtual ~image_base();

    // Gives the image a size in pixels. Every channel gets a new, unset buffer, also when
    // the size stays the same. Does not throw when memory runs out: get_channel_data
    // reports it.
    virtual void resize(std::int32_t new_width, std::int32_t new_height);
    // Fills a channel with zero, except the padding of its rows; creates it if missing.
    // Throws like get_channel_data.
    virtual void clear_channel(const std::string& name) = 0;
    // Frees a channel; nothing happens when there is none of that name.
    virtual void remove_channel(const std::string& name);
    // Frees all channels; the size stays.
    virtual void clear();
    // The run-time type name of the pixel, as the compiler spells it.
    virtual std::string pixel_type_name() const = 0;
    virtual bool is_pixel_type(const std::type_info& type) const = 0;

    // Left for images that name channels without owning them; the two kinds below own
    // theirs, so it stays empty.
    std::map<std::string, void*> channel_names;
    std::int32_t width = 0;       // pixels
    std::int32_t height = 0;      // rows
    std::int32_t row_stride = 0;  // bytes from row to row, a multiple of 16
    std::int32_t pixel_size;      // bytes
};

// An image whose pixels are of type T: color_rgba_f or float.
template <class T>
class image : public image_base {
  public:
    image();
    ~image() override;

    void resize(std::int32_t new_width, std::int32_t new_height) override;
    void clear_channel(const std::string& name) override;
    void remove_channel(const std::string& name) override;
    void clear() override;
    std::string pixel_type_name() const override;
    bool is_pixel_type(const std::type_info& type) const override;

    // Start of row `row` of channel `name`; a channel the image lacks is created, unset.
    // `row` is not checked. Borrowed until the next resize, remove_channel or clear.
    // Throws std::runtime_error, now and on every further call, when the channel has no
    // memory, or would need more than 2^31 - 1 bytes.
    T* get_channel_data(const std::string& name, std::uint32_t row);

  private:
    T* new_buffer() const;

    std::map<std::string, T*> channels_;  // owned; null: there was no memory for it
};

extern template class image<color_rgba_f>;
extern template class image<float>;

}  // namespace kestrel_image
