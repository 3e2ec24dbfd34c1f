#pragma once
// The "Info" page that all tools of the package share.

#include "host/api/operator.h"

class info_interface {
  public:
    // Adds the page and its texts; editing them affects nothing. [construction]
    static void add_info_controls(Operator& tool);
};
