#include "programs/command/input_options.h"

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
}

}  // namespace focusfall
