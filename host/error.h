#pragma once
// The exception for faults that the host sees.

#include <stdexcept>

#include "host/api/export.h"

namespace headless {

// A fault that a user can mend: the text names the thing and what is wrong with it, in
// one line without a line end. Nothing that throws it has changed anything, unless it
// says so.
class HOST_API host_error : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
    // out of line: one copy of the type for the host, plug-ins and programs alike
    ~host_error() override;
};

}  // namespace headless
