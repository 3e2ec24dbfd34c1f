#include "host/probe.h"

#include "host/operator_state.h"

namespace headless {

const std::vector<addition>& additions(tool& tool) {
    return tool.instance().HostState().additions;
}

int base_notifications(tool& tool) {
    return tool.instance().HostState().base_notifications;
}

const std::optional<base_notification>& last_base_notification(tool& tool) {
    return tool.instance().HostState().last_base_notification;
}

std::vector<visibility_change> visibility_changes(tool& tool) {
    control_group& group = tool.instance().HostState().group;
    const std::scoped_lock lock(group.mutex);
    return group.visibility_changes;
}

}  // namespace headless
