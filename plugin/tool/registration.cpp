// Makes the tool class known to the host while the library is loaded.

#include "plugin/tool/registration.h"

namespace {

const tool_registration<Focusfall> registration("kestrelworks.Focusfall", "Focusfall",
                                                "FcFl");

}  // namespace
