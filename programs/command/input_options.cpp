#include "programs/command/input_options.h"

#include <vector>

#include "pipeline/shots/header_lens.h"
#include "programs/command/message.h"

namespace focusfall {

void input_options::add_to(CLI::App& verb, const std::string& purpose) {
    verb.add_option("input", input, purpose)->required()->type_name("FILE");
    verb.add_option("--depth-map", depth_map, "Picture with the depth")
        ->type_name("FILE");
    verb.add_option("--layer", load.layers,
                    "Layer, view or part with the colour, or all-views (repeatable: "
                    "layers share one depth, views have their own)")
        ->type_name("NAME")
        ->allow_extra_args(false);
    verb.add_option("--depth-channel", load.depth_channel, "Channel with the depth")
        ->type_name("NAME");
    verb.add_option_function<std::string>(
            "--colorspace",
            [this](const std::string& name) {
                load.encoding = color_encoding::named(name);
            },
            "How colours are encoded; Gamma with any exponent (default: as "
            "the files say)")
        ->check(accepted_by(color_encoding::named))
        ->type_name("{Linear,sRGB,Rec709,Gamma2.2}");
    verb.add_flag("--lens-from-header", lens_from_header,
                  "Take focal length, f-stop, filmback and focus from the picture's "
                  "header; --set wins over it, and it over --settings");
}

void input_options::prepare_lens(shared_options& shared) const {
    if (!lens_from_header) return;
    shared.edits.insert(shared.edits.begin(), "SettingsType=Advanced");
}

void input_options::take_lens(headless::tool& tool, const shot_options& shot,
                              const shared_options& shared) const {
    if (!lens_from_header) return;
    std::vector<std::string> kept;
    for (const std::string& edit : shared.edits) kept.push_back(edited_control(edit));
    const std::string told = set_lens(tool, shot, kept);
    if (!shared.quiet) print_message(shot.input + ": " + told);
}

}  // namespace focusfall
