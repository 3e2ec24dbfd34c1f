// Makes the tool class known to the host while the library is loaded.

#include <new>

#include "fast/focusfall_fast.h"

namespace {

// Null when there is no memory; what the constructor throws passes on.
Operator* new_focusfall_fast(Registry* record, const ScriptVal& table, TagList* tags) {
    return new (std::nothrow) FocusfallFast(record, table, tags);
}

// Built in this order when the library is loaded, destroyed in reverse at unload.
ScriptInfoT<FocusfallFast> script_info(1, "kestrelworks.FocusfallFast", "", "");
const FuID class_id = "kestrelworks.FocusfallFast";
// clang-format off
Registry registration(
    ClassRegistry::Global(), class_id,
    0x60000001, &Operator::RegInit,                      // class initialisation
    0x60000002, &Operator::RegCleanup,                   // class clean-up
    0x10000000, 3,                                       // a constant of the host
    0x30000008, "Built: Sep 16 2008",                    // build date
    0x60000011, &ThreadedOperator::ClassID,              // base class
    0x60000005, static_cast<ScriptInfo*>(&script_info),  // script information
    0x60000000, &new_focusfall_fast,                          // factory
    0x30000002, "Focusfall Fast",                        // display name
    0x10000004, 101,                                     // bitmap resource
    0x30000003, "Lucent",                                // category
    0x30000004, "FcFF",                                  // short name
    0x30000005, "Simulates depth of field blurring",     // description
    0x30000007, "Kestrel Software Plugin. Please visit our website for more quality plugins.",
    0x30000009, "Kestrel Software",                      // company
    0x10000017, 101,                                     // bitmap resource
    0x3000000a, DOCUMENTATION_URL,                       // help link
    0);
// clang-format on

}  // namespace
