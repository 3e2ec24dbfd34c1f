#pragma once
// Shows a picture or a shot in a browser on this machine.

#include <functional>
#include <string>

#include "host/headless_host.h"
#include "pipeline/session/session.h"
#include "pipeline/shots/shot_options.h"

namespace focusfall {

struct page_options {
    int port = 0;                // 0: any that is free
    bool keeps_running = false;  // also when the page was closed for a minute
    // gets the address of the page once it can be opened
    std::function<void(const std::string& address)> announce;
    std::function<bool()> is_stopped;  // asked ten times a second
};

// Serves the page until it was closed for a minute or `is_stopped`. Throws
// headless::host_error when the first frame cannot be read, or the port is taken.
void view_page(const shot_options& shot, session& opened, headless::tool& tool,
               const page_options& options);

}  // namespace focusfall
