#pragma once
// What was edited, to be undone and done again.

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/headless_host.h"

namespace focusfall {

// Where a click set the focus, in pixels of the display window.
struct focus_mark {
    std::int64_t x = 0;
    std::int64_t y = 0;
    int frame = 0;

    friend bool operator==(const focus_mark&, const focus_mark&) = default;
};

// All that an edit may change.
struct edited_state {
    headless::tool* tool = nullptr;  // borrowed: the one that blurs
    std::map<std::string, headless::control_value> values;  // of all controls
    std::optional<focus_mark> mark;

    friend bool operator==(const edited_state&, const edited_state&) = default;
};

// The states one after the other, the present one among them. A plain value; nothing but
// std::bad_alloc is thrown.
class edit_history {
  public:
    explicit edit_history(edited_state first) { states_.push_back(std::move(first)); }

    // Adds the state after an edit, and forgets those that were undone. Edits of one
    // `group`, as those of one drag, count as one; empty: an edit by itself. The same
    // state again is no edit.
    void add(edited_state state, const std::string& group);
    bool can_undo() const { return present_ > 0; }
    bool can_redo() const { return present_ + 1 < states_.size(); }
    // The state before, or after; call it only when there is one.
    const edited_state& undo();
    const edited_state& redo();

  private:
    std::vector<edited_state> states_;
    std::size_t present_ = 0;
    std::string group_;  // of the present state
};

// The values of all controls, ready for headless::tool::restore. [any thread]
std::map<std::string, headless::control_value> values_of(const headless::tool& tool);

// The values of a new tool, likewise.
std::map<std::string, headless::control_value> initial_values(const headless::tool& tool);

}  // namespace focusfall
