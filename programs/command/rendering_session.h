#pragma once
// What a verb that renders begins with: a session, a tool, and what Ctrl-C does to it.

#include <memory>

#include "pipeline/process/interruption.h"
#include "programs/command/shared_options.h"

namespace focusfall {

// While it lives, an interruption of the command stops the tool. One at a time.
class rendering_session {
  public:
    // Also limits the threads of the libraries for picture files. Throws as
    // opened_session and created_tool.
    explicit rendering_session(const shared_options& options);

    headless::tool& tool() { return *tool_; }
    interruption& stop() { return stop_; }
    session& opened() { return session_; }

  private:
    session session_;
    std::unique_ptr<headless::tool> tool_;
    interruption stop_;
};

}  // namespace focusfall
