#include "pipeline/pictures/deep_picture.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numeric>
#include <vector>

#include <OpenImageIO/deepdata.h>

#include "pipeline/pictures/channel_names.h"

namespace focusfall {

namespace {

using OIIO::TypeDesc;

constexpr float FRONT_ALPHA = 0.1F;
constexpr float EMPTY_DEPTH = 1e30F;
// Rows that are in memory with all their samples at a time; compressed blocks are no
// higher. Pictures of tiles are read by rows of these.
constexpr int ROWS = 16;

// What a channel of the flat picture is made of.
enum class source { COMPOSITE, FRONT };

bool is_composited(const std::string& channel, TypeDesc type) {
    const channel_name name = split_name(channel);
    const bool is_light = role_of(name.last) != color_role::NONE || name.last == "Y";
    return is_light && type.is_floating_point() &&
           kind_of_layer(name.layer) != layer_kind::DATA;
}

// The part of a pixel that a sample covers; not a number counts as nothing.
float coverage(float alpha) { return alpha > 0.0F ? std::min(alpha, 1.0F) : 0.0F; }

// Flattens pixel by pixel.
class flattener {
  public:
    flattener(const OIIO::ImageSpec& spec, const OIIO::DeepData& samples)
        : spec_(spec), samples_(samples) {
        for (int c = 0; c < spec.nchannels; ++c) {
            const bool composited =
                is_composited(spec.channel_name(c), spec.channelformat(c));
            sources_.push_back(composited ? source::COMPOSITE : source::FRONT);
        }
    }

    // Writes the flat pixel to `out`, channel by channel.
    void write(std::int64_t pixel, std::byte* out) {
        sort_samples(pixel);
        const int front = front_sample(pixel);
        for (int c = 0; c < spec_.nchannels; ++c) {
            const TypeDesc type = spec_.channelformat(c);
            if (sources_[static_cast<std::size_t>(c)] == source::COMPOSITE) {
                const float value = composite(pixel, c);
                OIIO::convert_types(TypeDesc::FLOAT, &value, type, out, 1);
            } else if (front >= 0) {
                std::memcpy(out, samples_.data_ptr(pixel, c, front), type.size());
            } else {
                const float value = c == samples_.Z_channel() ? EMPTY_DEPTH : 0.0F;
                OIIO::convert_types(TypeDesc::FLOAT, &value, type, out, 1);
            }
            out += type.size();
        }
    }

  private:
    // A depth to sort by: samples without a number for it come last.
    float depth(std::int64_t pixel, int sample) const {
        const float z = samples_.deep_value(pixel, samples_.Z_channel(), sample);
        return std::isnan(z) ? INFINITY : z;
    }

    float alpha(std::int64_t pixel, int sample) const {
        const int channel = samples_.A_channel();
        return channel < 0 ? 1.0F : coverage(samples_.deep_value(pixel, channel, sample));
    }

    void sort_samples(std::int64_t pixel) {
        order_.resize(static_cast<std::size_t>(samples_.samples(pixel)));
        std::iota(order_.begin(), order_.end(), 0);
        if (samples_.Z_channel() < 0) return;
        std::ranges::stable_sort(order_, {},
                                 [&](int sample) { return depth(pixel, sample); });
    }

    // The sample of the front surface; below 0 without samples.
    int front_sample(std::int64_t pixel) const {
        float open = 1.0F;
        for (const int sample : order_) open *= 1.0F - alpha(pixel, sample);
        const float enough = std::min(FRONT_ALPHA, 0.5F * (1.0F - open));
        open = 1.0F;
        for (const int sample : order_) {
            open *= 1.0F - alpha(pixel, sample);
            if (1.0F - open >= enough) return sample;
        }
        return -1;
    }

    float composite(std::int64_t pixel, int channel) const {
        float sum = 0.0F;
        float open = 1.0F;  // how much of the pixel is not covered yet
        for (const int sample : order_) {
            sum += open * samples_.deep_value(pixel, channel, sample);
            open *= 1.0F - alpha(pixel, sample);
            if (open <= 0.0F) break;  // what is hidden may be infinite
        }
        return sum;
    }

    const OIIO::ImageSpec& spec_;
    const OIIO::DeepData& samples_;
    std::vector<source> sources_;  // of each channel
    std::vector<int> order_;       // of the present pixel's samples, the nearest first
};

}  // namespace

OIIO::ImageSpec flat_header(OIIO::ImageSpec deep) {
    deep.deep = false;
    for (const char* name : {"deepImageState", "openexr:maxSamplesPerPixel", "type",
                             "maxSamplesPerPixel", "version"}) {
        deep.erase_attribute(name);
    }
    return deep;
}

bool read_flattened(OIIO::ImageInput& input, int index, picture_part& part) {
    const OIIO::ImageSpec& spec = part.spec;
    const bool tiled = spec.tile_width > 0;
    const int step = tiled ? spec.tile_height : ROWS;
    std::byte* out = part.pixels.get();
    for (int y = spec.y; y < spec.y + spec.height; y += step) {
        const int end = std::min(y + step, spec.y + spec.height);
        OIIO::DeepData samples;
        const bool read =
            tiled ? input.read_native_deep_tiles(index, 0, spec.x, spec.x + spec.width, y,
                                                 end, 0, 1, 0, spec.nchannels, samples)
                  : input.read_native_deep_scanlines(index, 0, y, end, 0, 0,
                                                     spec.nchannels, samples);
        if (!read) return false;
        flattener flat(spec, samples);
        for (std::int64_t pixel = 0; pixel < samples.pixels(); ++pixel) {
            flat.write(pixel, out);
            out += spec.pixel_bytes(true);
        }
    }
    return true;
}

}  // namespace focusfall
