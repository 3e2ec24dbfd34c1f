#pragma once
// What every verb of the command begins with: a host, the plug-ins, a tool.

#include <map>
#include <memory>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "host/headless_host.h"

namespace focusfall {

// The options that verbs share, as they stand on the command line.
struct session_options {
    std::vector<std::string> plugins;   // none: those beside the command
    std::string tool_id;                // empty: the fast tool, or else the first class
    std::vector<std::string> settings;  // files or presets, in order
    std::vector<std::string> edits;     // ID=VALUE, in order, after the settings
    int threads = 0;                    // 0: as many as there are processors
    bool quiet = false;
    bool hide_times = false;  // of the blur, which tools print

    void add_plugin_options(CLI::App& verb);  // --plugin
    void add_class_options(CLI::App& verb);   // --plugin, --tool
    void add_tool_options(CLI::App& verb);    // --plugin, --tool, --settings, --set
};

// The settings that would show hidden controls, as "SettingsType=Advanced" by control;
// those that no single one shows are missing. Edits the tool, and leaves it as it was.
std::map<std::string, std::string> settings_that_show(headless::tool& tool);

// A host with the plug-ins loaded, and one tool with the edits made.
class session {
  public:
    // Loads the plug-ins; what tools print goes to standard error unless `quiet`. Throws
    // headless::host_error for faults of the plug-ins.
    explicit session(const session_options& options);

    headless::host& host() { return host_; }
    // The class of the options; its id alone when it is not loaded.
    headless::class_info tool_class() const;
    // Whether tools of that class make all kernels of a frame beforehand. The fast one
    // does not.
    bool makes_kernel_table() const;
    // A tool with the settings and edits of the options. Notes edits that have no effect
    // on standard error, unless `quiet`. Throws headless::host_error.
    std::unique_ptr<headless::tool> create_tool();

  private:
    session_options options_;
    headless::host host_;
};

}  // namespace focusfall
