#include "pipeline/pictures/channel_choice.h"

#include <algorithm>
#include <tuple>

#include "host/error.h"
#include "host/text.h"

namespace focusfall {

namespace {

using headless::host_error;

std::string part_name(const OIIO::ImageSpec& spec) {
    return spec.get_string_attribute("oiio:subimagename");
}

const std::string& name_of(const picture& file, const channel_place& place) {
    return file[place.part].spec.channelnames[place.channel];
}

std::vector<channel_place> all_channels(const picture& file) {
    std::vector<channel_place> all;
    for (std::size_t part = 0; part < file.size(); ++part) {
        for (std::size_t i = 0; i < file[part].spec.channelnames.size(); ++i) {
            all.push_back({part, i});
        }
    }
    return all;
}

// Layer of the word before: "ViewLayer" for "ViewLayer.Combined".
std::string parent(const std::string& layer) { return split_name(layer).layer; }

// How near a channel is to the colour, nearest first.
enum class nearness { BESIDE, BELOW, SAME_VIEW_LAYER, SAME_VIEW, ELSEWHERE, OTHER_VIEW };

nearness nearness_of(const picture& file, const channel_place& place,
                     const color_channels& color) {
    const OIIO::ImageSpec& spec = file[place.part].spec;
    const std::string layer = split_name(name_of(file, place)).layer;
    const bool same_part = place.part == color.part;
    if (same_part && layer == color.layer) return nearness::BESIDE;
    if (same_part && parent(layer) == color.layer) return nearness::BELOW;

    if (color.part >= file.size()) return nearness::ELSEWHERE;
    const std::string view = view_of(spec, layer);
    const std::string color_view = view_of(file[color.part].spec, color.layer);
    if (!view.empty() && !color_view.empty() && view != color_view) {
        return nearness::OTHER_VIEW;
    }
    const bool same_parent = parent(without_view(layer, view)) ==
                             parent(without_view(color.layer, color_view));
    if (same_part && same_parent) return nearness::SAME_VIEW_LAYER;
    return view.empty() ? nearness::ELSEWHERE : nearness::SAME_VIEW;
}

// A channel that may be the depth; the smaller, the likelier.
struct depth_candidate {
    channel_place place;
    depth_hint hint;
    nearness near;

