#pragma once
// The tool's controls as parameters of the host.

#include <map>
#include <string>
#include <vector>

#include "host/tool.h"
#include "programs/openfx/host_link.h"
#include "programs/openfx/parameter_rows.h"

namespace focusfall {

// Numbers by the identifier of their control.
using parameter_values = std::map<std::string, double>;

// Defines a parameter for each control that holds a number, in groups, and on the tool's
// pages for hosts that have such. Names are the controls' identifiers. Throws
// ofx::failure.
void define_parameters(const headless::tool& tool, ofx::parameters set,
                       group_list& groups);

// A parameter of one instance beside its control.
struct parameter_link {
    headless::control_info info;
    ofx::parameter handle;

    bool is_double() const { return !info.steps() && !info.whole; }
    // What the host has at that time. [any thread]
    double value(ofx::time at) const;
    bool has_keys() const;
    // As a key when `as_key`, else for all times. [edits]
    void set(double value, ofx::time at, bool as_key) const;
};

// All parameters of one instance.
class parameter_links {
  public:
    // Throws ofx::failure when the host lacks one.
    parameter_links(const headless::tool& tool, ofx::parameters set);

    // The values of all controls at that time. [any thread]
    parameter_values values(ofx::time at) const;
    // Whether there is a parameter of that name.
    bool has(const std::string& id) const;
    // Gives the host what the tool holds other than `before`: as keys where they answer
    // an edit of a parameter with keys. [edits]
    void mirror(const headless::tool& tool, const parameter_values& before,
                const std::string& edited, ofx::time at) const;
    // Shows and hides parameters as the tool does its controls. [edits]
    void lay_out(const headless::tool& tool) const;

  private:
    ofx::parameters set_;
    std::vector<parameter_link> links_;
};

// Gives the tool all these values at once, so that none of them is an answer to another.
// Throws headless::host_error for one that its control cannot take.
void restore(headless::tool& tool, const parameter_values& values);

}  // namespace focusfall
