#pragma once
// What a task of a shot needs of the machine that renders it.

#include <cstdint>

#include "host/headless_host.h"
#include "pipeline/shots/shot_options.h"

namespace focusfall {

struct farm_needs {
    std::uint64_t bytes = 0;  // of memory, program and libraries included
    int cores = 1;
};

// By the headers of some frames of the shot, first and last among them, and what `tool`
// forecasts of these; frames that cannot be read are left out. Throws
// headless::host_error of the first one when none can. [any thread]
farm_needs needs_of(const shot_options& shot, const headless::tool& tool);

}  // namespace focusfall
