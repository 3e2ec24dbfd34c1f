#pragma once
// An edit under way, and how values that the tool sets in answer to it are accepted.

#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "host/control.h"

namespace headless {

// While it lives, values that the tool sets follow the rules of the edit under way, which
// edit.cpp lists. One at a time for a tool. Everything here may throw std::bad_alloc.
// [the editing thread; `answer` and `refuse` are called under the group's mutex]
class edit_scope {
  public:
    // An edit of controls of `group`; `controls` are all its members.
    edit_scope(control_group& group, const std::vector<Owned<control>>& controls);
    ~edit_scope();
    edit_scope(const edit_scope&) = delete;
    edit_scope& operator=(const edit_scope&) = delete;

    // From now on one value of `edited` is edited: what the tool sets in answer becomes a
    // key when `as_keys` or when the answering control is animated, else a constant.
    void edit_value(const control& edited, bool as_keys);
    // From now on all that `edited` holds is replaced: the first answer of each control
    // replaces all that it held too. Answers become keys when `as_keys`, else constants.
    void edit_whole(const control& edited, bool as_keys);
    // To be called when the tool has answered for all of the edited control: answers that
    // are the same at all keys become constants. Throws host_error that names the edited
    // control when an answer was refused; then all controls are as before the edit.
    void settle();
    // The controls whose value, connection or visibility differs from that before the
    // edit, in the order in which the tool added them.
    std::vector<const control*> changed() const;

    // How a number that the tool sets for `answering` is accepted.
    struct taken {
        bool afresh;            // all that the control held is dropped first
        bool as_key;            // it becomes a key even if the control is not animated
        interpolation between;  // of a control that starts afresh
    };
    taken answer(control& answering);
    // Notes that an answer does not fit its control, so that `settle` fails; `why` names
    // that control. The first such answer is reported.
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
