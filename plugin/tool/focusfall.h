#pragma once
// The tool as the host sees it.

#include "plugin/render/render_driver.h"
#include "plugin/tool/info_interface.h"

// Where the tool's documentation is to be found.
inline constexpr const char* DOCUMENTATION_URL = "https://kestrelworks.example/focusfall";

// Blurs an image by depth. Bases in this order: the host's operator and the render
// record, which render_driver joins, then the info page.
class Focusfall : public render_driver, public info_interface {
  public:
    // Adds all pages, controls, image inputs and the output. [user-interface side]
    Focusfall(Registry* record, const ScriptVal& table, TagList* tags);

    // Keeps the lens values consistent and shows the controls that matter.
    // [user-interface side]
    void NotifyChanged(Input* input, Parameter* param, TimeStamp time,
                       TagList* tags) override;
    // One or two sentences for every control. [any thread]
    const char* ControlHelp(const FuID& id) const override;
};
