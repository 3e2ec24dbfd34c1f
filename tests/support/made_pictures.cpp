#include "tests/support/made_pictures.h"

#include <stdlib.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace focusfall {

namespace {

namespace fs = std::filesystem;

std::size_t index_of(const OIIO::ImageSpec& spec, const std::string& channel) {
    const auto found = std::ranges::find(spec.channelnames, channel);
    if (found == spec.channelnames.end()) throw std::out_of_range(channel);
    return static_cast<std::size_t>(found - spec.channelnames.begin());
}

}  // namespace

picture_part made_part(const window& data, const window& display,
                       const std::vector<made_channel>& channels) {
    OIIO::ImageSpec spec(static_cast<int>(data.width), static_cast<int>(data.height),
                         static_cast<int>(channels.size()), channels[0].type);
    spec.x = static_cast<int>(data.x);
    spec.y = static_cast<int>(data.y);
    spec.full_x = static_cast<int>(display.x);
    spec.full_y = static_cast<int>(display.y);
    spec.full_width = static_cast<int>(display.width);
    spec.full_height = static_cast<int>(display.height);
    spec.channelnames.clear();
    for (const made_channel& channel : channels) {
        spec.channelnames.push_back(channel.name);
        spec.channelformats.push_back(channel.type);
    }

    picture_part part = empty_part(std::move(spec));
    std::byte* next = part.pixels.get();
    for (int i = 0; i < part.spec.width * part.spec.height; ++i) {
        const int x = part.spec.x + i % part.spec.width;
        const int y = part.spec.y + i / part.spec.width;
        for (const auto& [name, type, value_at] : channels) {
            const double value = value_at(x, y);
            OIIO::convert_types(OIIO::TypeDesc::DOUBLE, &value, type, next, 1);
            next += type.size();
        }
    }
    return part;
}

std::vector<made_channel> scene_channels(int seed) {
    const auto dots = [seed](double strength) {
        return [=](int x, int y) {
            const bool dot = (x * 7 + y * 13 + seed * 5) % 29 == 0;
            return strength * (dot ? 8.0 : 0.25) + 0.01 * (x + y);
        };
    };
    const auto opaque = [](int, int) { return 1.0; };
    const auto depth = [seed](int x, int y) { return 400.0 - 3.0 * x + 0.1 * y + seed; };
    return {{"R", OIIO::TypeDesc::HALF, dots(1.0)},
            {"G", OIIO::TypeDesc::HALF, dots(0.5)},
            {"B", OIIO::TypeDesc::HALF, dots(0.2)},
            {"A", OIIO::TypeDesc::HALF, opaque},
            {"Z", OIIO::TypeDesc::FLOAT, depth}};
}

picture_folder::picture_folder() {
    std::string name = (fs::temp_directory_path() / "focusfall_test_XXXXXX").string();
    if (!mkdtemp(name.data())) throw std::runtime_error("no folder for the test");
    folder_ = name;
}

picture_folder::~picture_folder() { fs::remove_all(folder_); }

std::string picture_folder::write(const std::string& name,
                                  const std::vector<picture_part>& parts) const {
    write_picture(parts, folder_ / name);
    return path(name);
}

std::string picture_folder::write(const std::string& name, picture_part part) const {
    std::vector<picture_part> parts;
    parts.push_back(std::move(part));
    return write(name, parts);
}

std::string picture_folder::write_scene(const std::string& name, const window& data,
                                        const window& display, int seed) const {
    return write(name, made_part(data, display, scene_channels(seed)));
}

void picture_folder::write_frames(int count) const {
    for (int i = 1; i <= count; ++i) {
        write_scene(in(i), {3 * i, -i, 60, 40}, {0, 0, 64, 48}, i);
    }
}

std::vector<std::string> picture_folder::hidden_files() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder_)) {
        const std::string name = entry.path().filename().string();
        if (name.starts_with('.')) names.push_back(name);
    }
    return names;
}

std::vector<std::byte> stored(const picture_part& part, const std::string& channel,
                              const window& area) {
    const auto index = static_cast<int>(index_of(part.spec, channel));
    const std::size_t size = part.spec.channelformat(index).size();
    std::vector<std::byte> bytes;
    for (std::int64_t y = area.y; y < area.y + area.height; ++y) {
        for (std::int64_t x = area.x; x < area.x + area.width; ++x) {
            const auto pixel = static_cast<std::size_t>(
                (y - part.spec.y) * part.spec.width + x - part.spec.x);
            const std::byte* start = part.pixels.get() +
                                     pixel * part.spec.pixel_bytes(true) +
                                     part.spec.pixel_bytes(0, index, true);
            bytes.insert(bytes.end(), start, start + size);
        }
    }
    return bytes;
}

std::vector<float> values(const picture_part& part, const std::string& channel) {
    const OIIO::TypeDesc type =
        part.spec.channelformat(static_cast<int>(index_of(part.spec, channel)));
    const std::vector<std::byte> bytes = stored(part, channel, data_window(part.spec));
    std::vector<float> floats(bytes.size() / type.size());
    OIIO::convert_types(type, bytes.data(), OIIO::TypeDesc::FLOAT, floats.data(),
                        static_cast<int>(floats.size()));
    return floats;
}

}  // namespace focusfall
