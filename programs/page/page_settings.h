#pragma once
// The tool's values as pages edit and show them.

#include <cstdint>
#include <optional>
#include <string>

#include <nlohmann/json.hpp>

#include "host/headless_host.h"
#include "programs/page/edit_history.h"

namespace focusfall {

using page_json = nlohmann::ordered_json;

// All edits of a page go through here, also the choice of the tool that blurs, each an
// entry of its history. All throw headless::host_error that names the control for what it
// cannot take; then nothing has changed. Edits with the same `group`, as those of one
// drag, are undone at once; empty: by themselves. The tools are borrowed. [their editing
// thread]
class page_settings {
  public:
    page_settings(headless::tool& tool, int frame);

    // Pages show the values at this frame, and edit those of animated controls there.
    int frame() const { return frame_; }
    void show(int frame) { frame_ = frame; }
    const std::optional<focus_mark>& mark() const { return mark_; }
    headless::tool& tool() const { return *tool_; }

    // A number, or a text as an artist types it; on an animated control a key.
    void set(const std::string& id, const page_json& value, const std::string& group);
    // All that a control holds, in the form of settings files: a value or keys.
    void replace(const std::string& id, const page_json& value, const std::string& group);
    // The depth of the pixel of that mark becomes the focus.
    void set_focus(const focus_mark& mark, double depth, const std::string& group);
    // Goes on with another tool, which gets the values of those controls that it has.
    void take_tool(headless::tool& other);
    // The default of a control, or of all when `id` is empty.
    void reset(const std::string& id);
    // The values of a settings file, or of a preset by its name.
    void open(const std::string& file);
    // Do nothing when there is nothing to undo or to do again.
    void undo();
    void redo();

    // What does not change with edits of the tool: the controls that hold values, with
    // their help.
    page_json controls() const;
    // What does: their values at the frame, with their keys if they have some, and
    // whether the tool shows them; the mark, and what can be undone.
    page_json values() const;

  private:
    void note(const std::string& group);
    void go_to(const edited_state& state);

    headless::tool* tool_;
    int frame_;
    std::optional<focus_mark> mark_;
    edit_history history_;
};

}  // namespace focusfall
