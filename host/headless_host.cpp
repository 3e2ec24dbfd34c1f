#include "host/headless_host.h"

#include <algorithm>
#include <utility>

#include "host/error.h"
#include "host/plugin_library.h"
#include "host/text.h"

namespace headless {

namespace {

class_info described(const Registry& record) {
    const TagList& tags = record.Tags();
    const auto* base = tags.Pointer<const FuID>(0x60000011);
    return {.id = record.ID().Text(),
            .name = tags.Text(0x30000002),
            .category = tags.Text(0x30000003),
            .short_name = tags.Text(0x30000004),
            .description = tags.Text(0x30000005),
            .about = tags.Text(0x30000007),
            .company = tags.Text(0x30000009),
            .build_date = tags.Text(0x30000008),
            .help_link = tags.Text(0x3000000a),
            .base_class = base ? base->Text() : "",
            .bitmap = tags.Integer(0x10000004, 0),
            .tags = tags};
}

}  // namespace

host::host(int threads, FusionDoc::Console console)
    : workers_(threads), console_(std::move(console)) {}

host::~host() = default;

void host::load_plugin(const std::filesystem::path& path) {
    auto plugin = std::make_shared<plugin_library>(path);
    const bool known = std::ranges::any_of(plugins_, [&](const auto& loaded) {
        return loaded->records() == plugin->records();
    });
    if (!known) plugins_.push_back(std::move(plugin));
}

void host::unload_plugins() { plugins_.clear(); }

std::vector<class_info> host::classes() const {
    std::vector<class_info> all;
    for (const auto& plugin : plugins_) {
        for (const Registry* record : plugin->records())
            all.push_back(described(*record));
    }
    return all;
}

std::unique_ptr<tool> host::create_tool(std::string_view class_id) {
    std::vector<std::string> names;
    for (const auto& plugin : plugins_) {
        for (Registry* record : plugin->records()) {
            names.push_back(record->ID().Text());
            if (names.back() != class_id) continue;
            return std::unique_ptr<tool>(new tool(plugin, record, workers_, console_));
        }
    }
    throw host_error("there is no tool class \"" + std::string(class_id) + "\"" +
                     suggestion(class_id, names));
}

std::unique_ptr<tool> host::create_tool(Registry& linked_class) {
    return std::unique_ptr<tool>(new tool(nullptr, &linked_class, workers_, console_));
}

}  // namespace headless
