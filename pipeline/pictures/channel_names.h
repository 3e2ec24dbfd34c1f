#pragma once
// What the names of channels and layers say. Every renderer and every compositing program
// has habits of its own; what is known of them stands here.

#include <optional>
#include <string>

#include <OpenImageIO/imageio.h>

namespace focusfall {

// A channel's name in its two halves: "left.R" is the channel R of the layer "left".
struct channel_name {
    std::string layer;  // what stands before the last dot; may be empty
    std::string last;

    bool is_depth() const { return last == "Z"; }
    std::string full() const { return layer.empty() ? last : layer + "." + last; }
};

channel_name split_name(const std::string& name);

// Which colour a channel is. Letter case does not matter: R, r and red are RED.
enum class color_role { RED, GREEN, BLUE, ALPHA, NONE };
color_role role_of(const std::string& last);

// The name of an alpha in the spelling of a `red` one: "A" beside "R", "a" beside "r",
// "alpha" beside "red".
std::string alpha_beside(const std::string& red);

// What a layer seems to hold: the picture itself, some picture, or numbers of another
// kind, as normals, depths or Cryptomatte.
enum class layer_kind { BEAUTY, PICTURE, DATA };
layer_kind kind_of_layer(const std::string& layer);

// How much a channel looks like depth, best first; the Z of a normal, a position or a
// velocity does not.
enum class depth_hint { DEPTH, SOME_Z, MIST, NONE };
depth_hint depth_hint_of(const OIIO::ImageSpec& spec, std::size_t channel);

// The view that a layer of a part belongs to: what the part says, or which of the part's
// views is a word of the name, as in "diffuse.left"; else the first of these, which
// has no need to be named. Empty for a file without views.
std::string view_of(const OIIO::ImageSpec& spec, const std::string& layer);
// The same name without the word that is the view: "diffuse".
std::string without_view(const std::string& layer, const std::string& view);

}  // namespace focusfall
