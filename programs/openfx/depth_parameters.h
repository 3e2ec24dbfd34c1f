#pragma once
// Parameters that tell what the numbers of a depth map are, besides the tool's own.

#include "pipeline/preparation/depth_steps.h"
#include "programs/openfx/parameter_rows.h"

namespace focusfall {

// Throws ofx::failure.
void define_depth_parameters(ofx::parameters set, group_list& groups);

// Those of one instance. [any thread]
class depth_parameters {
  public:
    // Throws ofx::failure when the host lacks one.
    explicit depth_parameters(ofx::parameters set);

    // How depth is to be read at that time, with what the tool's controls say, in a
    // picture that shows `display`. Throws headless::host_error when they contradict each
    // other.
    depth_reading reading(const depth_controls& controls, ofx::time at,
                          const window& display, double pixel_aspect) const;

  private:
    depth_choices choices(ofx::time at) const;

    ofx::parameter meaning_;
    ofx::parameter scale_;
    ofx::parameter field_of_view_;
    ofx::parameter empty_;
    ofx::parameter empty_value_;
};

}  // namespace focusfall
