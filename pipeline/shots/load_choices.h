#pragma once
// How the files of a frame are to be read.

#include <optional>
#include <string>
#include <vector>

#include "pipeline/pictures/color_encoding.h"
#include "pipeline/preparation/depth_choices.h"
#include "pipeline/preparation/light_steps.h"

namespace focusfall {

struct load_choices {
    std::vector<std::string> layers;  // names or ALL_VIEWS; optional: the picture itself
    std::string depth_channel;  // optional; of the depth map if there is one, else of the
                                // input
    std::optional<color_encoding> encoding;  // else what the files say
    depth_choices depth;
    light_choices light;

    // Calls visit(name, choice) for every choice with the name of its option: records of
    // renders are made so. A type that JSON does not know needs an overload of `json_of`
    // and `take` in choices_json.h. `choices` may be constant.
    template <class Choices, class Visit>
    static void for_each(Choices& choices, const Visit& visit) {
        visit("layer", choices.layers);
        visit("depth-channel", choices.depth_channel);
        visit("colorspace", choices.encoding);
        visit("depth-as", choices.depth.meaning);
        visit("depth-scale", choices.depth.scale);
        visit("field-of-view", choices.depth.field_of_view);
        visit("empty-depth", choices.depth.empty);
        visit("drop-non-finite", choices.light.drop_non_finite);
        visit("highlights", choices.light.highlights);
    }
};

}  // namespace focusfall
