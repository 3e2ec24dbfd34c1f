#include <iostream>
#include <memory>

#include "programs/command/commands.h"
#include "programs/command/shared_options.h"

namespace focusfall {

namespace {

void list_tools(const shared_options& options) {
    const session opened = opened_session(options);
    for (const headless::class_info& tool : opened.host().classes()) {
        const std::string word = short_tool_name(tool.id);
        std::cout << tool.id << "\n";
        if (word != tool.id) std::cout << "  as --tool    " << word << "\n";
        std::cout << "  name         " << tool.name << " (" << tool.short_name << ")\n"
                  << "  category     " << tool.category << "\n"
                  << "  description  " << tool.description << "\n"
                  << "  company      " << tool.company << "\n"
                  << "  about        " << tool.about << "\n"
                  << "  build        " << tool.build_date << "\n"
                  << "  help         " << tool.help_link << "\n";
    }
}

}  // namespace

void add_tools_command(CLI::App& app) {
    auto options = std::make_shared<shared_options>();
    CLI::App* verb = app.add_subcommand("tools", "List the registered tool classes");
    options->add_plugin_options(*verb);
    verb->callback([options] { list_tools(*options); });
}

}  // namespace focusfall
