#include "programs/command/focus_option.h"

#include <algorithm>

#include "programs/command/input_options.h"
#include "programs/command/option_words.h"

namespace focusfall {

void focus_option::add_to(CLI::App& verb) {
    const option_group group(verb, TOOL_GROUP);
    verb.add_option(
            "--focus-at", text,
            "Pixel that is to be sharp, from 0,0 at the top left: its depth becomes "
            "FocusPosition; or keys, as in 1:480,270,24:700,300,smooth")
        ->check(accepted_by(parse_focus_points))
        ->type_name("X,Y");
}

void focus_option::check(const shared_options& shared) const {
    const bool set_twice =
        is_given() && std::ranges::any_of(shared.edits, [](const std::string& edit) {
            return edited_control(edit) == "FocusPosition";
        });
    if (!set_twice) return;
    throw CLI::ValidationError(
        "--focus-at", "the focus is set by --set FocusPosition too; leave out one");
}

}  // namespace focusfall
