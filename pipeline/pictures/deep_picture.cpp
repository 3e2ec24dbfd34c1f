#include "pipeline/pictures/deep_picture.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numeric>
#include <span>
#include <vector>

#include <OpenImageIO/deepdata.h>

#include "pipeline/pictures/channel_names.h"

namespace focusfall {

namespace {

using OIIO::TypeDesc;

constexpr float FRONT_ALPHA = 0.1F;
constexpr double HALF_ALPHA = 0.01;  // that makes a half of its own
constexpr float EMPTY_DEPTH = 1e30F;
constexpr double NEAREST = 1e-6;  // depths may be 0
constexpr double AS_DEEP = 0.01;  // surfaces that are no further apart are one
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

// Samples by what is seen of them: sums of how much that is, times 1 / depth to the power
// of 0, 1 and 2.
struct visible_samples {
    double weight = 0.0;
    double inverse = 0.0;
    double square = 0.0;

    double mean() const { return weight > 0.0 ? inverse / weight : 0.0; }
    // Sum of the squared differences from the mean; those that rounding makes are none.
    double spread() const {
        if (!(weight > 0.0)) return 0.0;
        const double sum = square - inverse * inverse / weight;
        return sum > 1e-9 * square ? sum : 0.0;
    }
    friend visible_samples operator+(const visible_samples& a, const visible_samples& b) {
        return {a.weight + b.weight, a.inverse + b.inverse, a.square + b.square};
    }
    friend visible_samples operator*(const visible_samples& a, double factor) {
        return {a.weight * factor, a.inverse * factor, a.square * factor};
    }
};

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

    // Takes the samples of a pixel, for the next ones.
    void begin(std::int64_t pixel) {
        pixel_ = pixel;
        sort_samples();
    }

    // Writes the flat pixel to `out`, channel by channel.
    void write(std::byte* out) const {
        const float enough = std::min(FRONT_ALPHA, 0.5F * covered(order_));
        write(order_, sample_at(order_, enough), out);
    }

    // Writes its halves.
    void write_halves(std::byte* front, std::byte* behind) {
        const std::size_t count = front_samples();
        const std::span<const int> all(order_);
        write_half(all.first(count), front);
        write_half(all.subspan(count), behind);
    }

  private:
    // A depth to sort by: samples without a number for it come last.
    float depth(int sample) const {
        const float z = samples_.deep_value(pixel_, samples_.Z_channel(), sample);
        return std::isnan(z) ? INFINITY : z;
    }

    float alpha(int sample) const {
        const int channel = samples_.A_channel();
        return channel < 0 ? 1.0F
                           : coverage(samples_.deep_value(pixel_, channel, sample));
    }

    void sort_samples() {
        order_.resize(static_cast<std::size_t>(samples_.samples(pixel_)));
        std::iota(order_.begin(), order_.end(), 0);
        if (samples_.Z_channel() < 0) return;
        std::ranges::stable_sort(order_, {}, [&](int sample) { return depth(sample); });
    }

    // How much some samples cover.
    float covered(std::span<const int> some) const {
        float open = 1.0F;
        for (const int sample : some) open *= 1.0F - alpha(sample);
        return 1.0F - open;
    }

    // The one with which they cover `enough`; below 0 without samples.
    int sample_at(std::span<const int> some, float enough) const {
        float open = 1.0F;
        for (const int sample : some) {
            open *= 1.0F - alpha(sample);
            if (1.0F - open >= enough) return sample;
        }
        return -1;
    }

    // What samples are, as blur goes.
    double inverse_depth(int sample) const {
        return 1.0 / std::max(std::abs(double{depth(sample)}), NEAREST);
    }
    visible_samples seen(int sample) const {
        const double inverse = inverse_depth(sample);
        return visible_samples{1.0, inverse, inverse * inverse} * double{alpha(sample)};
    }

    // How many samples, in their order, are in front; all where the rest is as deep.
    std::size_t front_samples() {
        // what is seen of the samples from each on
        behind_.resize(order_.size() + 1);
        behind_.back() = {};
        for (std::size_t i = order_.size(); i-- > 0;) {
            behind_[i] =
                seen(order_[i]) + behind_[i + 1] * (1.0 - double{alpha(order_[i])});
        }
        std::size_t best = order_.size();
        double smallest = INFINITY;
        visible_samples front;
        double open = 1.0;
        for (std::size_t i = 0; i + 1 < order_.size(); ++i) {
            front = front + seen(order_[i]) * open;
            open *= 1.0 - double{alpha(order_[i])};
            const double next = inverse_depth(order_[i + 1]);
            if (front.weight < HALF_ALPHA || !(next < (1.0 - AS_DEEP) * front.mean()))
                continue;
            const double spread = front.spread() + open * behind_[i + 1].spread();
            if (!(spread < smallest)) continue;
            smallest = spread;
            best = i + 1;
        }
        return best;
    }

    // Writes a pixel of some of the samples, whose other channels are those of `front`.
    void write(std::span<const int> some, int front, std::byte* out) const {
        for (int c = 0; c < spec_.nchannels; ++c) {
            const TypeDesc type = spec_.channelformat(c);
            if (sources_[static_cast<std::size_t>(c)] == source::COMPOSITE) {
                const float value = composite(some, c);
                OIIO::convert_types(TypeDesc::FLOAT, &value, type, out, 1);
            } else if (front >= 0) {
                std::memcpy(out, samples_.data_ptr(pixel_, c, front), type.size());
            } else {
                const float value = c == samples_.Z_channel() ? EMPTY_DEPTH : 0.0F;
                OIIO::convert_types(TypeDesc::FLOAT, &value, type, out, 1);
            }
            out += type.size();
        }
    }

    // Likewise, of the sample in the middle of what is seen of them.
    void write_half(std::span<const int> some, std::byte* out) const {
        write(some, sample_at(some, 0.5F * covered(some)), out);
    }

    float composite(std::span<const int> some, int channel) const {
        float sum = 0.0F;
        float open = 1.0F;  // how much of the pixel is not covered yet
        for (const int sample : some) {
            sum += open * samples_.deep_value(pixel_, channel, sample);
            open *= 1.0F - alpha(sample);
            if (open <= 0.0F) break;  // what is hidden may be infinite
        }
        return sum;
    }

    const OIIO::ImageSpec& spec_;
    const OIIO::DeepData& samples_;
    std::vector<source> sources_;  // of each channel
    std::int64_t pixel_ = 0;
    std::vector<int> order_;  // of its samples, the nearest first
    std::vector<visible_samples> behind_;
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

bool read_flattened(OIIO::ImageInput& input, int index, picture_part& part,
                    deep_halves* halves) {
    const OIIO::ImageSpec& spec = part.spec;
    if (halves) *halves = {empty_part(spec), empty_part(spec)};
    const bool tiled = spec.tile_width > 0;
    const int step = tiled ? spec.tile_height : ROWS;
    std::size_t at = 0;
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
            flat.begin(pixel);
            flat.write(part.pixels.get() + at);
            if (halves) {
                flat.write_halves(halves->front.pixels.get() + at,
                                  halves->behind.pixels.get() + at);
            }
            at += spec.pixel_bytes(true);
        }
    }
    return true;
}

}  // namespace focusfall