    auto likeness() const { return std::tuple(near == nearness::OTHER_VIEW, hint, near); }
};

std::vector<depth_candidate> sorted_candidates(const picture& file,
                                               const color_channels& color) {
    std::vector<depth_candidate> found;
    for (const channel_place& place : all_channels(file)) {
        const nearness near = nearness_of(file, place, color);
        depth_hint hint = depth_hint_of(file[place.part].spec, place.channel);
        if (hint == depth_hint::NONE) continue;
        if (near == nearness::BESIDE && hint == depth_hint::SOME_Z) {
            hint = depth_hint::DEPTH;
        }
        found.push_back({place, hint, near});
    }
    std::ranges::stable_sort(found, {}, &depth_candidate::likeness);
    return found;
}

std::vector<channel_place> places_of(const std::vector<depth_candidate>& candidates) {
    std::vector<channel_place> places;
    for (const depth_candidate& candidate : candidates) {
        places.push_back(candidate.place);
    }
    return places;
}

// The first, unless the second is as likely.
std::optional<channel_place> likeliest(const picture& file,
                                       const std::vector<depth_candidate>& candidates) {
    if (candidates.empty()) return std::nullopt;
    if (candidates.size() == 1 || candidates[0].likeness() != candidates[1].likeness()) {
        return candidates[0].place;
    }
    // the name that OpenEXR gives depth, and under which ours is written
    for (const depth_candidate& candidate : candidates) {
        if (candidate.likeness() == candidates[0].likeness() &&
            name_of(file, candidate.place) == "Z") {
            return candidate.place;
        }
    }
    throw host_error("has several depth channels; choose one by --depth-channel: " +
                     listed_channels(file, places_of(candidates)));
}

// How a channel answers to a name, best first.
enum class answer { FULL_NAME, NAME, ENDING, LAYER, NONE };

answer answer_of(const picture& file, const channel_place& place,
                 const std::string& name) {
    const OIIO::ImageSpec& spec = file[place.part].spec;
    const std::string& channel = name_of(file, place);
    const std::string layer = split_name(channel).layer;
    const std::string full = file.size() > 1 ? part_name(spec) + "." + channel : channel;
    if (name == full || name == full_name(file, place)) return answer::FULL_NAME;
    if (name == channel || name == view_of(spec, layer) + "." + channel) {
        return answer::NAME;
    }
    if (full.ends_with("." + name)) return answer::ENDING;
    const bool speaks = depth_hint_of(spec, place.channel) != depth_hint::NONE;
    const std::string whole_layer = split_name(full).layer;
    const bool is_layer = name == whole_layer || whole_layer.ends_with("." + name);
    return speaks && is_layer ? answer::LAYER : answer::NONE;
}

std::optional<channel_place> named_channel(const picture& file,
                                           const color_channels& color,
                                           const std::string& name) {
    std::vector<depth_candidate> found;
    std::vector<std::string> names;
    answer best = answer::NONE;
    for (const channel_place& place : all_channels(file)) {
        names.push_back(full_name(file, place));
        const answer given = answer_of(file, place, name);
        if (given == answer::NONE || given > best) continue;
        if (given < best) found.clear();
        best = given;
        // called by its name, it need not look like depth
        found.push_back({place, depth_hint::DEPTH, nearness_of(file, place, color)});
    }
    if (found.empty()) {
        throw host_error("has no channel \"" + name + "\"; there are: " +
                         listed_channels(file) + headless::suggestion(name, names));
    }
    std::ranges::stable_sort(found, {}, &depth_candidate::likeness);
    return likeliest(file, found);
}

}  // namespace

std::optional<std::size_t> find_channel(const OIIO::ImageSpec& spec,
                                        const channel_name& name) {
    const auto found = std::ranges::find(spec.channelnames, name.full());
    if (found == spec.channelnames.end()) return std::nullopt;
    return static_cast<std::size_t>(found - spec.channelnames.begin());
}

std::vector<channel_place> depth_candidates(const picture& file,
                                            const color_channels& color) {
    return places_of(sorted_candidates(file, color));
}

std::optional<channel_place> choose_depth(const picture& file,
                                          const color_channels& color,
                                          const std::string& name) {
    if (!name.empty()) return named_channel(file, color, name);
    return likeliest(file, sorted_candidates(file, color));
}

void expect_same_view(const picture& file, const color_channels& color,
                      const channel_place& depth) {
    if (nearness_of(file, depth, color) != nearness::OTHER_VIEW) return;
    throw host_error("has no depth of the view " +
                     view_of(file[color.part].spec, color.layer) +
                     "; name one for all views by --depth-channel: " +
                     listed_channels(file, depth_candidates(file, color)));
}

std::vector<channel_place> other_channels(const picture& file,
                                          const color_channels& color,
                                          const std::optional<channel_place>& depth) {
    std::vector<channel_place> others = all_channels(file);
    std::erase_if(others, [&](const channel_place& p) {
        if (p == depth) return true;
        return p.part == color.part &&
               (p.channel == color.red || p.channel == color.green ||
                p.channel == color.blue || p.channel == color.alpha);
    });
    return others;
}

std::string full_name(const picture& file, const channel_place& place) {
    const std::string part = part_name(file[place.part].spec);
    const std::string& name = name_of(file, place);
    // "depth.Z" in the part "depth": the part need not be named again
    return file.size() == 1 || name.starts_with(part + ".") ? name : part + "." + name;
}

std::string listed_channels(const picture& file,
                            const std::vector<channel_place>& channels) {
    std::vector<std::string> names;
    for (const channel_place& place : channels) names.push_back(full_name(file, place));
    return headless::joined(names);
}

std::string listed_channels(const picture& file) {
    std::vector<channel_place> all = all_channels(file);
    std::ranges::stable_sort(all, {}, [&](const channel_place& place) {
        return depth_hint_of(file[place.part].spec, place.channel);
    });
    return listed_channels(file, all);
}

}  // namespace focusfall
