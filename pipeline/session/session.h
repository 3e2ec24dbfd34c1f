#pragma once
// What every program begins with: a host, its plug-ins, and a tool with its settings.

#include <memory>
#include <set>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "host/headless_host.h"

namespace focusfall {

// The class of tool that is used when none is named.
inline constexpr const char* DEFAULT_TOOL = "kestrelworks.FocusfallFast";

// The name by which people call a class of tool: "plain", "fast" or "layered"; for
// classes that have none, the identifier. [any thread]
std::string short_tool_name(const std::string& id);

struct session_options {               // NOLINT(bugprone-exception-escape)
    std::vector<std::string> plugins;  // libraries to load; empty: the installed ones
    // Identifier or short name of a class; empty: DEFAULT_TOOL, or the first class where
    // there is no such class.
    std::string tool_id;
    // values to begin with by control, as in a settings file; all others are at their
    // defaults then, whatever the tool would make of these
    nlohmann::ordered_json start = {};
    std::vector<std::string> settings;  // files or names of presets, applied in order
    std::vector<std::string> edits;     // ID=VALUE, applied in order after the settings
    int threads = 0;                    // 0: as many as there are processors
};

// A host with its plug-ins loaded, and tools of one class made from them. The tools must
// be gone before the session. [one thread at a time; tools as headless::tool says]
class session {
  public:
    // `console` receives what tools print, as headless::host says. Throws
    // headless::host_error when there is no plug-in, or one cannot be loaded.
    explicit session(session_options options, FusionDoc::Console console = {});

    const headless::host& host() const { return host_; }
    headless::host& host() { return host_; }
    // The class that the options choose. Throws headless::host_error when no plug-in
    // registers it.
    headless::class_info tool_class() const;
    // The class of that identifier or short name. Throws likewise.
    headless::class_info tool_class(const std::string& name) const;
    // A new tool of that class, its page opened, with the values that it begins with.
    // Throws as headless::host::create_tool.
    std::unique_ptr<headless::tool> new_tool(const headless::class_info& of);
    // A new tool of the options' class with their settings and edits. Throws
    // headless::host_error that names the file or control at fault.
    std::unique_ptr<headless::tool> create_tool();
    // The controls that the settings and edits name. Throws as create_tool.
    std::set<std::string> named_controls() const;

  private:
    session_options options_;
    headless::host host_;
};

// The identifier in ID=VALUE.
std::string edited_control(const std::string& edit);

}  // namespace focusfall
