#include "pipeline/settings/hidden_controls.h"

#include <algorithm>
#include <set>

#include "host/text.h"

namespace focusfall {

std::map<std::string, std::string> revealing_settings(headless::tool& tool) {
    std::map<std::string, std::string> settings;
    std::vector<const headless::control*> hidden;
    for (const headless::control* control : tool.controls()) {
        if (!control->is_visible()) hidden.push_back(control);
    }
    for (const headless::control* list : tool.controls()) {
        const headless::control_info& info = list->info();
        if (info.items.empty() || list->curve().is_animated()) continue;
        const double before = list->number(0);
        for (std::size_t item = 0; item < info.items.size(); ++item) {
            tool.set(info.id, static_cast<double>(item));
            for (const headless::control* control : hidden) {
                if (!control->is_visible()) continue;
                settings.emplace(control->info().id, info.id + "=" + info.items[item]);
            }
        }
        tool.set(info.id, before);
    }
    return settings;
}

std::vector<std::string> edits_without_effect(headless::tool& tool,
                                              const std::vector<std::string>& ids) {
    const bool visibility_changes =
        std::ranges::any_of(tool.controls(), [](const headless::control* control) {
            return control->info().steps() && control->curve().is_animated();
        });
    if (visibility_changes) return {};

    std::map<std::string, std::set<std::string>> ids_by_reason;
    for (const std::string& id : ids) {
        if (tool.find(id).is_visible()) continue;
        const auto settings = revealing_settings(tool);
        const auto setting = settings.find(id);
        ids_by_reason[setting == settings.end() ? "with the other settings"
                                                : "unless " + setting->second]
            .insert(id);
    }
    std::vector<std::string> lines;
    for (const auto& [reason, names] : ids_by_reason) {
        lines.push_back(headless::joined({names.begin(), names.end()}) + ": no effect " +
                        reason);
    }
    return lines;
}

}  // namespace focusfall
