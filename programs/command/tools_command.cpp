#include <iostream>
#include <memory>

#include "programs/command/commands.h"
#include "programs/command/session.h"

namespace focusfall {

namespace {

void list_tools(const session_options& options) {
    session session(options);
    for (const headless::class_info& tool : session.host().classes()) {
        std::cout << tool.id << "\n"
                  << "  name         " << tool.name << " (" << tool.short_name << ")\n"
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
    auto options = std::make_shared<session_options>();
    CLI::App* verb = app.add_subcommand("tools", "List the registered tool classes");
    options->add_plugin_options(*verb);
    verb->callback([options] { list_tools(*options); });
}

}  // namespace focusfall
