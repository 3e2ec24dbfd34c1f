#include "pipeline/shots/background_loader.h"

#include <algorithm>
#include <string>

#include "host/error.h"
#include "pipeline/pictures/host_image.h"
#include "pipeline/shots/input_choice.h"

namespace focusfall {

using headless::host_error;

bool takes_background(const headless::tool& tool) {
    return std::ranges::any_of(tool.controls(), [](const headless::control* control) {
        return control->info().id == "Background";
    });
}

opened_background background_loader::open(const std::filesystem::path& file,
                                          const input_picture& input,
                                          bool has_map) const {
    opened_background opened{.file = file};
    if (file.empty()) return opened;
    if (file == file_ && display_ == input.display && area_ == input.area &&
        images_.size() == 1 + input.further.size()) {
        return opened;
    }
    opened.reader.emplace(file, max_bytes_);
    with_name_in_errors(file, [&] {
        picture headers = opened.reader->headers();
        place_display(headers, input.display);
        // the name is that of the map's channel
        load_choices choices = choices_;
        if (has_map) choices.depth_channel.clear();
        opened.picture = chosen_input(std::move(headers), choices, /*has_map=*/false,
                                      /*needs_depth=*/false);
        input_picture& chosen = opened.picture;
        if (!chosen.depth) {
            // several may look like it
            chosen.depth = choose_depth(chosen.file, chosen.color, choices.depth_channel);
        }
        if (!chosen.depth)
            throw host_error(
                "has no depth, which a background must have: render it with a channel Z, "
                "or append one, as by oiiotool back.exr depth.exr --ch Z --chappend -o "
                "back_z.exr");
        if (chosen.display != input.display) {
            throw host_error("is " + shown(chosen.display) + ", the input is " +
                             shown(input.display));
        }
        if (chosen.further.size() != input.further.size()) {
            throw host_error("has " + std::to_string(1 + chosen.further.size()) +
                             " of the layers, the input has " +
                             std::to_string(1 + input.further.size()));
        }
        chosen.area = input.area;
    });
    return opened;
}

std::vector<Owned<Image>> background_loader::load(opened_background opened) {
    if (opened.reader) {
        input_picture& chosen = opened.picture;
        chosen.file = opened.reader->read();
        place_display(chosen.file, chosen.display);
        const auto image = [&](const color_channels& color,
                               const std::optional<channel_place>& depth) {
            return host_image(chosen.file, color, depth, chosen.area, chosen.encoding);
        };
        images_.clear();
        images_.push_back(image(chosen.color, chosen.depth));
        for (const auto& [color, depth] : chosen.further)
            images_.push_back(image(color, depth));
        file_ = opened.file;
        display_ = chosen.display;
        area_ = chosen.area;
    }
    std::vector<Owned<Image>> shared;
    if (opened.file.empty()) return shared;
    for (const Owned<Image>& image : images_) shared.push_back(Shared(image.get()));
    return shared;
}

}  // namespace focusfall
