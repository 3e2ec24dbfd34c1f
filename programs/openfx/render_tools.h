#pragma once
// Tools that render, lent to frames.
//
// Values live in the host and come with each frame, so that any tool can render for any
// instance of its effect: hosts make instances freely, some one for every frame, and a
// tool that has rendered keeps memory.

#include <memory>

#include "programs/openfx/effects.h"

namespace focusfall {

// The host of all tools that render, made when first asked for, with as many threads as
// the OpenFX host allows. Throws std::bad_alloc. [any thread]
headless::host& rendering_host();

// A tool for as long as this lives, an idle one if there is any. Throws as new_tool.
// [any thread; the tool, one]
class lent_tool {
  public:
    explicit lent_tool(const effect_kind& kind);
    ~lent_tool();
    lent_tool(const lent_tool&) = delete;
    lent_tool& operator=(const lent_tool&) = delete;

    headless::tool& operator*() { return *tool_; }
    headless::tool* operator->() { return tool_.get(); }

  private:
    const effect_kind& kind_;
    std::unique_ptr<headless::tool> tool_;
};

// Deletes the idle tools, and gives back what images keep. [any thread]
void release_idle_tools() noexcept;
// Also ends the threads. No tool may be lent any more. Not left to the end of the
// process: threads cannot end while a library is being unloaded. [one thread]
void end_rendering() noexcept;

}  // namespace focusfall
