// Makes the tool class known to the host while the library is loaded.

#include "plugin/tool/registration.h"
#include "plugin/layered/focusfall_layered.h"

namespace {

const tool_registration<FocusfallLayered> registration("kestrelworks.FocusfallLayered",
                                                       "Focusfall Layered", "FcLa");

}  // namespace
