#pragma once
// An edit under way: what becomes of the values that a tool sets in answer to it.

#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "host/control.h"

namespace headless {

// While it lives, values that the tool sets follow the rules of the edit under way, which
// edit.cpp tells. One at a time for a tool. [the editing thread; `answer` under the mutex
// of the group]
class edit_scope {
  public:
    // An edit of controls of that group, whose members `controls` are.
    edit_scope(control_group& group, const std::vector<Owned<control>>& controls);
    ~edit_scope();
    edit_scope(const edit_scope&) = delete;
    edit_scope& operator=(const edit_scope&) = delete;

    // The edit goes on with a value of `edited`: what the tool sets in answer is set as a
    // key when `as_keys`, else as a constant unless the answering control is animated.
    void edit_value(const control& edited, bool as_keys);
    // The edit goes on with all that `edited` holds: so does what the tool sets in
    // answer.
    void edit_whole(const control& edited, bool as_keys);
    // The whole of an edited control has been answered: answers that are alike at all
    // keys become constants. Throws host_error that names the edited control when an
    // answer did not fit; then all controls are as before the edit.
    void settle();
    // The controls whose value, connection or visibility differs from that before the
    // edit, in the order in which the tool added them.
    std::vector<const control*> changed() const;

    // What `answering` becomes by a number that the tool sets for it.
    struct taken {
        bool afresh;  // its old values go first
        bool as_key;
        interpolation between;  // of keys that follow
    };
    taken answer(control& answering);
    // An answer did not fit; `why` names its control.
    void refuse(const std::string& why);

  private:
    struct before;

    control_group& group_;
    std::vector<before> before_;
    // under group_.mutex
    std::string edited_;
    bool as_keys_ = false;
    bool whole_ = false;
    interpolation between_ = interpolation::LINEAR;
    std::set<control*> answered_;  // since the present control was edited as a whole
    std::optional<std::string> refusal_;
};

}  // namespace headless
