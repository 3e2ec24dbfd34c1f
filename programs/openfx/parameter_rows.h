#pragma once
// What one parameter looks like in the host's panel.

#include <map>
#include <string>

#include "host/control.h"
#include "programs/openfx/host_link.h"

namespace focusfall {

// Defines a parameter of a type, and gives its properties. Throws ofx::failure.
ofx::property_set define_row(ofx::parameters set, const char* type,
                             const std::string& name, const std::string& label);
// The one for a control that holds a number: its kind, range, default and help.
ofx::property_set define_control(ofx::parameters set, const headless::control_info& info);

// The control's default as its author wrote it, and as the parameter has it: single
// precision was widened on the way.
double written_default(const headless::control_info& info);

// The parameter of an instance. Throws ofx::failure when the host lacks it.
ofx::parameter handle_of(ofx::parameters set, const std::string& name);

// Groups of one descriptor, each defined when it is first asked for.
class group_list {
  public:
    explicit group_list(ofx::parameters set) : set_(set) {}
    // The name of the group for a control: lens, depth map, shape or focus, else that of
    // its page.
    std::string group_of(const headless::control_info& info);
    // The name of the group with that label.
    std::string group_named(const std::string& label);

  private:
    ofx::parameters set_;
    std::map<std::string, std::string> names_;  // by label
};

}  // namespace focusfall
