// Makes the tool class known to the host while the library is loaded.

#include "plugin/tool/registration.h"
#include "plugin/fast/focusfall_fast.h"

namespace {

const tool_registration<FocusfallFast> registration("kestrelworks.FocusfallFast",
                                                    "Focusfall Fast", "FcFF");

}  // namespace
