// The colour of a file: see channel_choice.h.

#include <algorithm>
#include <iterator>
#include <utility>

#include "host/error.h"
#include "host/text.h"
#include "pipeline/pictures/channel_choice.h"

namespace focusfall {

namespace {

using headless::host_error;

std::string part_name(const OIIO::ImageSpec& spec) {
    return spec.get_string_attribute("oiio:subimagename");
}

std::string color_view(const picture& file, const color_channels& color) {
    return view_of(file[color.part].spec, color.layer);
}

// What the layer without a name is called: "rgba", in brackets if another one is.
std::string name_of_unnamed(const OIIO::ImageSpec& spec) {
    const auto is_taken = [&](const std::string& name) {
        return std::ranges::any_of(spec.channelnames, [&](const auto& channel) {
            return split_name(channel).layer == name;
        });
    };
    std::string name = "rgba";
    while (is_taken(name)) name = "(" + name + ")";
    return name;
}

// The layer's name with that of its part, where there are several.
std::string long_name(const picture& file, const color_channels& color) {
    if (file.size() == 1) {
        return color.layer.empty() ? name_of_unnamed(file[0].spec) : color.layer;
    }
    const std::string part = part_name(file[color.part].spec);
    return color.layer.empty() ? part : part + "." + color.layer;
}

// Which channels of a layer are its colours, the first where several could be.
struct layer_roles {
    std::optional<std::size_t> red, green, blue, alpha;
};

layer_roles roles_in(const OIIO::ImageSpec& spec, const std::string& layer) {
    layer_roles roles;
    for (std::size_t i = 0; i < spec.channelnames.size(); ++i) {
        const channel_name name = split_name(spec.channelnames[i]);
        if (name.layer != layer) continue;
        const auto take = [&](std::optional<std::size_t>& role) {
            if (!role) role = i;
        };
        switch (role_of(name.last)) {
            case color_role::RED: take(roles.red); break;
            case color_role::GREEN: take(roles.green); break;
            case color_role::BLUE: take(roles.blue); break;
            case color_role::ALPHA: take(roles.alpha); break;
            case color_role::NONE: break;
        }
    }
    return roles;
}

// The alpha of a layer; a picture with a name of its own may share one without ("Ci.r"
// and "a").
std::optional<std::size_t> alpha_of(const OIIO::ImageSpec& spec, const std::string& layer,
                                    const layer_roles& roles) {
    if (roles.alpha || kind_of_layer(layer) != layer_kind::BEAUTY) return roles.alpha;
    const layer_roles unnamed = roles_in(spec, "");
    return unnamed.red ? std::nullopt : unnamed.alpha;
}

// Every layer of every part that has the three colours, in the order of the file; with
// `incomplete` those that lack blue, or green and blue.
std::vector<color_channels> colored_layers(const picture& file, bool incomplete) {
    std::vector<color_channels> layers;
    for (std::size_t part = 0; part < file.size(); ++part) {
        const OIIO::ImageSpec& spec = file[part].spec;
        for (std::size_t i = 0; i < spec.channelnames.size(); ++i) {
            const channel_name name = split_name(spec.channelnames[i]);
            if (role_of(name.last) != color_role::RED) continue;
            const layer_roles roles = roles_in(spec, name.layer);
            if (roles.red != i || (roles.blue && !roles.green)) continue;
            if (incomplete == roles.blue.has_value()) continue;
            layers.push_back({part, name.layer, i, roles.green.value_or(i),
                              roles.green ? roles.blue : i,
                              alpha_of(spec, name.layer, roles)});
        }
    }
    return layers;
}

// Every Y that is not beside a red, and the only channel of a part, whatever its name,
// unless it is depth or alpha.
std::vector<color_channels> grey_layers(const picture& file) {
    std::vector<color_channels> layers;
    for (std::size_t part = 0; part < file.size(); ++part) {
        const OIIO::ImageSpec& spec = file[part].spec;
        for (std::size_t i = 0; i < spec.channelnames.size(); ++i) {
            const auto [layer, last] = split_name(spec.channelnames[i]);
            const color_role role = role_of(last);
            const bool lone = spec.nchannels == 1 && last != "Z" &&
                              role != color_role::RED && role != color_role::ALPHA;
            if (last != "Y" && !lone) continue;
            const layer_roles roles = roles_in(spec, layer);
            // two pictures of one name could not be told apart
            const bool is_taken = !layers.empty() && layers.back().part == part &&
                                  layers.back().layer == layer;
            if (roles.red || is_taken) continue;
            layers.push_back({part, layer, i, i, i, roles.alpha});
        }
    }
    return layers;
}

std::vector<color_channels> grey_or_incomplete_layers(const picture& file) {
    std::vector<color_channels> layers = colored_layers(file, true);
    std::ranges::copy(grey_layers(file), std::back_inserter(layers));
    return layers;
}

// How likely a person means a layer who names none; 0 is the likeliest.
int rank(const picture& file, const color_channels& color, bool only_unnamed) {
    const layer_kind kind =
        kind_of_layer(without_view(long_name(file, color), color_view(file, color)));
    if (file.size() == 1 && color.layer.empty()) return 0;
    if (kind == layer_kind::DATA) return 3;
    if (color.layer.empty() && only_unnamed) return 0;
    return kind == layer_kind::BEAUTY ? 1 : 2;
}

struct ranked_layer {
    color_channels color;
    int rank;
};

std::vector<ranked_layer> ranked(const picture& file,
                                 const std::vector<color_channels>& layers) {
    const bool only_unnamed = std::ranges::count(layers, "", &color_channels::layer) == 1;
    std::vector<ranked_layer> list;
    for (const color_channels& color : layers) {
        list.push_back({color, rank(file, color, only_unnamed)});
    }
    std::ranges::stable_sort(list, {}, &ranked_layer::rank);
    return list;
}

// How a layer answers to a name, best first.
enum class answer { FULL_NAME, NAME, VIEW_OR_PART, ENDING, BEGINNING, NONE };

answer answer_of(const picture& file, const color_channels& color,
                 const std::string& name) {
    const OIIO::ImageSpec& spec = file[color.part].spec;
    const std::string full = long_name(file, color);
    if (name == full) return answer::FULL_NAME;
    if (name == color.layer) return answer::NAME;
    if (name == part_name(spec) || name == color_view(file, color)) {
        return answer::VIEW_OR_PART;
    }
    if (full.ends_with("." + name)) return answer::ENDING;
    return full.starts_with(name + ".") ? answer::BEGINNING : answer::NONE;
}

// Those of the list that answer best to the name.
std::vector<ranked_layer> named(const picture& file, const std::vector<ranked_layer>& all,
                                const std::string& name) {
    std::vector<ranked_layer> found;
    answer best = answer::NONE;
    for (const ranked_layer& layer : all) {
        const answer given = answer_of(file, layer.color, name);
        if (given < best) found.clear();
        best = std::min(best, given);
        if (given == best && given != answer::NONE) found.push_back(layer);
    }
    return found;
}

std::string listed_layers(const picture& file, const std::vector<ranked_layer>& layers) {
    std::vector<std::string> names;
    for (const ranked_layer& layer : layers) {
        names.push_back(layer_name(file, layer.color));
    }
    return headless::joined(names);
}

// The names that would have been understood: whole ones, and their last words.
[[noreturn]] void refuse_name(const picture& file, const std::vector<ranked_layer>& all,
                              const std::string& name) {
    std::vector<std::string> names;
    for (const ranked_layer& layer : all) {
        const std::string full = layer_name(file, layer.color);
        names.push_back(full);
        const std::string end = split_name(full).last;
        if (named(file, all, end).size() == 1) names.push_back(end);
    }
    std::ranges::copy(views(file), std::back_inserter(names));
    throw host_error("has no layer \"" + name + "\"; there are: " +
                     listed_layers(file, all) + headless::suggestion(name, names));
}

}  // namespace

std::vector<color_channels> color_candidates(const picture& file) {
    std::vector<color_channels> layers = colored_layers(file, false);
    if (layers.empty()) layers = grey_or_incomplete_layers(file);
    std::vector<color_channels> sorted;
    for (ranked_layer& layer : ranked(file, layers)) {
        sorted.push_back(std::move(layer.color));
    }
    return sorted;
}

std::string layer_name(const picture& file, const color_channels& color) {
    const std::string full = long_name(file, color);
    const std::string part = part_name(file[color.part].spec);
    if (file.size() == 1 || !color.layer.starts_with(part + ".")) return full;
    // "diffuse.left" in the part "diffuse": the part need not be named again
    const auto same_name = [&](const picture_part& other) {
        return part_name(other.spec) == color.layer;
    };
    return std::ranges::any_of(file, same_name) ? full : color.layer;
}

color_channels choose_color(const picture& file, const std::string& layer) {
    std::vector<ranked_layer> found = ranked(file, color_candidates(file));
    if (found.empty()) {
        throw host_error("has no colour channels, as R, G and B; there are: " +
                         listed_channels(file));
    }
    if (!layer.empty()) {
        std::vector<color_channels> all = colored_layers(file, false);
        std::ranges::copy(grey_or_incomplete_layers(file), std::back_inserter(all));
        const std::vector<ranked_layer> known = ranked(file, all);
        found = named(file, known, layer);
        if (found.empty()) refuse_name(file, known, layer);
    }
    const int best = found.front().rank;
    if (std::ranges::count(found, best, &ranked_layer::rank) == 1) {
        return found.front().color;
    }
    throw host_error(
        "has several pictures; choose one by --layer: " + listed_layers(file, found) +
        (views(file).size() > 1 ? std::string(", or ") + ALL_VIEWS : ""));
}

std::vector<color_channels> choose_colors(const picture& file,
                                          const std::vector<std::string>& layers) {
    if (layers.empty()) return {choose_color(file, "")};
    const bool all_views = std::ranges::count(layers, ALL_VIEWS) > 0;
    if (all_views && layers.size() > 1) {
        throw host_error(std::string(ALL_VIEWS) + " stands alone, without other layers");
    }
    const std::vector<std::string> names = all_views ? views(file) : layers;
    if (names.empty()) {
        throw host_error("has no views; leave out --layer " + std::string(ALL_VIEWS));
    }
    std::vector<color_channels> colors;
    for (const std::string& name : names) {
        color_channels color = choose_color(file, name);
        const bool is_new = std::ranges::none_of(colors, [&](const auto& other) {
            return other.part == color.part && other.red == color.red;
        });
        if (is_new) colors.push_back(std::move(color));
    }
    return colors;
}

std::string other_views_note(const picture& file, const color_channels& color) {
    const std::vector<std::string> all = views(file);
    if (all.size() < 2) return "";
    return "has the views " + headless::joined(all) + ", of which " +
           color_view(file, color) + " is taken; --layer " + ALL_VIEWS +
           " takes each with its own depth";
}

std::vector<std::string> views(const picture& file) {
    std::vector<std::string> names;
    for (const color_channels& color : colored_layers(file, false)) {
        const std::string view = color_view(file, color);
        if (!view.empty() && std::ranges::count(names, view) == 0) names.push_back(view);
    }
    return names;
}

}  // namespace focusfall
