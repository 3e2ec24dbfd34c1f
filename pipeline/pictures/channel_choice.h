#pragma once
// Which channels of a file are its colour and its depth. Only headers count: the parts of
// the files need no pixels.

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "pipeline/pictures/picture.h"

namespace focusfall {

// A channel's name in its two halves: "left.R" is the channel R of the layer "left".
struct channel_name {
    std::string layer;  // what stands before the last dot; may be empty
    std::string last;

    bool is_depth() const { return last == "Z"; }
    std::string full() const { return layer.empty() ? last : layer + "." + last; }
};

channel_name split_name(const std::string& name);

// The channel of that name, where the part has it.
std::optional<std::size_t> find_channel(const OIIO::ImageSpec& spec,
                                        const channel_name& name);

// One channel of one part.
struct channel_place {
    std::size_t part = 0;
    std::size_t channel = 0;

    friend bool operator==(const channel_place&, const channel_place&) = default;
};

// Red, green, blue and alpha of one part. A grey picture has one channel for all colours.
struct color_channels {
    std::size_t part = 0;
    std::string layer;  // of all their names; may be empty
    std::size_t red = 0;
    std::size_t green = 0;
    std::size_t blue = 0;
    std::optional<std::size_t> alpha;

    bool is_grey() const { return red == green; }
};

// The colour: the part, view or layer called `layer`, or when that is empty the only one,
// or the only one without a layer. Throws host_error, without the file's name, that lists
// the choices when there are several or none.
color_channels choose_color(const picture& file, const std::string& layer);

// The depth: the channel called `name`, perhaps with its part or view before a dot, or
// when that is empty the Z of the colour's layer, part or view, or the file's only Z.
// Nothing when the file has none. Throws host_error, without the file's name, that lists
// the choices when there are several, and for a name that is not there.
std::optional<channel_place> choose_depth(const picture& file,
                                          const color_channels& color,
                                          const std::string& name);

// All channels but those of the colour and the depth, in the order of the file.
std::vector<channel_place> other_channels(const picture& file,
                                          const color_channels& color,
                                          const std::optional<channel_place>& depth);

// The names of channels with commas between, each with its part's where there are several
// parts.
std::string listed_channels(const picture& file,
                            const std::vector<channel_place>& channels);

}  // namespace focusfall
