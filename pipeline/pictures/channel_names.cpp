#include "pipeline/pictures/channel_names.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

#include "host/text.h"
#include "pipeline/pictures/lower_case.h"

namespace focusfall {

namespace {

template <std::size_t N>
bool is_one_of(std::string_view text, const std::array<const char*, N>& words) {
    return std::ranges::any_of(words, [&](const char* word) { return text == word; });
}

template <std::size_t N>
bool has_one_of(std::string_view text, const std::array<const char*, N>& words) {
    return std::ranges::any_of(
        words, [&](const char* word) { return text.find(word) != text.npos; });
}

// Layers that hold vectors, some of which have a Z, in lower case.
bool is_vector(const std::string& word) {
    constexpr std::array PARTS{"normal", "position", "velocity", "vector",
                               "motion", "tangent",  "point"};
    constexpr std::array WORDS{"n", "nn", "p", "pref", "pworld", "nworld", "dpdt"};
    return has_one_of(word, PARTS) || is_one_of(word, WORDS);
}

bool has_channel(const OIIO::ImageSpec& spec, const channel_name& name) {
    return std::ranges::count(spec.channelnames, name.full()) > 0;
}

// Whether X and Y stand beside a Z: the three are one vector.
bool has_x_and_y(const OIIO::ImageSpec& spec, const channel_name& z) {
    const bool small = z.last == "z";
    return has_channel(spec, {z.layer, small ? "x" : "X"}) &&
           has_channel(spec, {z.layer, small ? "y" : "Y"});
}

// The channel that stands for a depth layer whose channels are all alike, as those of a
// depth that was written as a grey picture.
bool speaks_for_layer(const OIIO::ImageSpec& spec, const channel_name& name) {
    for (const char* last : {"Z", "z", "V", "v", "R", "r", "red", "Red", "Y", "y", "X"}) {
        if (has_channel(spec, {name.layer, last})) return name.last == last;
    }
    return std::ranges::none_of(spec.channelnames, [&](const std::string& other) {
        return split_name(other).layer == name.layer && other != name.full();
    });
}

std::vector<std::string> views_of(const OIIO::ImageSpec& spec) {
    std::vector<std::string> views;
    const OIIO::ParamValue* list = spec.find_attribute("multiView");
    if (!list || list->type().basetype != OIIO::TypeDesc::STRING) return views;
    for (int i = 0; i < list->nvalues() * static_cast<int>(list->type().numelements());
         ++i) {
        views.push_back(list->get_string_indexed(i));
    }
    return views;
}

// Calls test(start, length) for each word between the separators of a name, until it says
// yes.
template <class Test>
bool any_word(const std::string& name, const char* separators, Test test) {
    for (std::size_t start = 0; start <= name.size();) {
        const std::size_t end =
            std::min(name.find_first_of(separators, start), name.size());
        if (test(start, end - start)) return true;
        start = end + 1;
    }
    return false;
}

}  // namespace

channel_name split_name(const std::string& name) {
    const std::size_t dot = name.rfind('.');
    if (dot == std::string::npos) return {"", name};
    return {name.substr(0, dot), name.substr(dot + 1)};
}

color_role role_of(const std::string& last) {
    const std::string name = lowered(last);
    if (name == "r" || name == "red") return color_role::RED;
    if (name == "g" || name == "green") return color_role::GREEN;
    if (name == "b" || name == "blue") return color_role::BLUE;
    if (name == "a" || name == "alpha") return color_role::ALPHA;
    return color_role::NONE;
}

std::string alpha_beside(const std::string& red) {
    if (red == "r") return "a";
    if (red == "red") return "alpha";
    if (red == "Red") return "Alpha";
    return "A";
}

layer_kind kind_of_layer(const std::string& layer) {
    constexpr std::array BEAUTY{"combined", "beauty", "rgba",    "rgb",       "ci",
                                "c",        "image",  "color",   "colour",    "final",
                                "bty",      "main",   "primary", "finalimage"};
    constexpr std::array DATA{"crypto", "depth", "mist", "hitproxy", "objectid"};
    constexpr std::array DATA_WORDS{"uv", "st", "z", "id"};
    const std::string word = lowered(split_name(layer).last);
    if (is_one_of(word, BEAUTY)) return layer_kind::BEAUTY;
    const bool is_data =
        has_one_of(word, DATA) || is_one_of(word, DATA_WORDS) || is_vector(word);
    return is_data ? layer_kind::DATA : layer_kind::PICTURE;
}

depth_hint depth_hint_of(const OIIO::ImageSpec& spec, std::size_t channel) {
    const channel_name name = split_name(spec.channelnames[channel]);
    const std::string last = lowered(name.last);
    const std::string part = spec.get_string_attribute("oiio:subimagename");
    const std::string layer = without_view(name.layer, view_of(spec, name.layer));
    const std::string word = lowered(split_name(layer.empty() ? part : layer).last);

    const bool is_z = last == "z" || last == "pz";
    if (is_vector(word) || (is_z && has_x_and_y(spec, name))) return depth_hint::NONE;
    if (word.find("mist") != word.npos) {
        return speaks_for_layer(spec, name) ? depth_hint::MIST : depth_hint::NONE;
    }
    if (last.find("depth") != last.npos) return depth_hint::DEPTH;
    if (word.find("depth") != word.npos && role_of(last) != color_role::ALPHA) {
        return speaks_for_layer(spec, name) ? depth_hint::DEPTH : depth_hint::NONE;
    }
    if (!is_z) return depth_hint::NONE;
    return layer.empty() ? depth_hint::DEPTH : depth_hint::SOME_Z;
}

std::string view_of(const OIIO::ImageSpec& spec, const std::string& layer) {
    const std::string of_part = spec.get_string_attribute("view");
    if (!of_part.empty()) return of_part;
    const std::vector<std::string> views = views_of(spec);
    std::string found;
    any_word(layer, ".", [&](std::size_t start, std::size_t length) {
        const auto view = std::ranges::find(views, layer.substr(start, length));
        if (view == views.end()) return false;
        found = *view;
        return true;
    });
    return found.empty() && !views.empty() ? views.front() : found;
}

std::string without_view(const std::string& layer, const std::string& view) {
    std::string rest = layer;
    if (view.empty()) return rest;
    any_word(layer, "._", [&](std::size_t start, std::size_t length) {
        if (layer.compare(start, length, view) != 0) return false;
        // with the dot before it, or behind it where it comes first
        rest.erase(start == 0 ? 0 : start - 1, length + 1);
        return true;
    });
    return rest;
}

}  // namespace focusfall
