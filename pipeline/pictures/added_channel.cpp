#include "pipeline/pictures/added_channel.h"

#include <cstring>

namespace focusfall {

void add_float_channel(picture_part& part, const std::string& name, const window& area,
                       const std::vector<float>& values) {
    OIIO::ImageSpec spec = part.spec;
    if (spec.channelformats.empty()) {
        spec.channelformats.assign(spec.channelnames.size(), spec.format);
    }
    spec.channelnames.push_back(name);
    spec.channelformats.push_back(OIIO::TypeDesc::FLOAT);
    ++spec.nchannels;

    picture_part wider = empty_part(std::move(spec));
    const std::size_t old_bytes = part.spec.pixel_bytes(true);
    const window data = data_window(part.spec);
    const std::byte* from = part.pixels.get();
    std::byte* to = wider.pixels.get();
    for (std::int64_t y = data.y; y < data.y + data.height; ++y) {
        for (std::int64_t x = data.x; x < data.x + data.width; ++x) {
            const std::int64_t column = x - area.x;
            const std::int64_t row = y - area.y;
            const bool inside =
                column >= 0 && row >= 0 && column < area.width && row < area.height;
            const float value =
                inside ? values[static_cast<std::size_t>(row * area.width + column)]
                       : 0.0F;
            std::memcpy(to, from, old_bytes);
            std::memcpy(to + old_bytes, &value, sizeof value);
            from += old_bytes;
            to += old_bytes + sizeof value;
        }
    }
    part = std::move(wider);
}

}  // namespace focusfall
