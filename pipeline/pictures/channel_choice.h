#pragma once
// Which channels of a file are its colour and its depth.

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "pipeline/pictures/picture_file.h"

namespace focusfall {

// One channel of one part.
struct channel_place {
    std::size_t part = 0;
    std::size_t channel = 0;

    friend bool operator==(const channel_place&, const channel_place&) = default;
};

// Red, green, blue and alpha of one part. A grey picture has one channel for all colours.
struct color_channels {
    std::size_t part = 0;
    std::string layer;  // what stands before the last dot of the names; may be empty
    std::size_t red = 0;
    std::size_t green = 0;
    std::size_t blue = 0;
    std::optional<std::size_t> alpha;

    bool is_grey() const { return red == green; }
};

// The colour: the part, view or layer called `layer`, or when that is empty the one that
// is plain. Throws host_error, without the file's name, that lists the choices when there
// are several or none.
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

// Their names with commas between, each with its part's where there are several parts.
std::string listed_channels(const picture& file,
                            const std::vector<channel_place>& channels);

}  // namespace focusfall
