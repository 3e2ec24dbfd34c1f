#include "programs/openfx/effects.h"

#include <string>

#include "host/error.h"

namespace focusfall {

std::unique_ptr<headless::tool> new_tool(headless::host& host, const effect_kind& kind) {
    for (Registry* record : ClassRegistry::Global().Records()) {
        if (record->ID().Text() != kind.tool_class) continue;
        auto tool = host.create_tool(*record);
        tool->open_page();
        return tool;
    }
    throw headless::host_error(std::string(kind.tool_class) + ": is not linked in");
}

}  // namespace focusfall
