#include "programs/command/input_options.h"

#include <functional>
#include <optional>

#include "host/text.h"
#include "programs/command/option_words.h"

namespace focusfall {

namespace {

// A check for CLI11 that names its range in the message alone: help shows a word.
std::function<std::string(const std::string&)> number_in(const choice_range& range) {
    return [range](const std::string& text) {
        const std::optional<double> number = headless::number_in(text);
        if (number && *number >= range.lowest && *number <= range.highest) {
            return std::string();
        }
        return "\"" + text + "\" is no number from " + headless::shortest(range.lowest) +
               " to " + headless::shortest(range.highest);
    };
}

}  // namespace

void input_options::add_to(CLI::App& verb, const std::string& purpose) {
    verb.add_option("input", input, purpose)->required()->type_name("FILE");
    const option_group group(verb, "What is read");
    verb.add_option("--layer", load.layers,
                    "Layer, view or part with the colour, or all-views (repeatable: "
                    "layers share one depth, views have their own)")
        ->type_name("NAME")
        ->allow_extra_args(false);
    verb.add_option_function<std::string>(
            "--colorspace",
            [this](const std::string& name) {
                load.encoding = color_encoding::named(name);
            },
            "How colours are encoded; Gamma with any exponent (default: as "
            "the files say)")
        ->check(accepted_by(color_encoding::named))
        ->type_name("{Linear,sRGB,Rec709,Cineon,Gamma2.2}");
    verb.add_flag("--lens-from-header", lens_from_header,
                  "Take focal length, f-stop, filmback and focus from the picture's "
                  "header; --set wins over it, and it over --settings");
    add_depth_options(verb);
    add_light_options(verb);
}

void input_options::add_depth_options(CLI::App& verb) {
    const option_group group(verb, "Depth");
    depth_choices& depth = load.depth;
    verb.add_option("--depth-map", depth_map, "Picture with the depth")
        ->type_name("FILE");
    verb.add_option("--depth-channel", load.depth_channel, "Channel with the depth")
        ->type_name("NAME");
    verb.add_option_function<std::string>(
            "--depth-as",
            [&depth](const std::string& name) {
                depth.meaning = named_depth_meaning(name);
            },
            "What the depth is: distance, inverse (1 / distance, as disparities are), or "
            "ray (distance along each pixel's ray; default: distance)")
        ->check(accepted_by(named_depth_meaning))
        ->type_name("{distance,inverse,ray}");
    verb.add_option("--depth-scale", depth.scale,
                    "Millimetres for a depth of 1, as 10 for centimetres")
        ->check(number_in(DEPTH_SCALES))
        ->type_name("MM");
    verb.add_option("--field-of-view", depth.field_of_view,
                    "Degrees across the picture, for --depth-as ray (default: the "
                    "lens's)")
        ->check(number_in(FIELDS_OF_VIEW))
        ->type_name("DEGREES");
    verb.add_option_function<std::string>(
            "--empty-depth",
            [&depth](const std::string& text) { depth.empty = parsed_empty_depth(text); },
            "Depth for pixels that show nothing: far, near or a depth; 0=far when they "
            "carry a 0 (default: alpha, and depths such as 1e10, tell them)")
        ->check(accepted_by(parsed_empty_depth))
        ->type_name("{far,near,0=far}");
}

void input_options::add_light_options(CLI::App& verb) {
    const option_group group(verb, "Light");
    light_choices& light = load.light;
    verb.add_flag("--drop-non-finite", light.drop_non_finite,
                  "Fill pixels that are infinite or not a number from those around");
    verb.add_option_function<std::string>(
            "--highlights",
            [&light](const std::string& text) {
                light.highlights = parsed_highlights(text);
            },
            "Brighten what is clipped before the blur: white becomes GAIN times as "
            "bright, light up to THRESHOLD stays")
        ->check(accepted_by(parsed_highlights))
        ->type_name("GAIN,THRESHOLD");
}

void input_options::prepare_lens(shared_options& shared) const {
    if (!lens_from_header) return;
    shared.edits.insert(shared.edits.begin(), "SettingsType=Advanced");
}

}  // namespace focusfall
