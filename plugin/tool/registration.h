#pragma once
// How a tool class of this family becomes known to the host.

#include <new>

#include "plugin/tool/focusfall.h"

// Registers the class `Tool` for as long as this object lives: it is a static one, built
// when the plug-in library is loaded and destroyed when it is unloaded. [the thread that
// loads or unloads]
template <class Tool>
class tool_registration {
  public:
    // `id` names the class to the host, the two names are shown to people. Throws
    // std::bad_alloc.
    tool_registration(const char* id, const char* display_name, const char* short_name)
        : script_info_(1, id, "", ""),
          class_id_(id),
          // clang-format off
          registration_(
              ClassRegistry::Global(), class_id_,
              0x60000001, &Operator::RegInit,                       // class initialisation
              0x60000002, &Operator::RegCleanup,                    // class clean-up
              0x10000000, 3,                                        // a constant of the host
              0x30000008, "Built: Sep 16 2008",                     // build date
              0x60000011, &ThreadedOperator::ClassID,               // base class
              0x60000005, static_cast<ScriptInfo*>(&script_info_),  // script information
              0x60000000, &new_tool,                                // factory
              0x30000002, display_name,
              0x10000004, 101,                                      // bitmap resource
              0x30000003, "Lucent",                                 // category
              0x30000004, short_name,
              0x30000005, "Simulates depth of field blurring",      // description
              0x30000007, "Kestrel Software Plugin. Please visit our website for more quality plugins.",
              0x30000009, "Kestrel Software",                       // company
              0x10000017, 101,                                      // bitmap resource
              0x3000000a, DOCUMENTATION_URL,                        // help link
              0) {}
    // clang-format on

  private:
    // Null when there is no memory; what the constructor throws passes on.
    static Operator* new_tool(Registry* record, const ScriptVal& table, TagList* tags) {
        return new (std::nothrow) Tool(record, table, tags);
    }

    // built in this order, destroyed in reverse
    ScriptInfoT<Tool> script_info_;
    FuID class_id_;
    Registry registration_;
};
