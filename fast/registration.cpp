// Makes the tool class known to the host while the library is loaded.

#include "tool/registration.h"
#include "fast/focusfall_fast.h"

namespace {

const tool_registration<FocusfallFast> registration("kestrelworks.FocusfallFast",
                                                    "Focusfall Fast", "FcFF");

}  // namespace
