#include "pipeline/pictures/channel_choice.h"

#include <algorithm>
#include <vector>

#include "host/error.h"

namespace focusfall {

namespace {

std::string part_name(const OIIO::ImageSpec& spec) {
    return spec.get_string_attribute("oiio:subimagename");
}

std::string view(const OIIO::ImageSpec& spec) {
    return spec.get_string_attribute("view");
}

// The name by which a person tells `place` from all others of the file.
std::string full_name(const picture& file, const channel_place& place) {
    const OIIO::ImageSpec& spec = file[place.part].spec;
    const std::string& name = spec.channelnames[place.channel];
    return file.size() > 1 ? part_name(spec) + "." + name : name;
}

std::string layer_name(const picture& file, const color_channels& color) {
    if (file.size() == 1) return color.layer;
    const std::string part = part_name(file[color.part].spec);
    return color.layer.empty() ? part : part + "." + color.layer;
}

bool is_called(const picture& file, const color_channels& color,
               const std::string& name) {
    const OIIO::ImageSpec& spec = file[color.part].spec;
    return name == layer_name(file, color) || name == color.layer ||
           name == part_name(spec) || name == view(spec);
}

// Every layer of every part that has red, green and blue, in the order of the file.
std::vector<color_channels> color_layers(const picture& file) {
    std::vector<color_channels> layers;
    for (std::size_t part = 0; part < file.size(); ++part) {
        const OIIO::ImageSpec& spec = file[part].spec;
        for (const std::string& name : spec.channelnames) {
            const auto [layer, last] = split_name(name);
            if (last != "R") continue;
            const auto red = find_channel(spec, {layer, "R"});
            const auto green = find_channel(spec, {layer, "G"});
            const auto blue = find_channel(spec, {layer, "B"});
            if (!green || !blue) continue;
            layers.push_back(
                {part, layer, *red, *green, *blue, find_channel(spec, {layer, "A"})});
        }
    }
    return layers;
}

// Every Y, and the only channel of a part, whatever its name, unless it is depth or
// alpha.
std::vector<color_channels> grey_layers(const picture& file) {
    std::vector<color_channels> layers;
    for (std::size_t part = 0; part < file.size(); ++part) {
        const OIIO::ImageSpec& spec = file[part].spec;
        for (std::size_t i = 0; i < spec.channelnames.size(); ++i) {
            const auto [layer, last] = split_name(spec.channelnames[i]);
            const bool lone = spec.nchannels == 1 && last != "Z" && last != "A";
            if (last != "Y" && !lone) continue;
            layers.push_back({part, layer, i, i, i, find_channel(spec, {layer, "A"})});
        }
    }
    return layers;
}

template <class List, class Name>
std::string listed(const List& choices, Name name) {
    std::string text;
    for (const auto& choice : choices) text += (text.empty() ? "" : ", ") + name(choice);
    return text;
}

template <class Test>
std::vector<channel_place> channels_where(const picture& file, Test test) {
    std::vector<channel_place> found;
    for (std::size_t part = 0; part < file.size(); ++part) {
        const OIIO::ImageSpec& spec = file[part].spec;
        for (std::size_t i = 0; i < spec.channelnames.size(); ++i) {
            if (test(spec, spec.channelnames[i])) found.push_back({part, i});
        }
    }
    return found;
}

std::string listed_channels(const picture& file) {
    return listed_channels(file, channels_where(file, [](auto&, auto&) { return true; }));
}

// The only place of `found`, or nothing; several are an error.
std::optional<channel_place> only(const picture& file,
                                  const std::vector<channel_place>& found) {
    if (found.empty()) return std::nullopt;
    if (found.size() == 1) return found.front();
    throw headless::host_error(
        "has several depth channels; choose one by --depth-channel: " +
        listed_channels(file, found));
}

std::optional<channel_place> named_channel(const picture& file, const std::string& name) {
    const auto found = channels_where(
        file, [&](const OIIO::ImageSpec& spec, const std::string& channel) {
            return name == channel || name == part_name(spec) + "." + channel ||
                   name == view(spec) + "." + channel;
        });
    if (found.empty()) {
        throw headless::host_error("has no channel \"" + name +
                                   "\"; there are: " + listed_channels(file));
    }
    return only(file, found);
}

}  // namespace

channel_name split_name(const std::string& name) {
    const std::size_t dot = name.rfind('.');
    if (dot == std::string::npos) return {"", name};
    return {name.substr(0, dot), name.substr(dot + 1)};
}

std::optional<std::size_t> find_channel(const OIIO::ImageSpec& spec,
                                        const channel_name& name) {
    const auto found = std::ranges::find(spec.channelnames, name.full());
    if (found == spec.channelnames.end()) return std::nullopt;
    return static_cast<std::size_t>(found - spec.channelnames.begin());
}

color_channels choose_color(const picture& file, const std::string& layer) {
    const std::vector<color_channels> all = color_layers(file);
    std::vector<color_channels> found = all.empty() ? grey_layers(file) : all;
    if (found.empty()) {
        throw headless::host_error("has no colour channels; there are: " +
                                   listed_channels(file));
    }
    const auto name_of = [&](const color_channels& c) {
        const std::string name = layer_name(file, c);
        return name.empty() ? std::string("(unnamed)") : name;
    };
    const std::string choices = listed(found, name_of);
    if (!layer.empty()) {
        std::erase_if(found, [&](const auto& c) { return !is_called(file, c, layer); });
        if (found.empty()) {
            throw headless::host_error("has no layer \"" + layer +
                                       "\"; there are: " + choices);
        }
    } else if (std::ranges::count(found, "", &color_channels::layer) == 1) {
        std::erase_if(found, [](const auto& c) { return !c.layer.empty(); });
    }
    if (found.size() == 1) return found.front();
    throw headless::host_error("has several pictures; choose one by --layer: " +
                               listed(found, name_of));
}

std::optional<channel_place> choose_depth(const picture& file,
                                          const color_channels& color,
                                          const std::string& name) {
    if (!name.empty()) return named_channel(file, name);

    // beside the colour
    const OIIO::ImageSpec& spec = file[color.part].spec;
    for (const char* last : {"Z", "depth.Z", "Depth.Z"}) {
        if (const auto z = find_channel(spec, {color.layer, last})) {
            return channel_place{color.part, *z};
        }
    }
    // of the same view, else anywhere
    const auto is_z = [](const std::string& channel) {
        return split_name(channel).is_depth();
    };
    if (file.size() > 1 && !view(spec).empty()) {
        const auto found =
            channels_where(file, [&](const auto& other, const auto& channel) {
                return is_z(channel) && view(other) == view(spec);
            });
        if (!found.empty()) return only(file, found);
    }
    return only(file, channels_where(file, [&](const auto&, const auto& channel) {
                    return is_z(channel);
                }));
}

std::vector<channel_place> other_channels(const picture& file,
                                          const color_channels& color,
                                          const std::optional<channel_place>& depth) {
    std::vector<channel_place> others =
        channels_where(file, [](auto&, auto&) { return true; });
    std::erase_if(others, [&](const channel_place& p) {
        if (p == depth) return true;
        return p.part == color.part &&
               (p.channel == color.red || p.channel == color.green ||
                p.channel == color.blue || p.channel == color.alpha);
    });
    return others;
}

std::string listed_channels(const picture& file,
                            const std::vector<channel_place>& channels) {
    return listed(channels, [&](const channel_place& p) { return full_name(file, p); });
}

}  // namespace focusfall
