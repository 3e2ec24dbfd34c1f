#pragma once
// Which channels of a file are its colour and its depth. Only headers count: the parts of
// the files need no pixels.

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "pipeline/pictures/channel_names.h"
#include "pipeline/pictures/picture.h"

namespace focusfall {

// The channel of that name, where the part has it.
std::optional<std::size_t> find_channel(const OIIO::ImageSpec& spec,
                                        const channel_name& name);

// One channel of one part.
struct channel_place {
    std::size_t part = 0;
    std::size_t channel = 0;

    friend bool operator==(const channel_place&, const channel_place&) = default;
};

// Red, green, blue and alpha of one part. A grey picture has one channel for all colours;
// one of red and green alone has no blue, which then is 0.
struct color_channels {
    std::size_t part = 0;
    std::string layer;  // of their names, of red's at least; may be empty
    std::size_t red = 0;
    std::size_t green = 0;
    std::optional<std::size_t> blue = 0;
    std::optional<std::size_t> alpha;

    bool is_grey() const { return red == green; }
};

// All pictures of the file, those that a person most likely means first. Without any, all
// grey or incomplete ones.
std::vector<color_channels> color_candidates(const picture& file);

// The name by which `choose_color` finds that picture and no other.
std::string layer_name(const picture& file, const color_channels& color);

// The colour: the part, view or layer called `layer`, the end of such a name, or the view
// layer that it begins with; when several answer to it, the one that is most likely the
// picture itself. When `layer` is empty, that one of all. Throws host_error, without the
// file's name, that lists the choices when none stands out, or there are none.
color_channels choose_color(const picture& file, const std::string& layer);

// The views of the file in its order; empty for a file without.
std::vector<std::string> views(const picture& file);

// What to say of the other views when `color` was taken unasked, as the end of a sentence
// about the file; empty where there are none.
std::string other_views_note(const picture& file, const color_channels& color);

// Stands for every view of a file among the names of layers.
inline constexpr const char* ALL_VIEWS = "all-views";

// The colours of several layers, each once, by names as above; no name gives the picture
// itself. ALL_VIEWS stands alone, and gives the picture of every view. Throws host_error,
// without the file's name, as above, and for ALL_VIEWS of a file without views.
std::vector<color_channels> choose_colors(const picture& file,
                                          const std::vector<std::string>& layers);

// All channels that look like depth, those that most likely belong to `color` first.
std::vector<channel_place> depth_candidates(const picture& file,
                                            const color_channels& color);

// The depth: the channel or layer called `name`, perhaps with its part or view before a
// dot, or the end of such a name; what is nearest to the colour when several are. When
// `name` is empty, the likeliest candidate. Nothing when the file has none. Throws
// host_error, without the file's name, that lists the choices when none stands out, and
// for a name that is not there.
std::optional<channel_place> choose_depth(const picture& file,
                                          const color_channels& color,
                                          const std::string& name);

// Throws host_error, without the file's name, when `depth` shows another view than
// `color`.
void expect_same_view(const picture& file, const color_channels& color,
                      const channel_place& depth);

// All channels but those of the colour and the depth, in the order of the file.
std::vector<channel_place> other_channels(const picture& file,
                                          const color_channels& color,
                                          const std::optional<channel_place>& depth);

// The name by which `choose_depth` finds that channel.
std::string full_name(const picture& file, const channel_place& place);

// The names of channels with commas between, each with its part's where there are several
// parts.
std::string listed_channels(const picture& file,
                            const std::vector<channel_place>& channels);
// The same of all channels, those that look like depth first.
std::string listed_channels(const picture& file);

}  // namespace focusfall
